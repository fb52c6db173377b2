#ifndef FEATURE_TESSARYFEATURE_H
#define FEATURE_TESSARYFEATURE_H

#include <memory>
#include <string>
#include <vector>

#include "host/Feature.h"
#include "host/Registry.h"
#include "rowstore/VelDBPayloads.h"
#include "rowstore/VelDatabase.h"

/// Classifies applications by package name. Keeps a type code and a weight for each in the table "Tessary", and the
/// peaks of three measurements in the table "HeavyGame". Keeps no copy in memory: every query reads the table, and
/// every change is committed before the call returns, unless it is refused or the row store logs a failure.
///
/// The host makes it through the registry, drives it through `Feature` and deletes it through `Feature*`.
///
/// Threads: as VelDatabase; the feature starts no thread and adds no lock. getData, getAppType and getAppWeight are
/// reads. createFeatureInputDb and createHeavyGameDb open a store, so nothing else may run meanwhile. All other
/// operations are changes, one at a time.
///
/// Names: an empty name would select every application's rows. A name with a NUL byte would never be found, so each
/// classification would add a row. Changes and queries refuse both: they return 0 and do not log the refusal.
///
/// Failed reads, writes and deletes are only logged, by the row store; no result shows them. A failed look-up looks
/// like an unknown application, so a change may add a second row. A change whose statements cannot be compiled stays
/// queued. What follows from both is in docs/reliability.md.
///
/// Exceptions: std::bad_alloc; the constructor also throws whatever the host's FeatureState throws. Nothing is leaked
/// then. What was not written stays as it was.
class HOST_EXPORT TessaryFeature : public Feature {
public:
    /// Opens both databases, named after `description.name`, and reads the system property
    /// "ro.vendor.perf.wlc.heavygame". Logs a database that cannot be opened and goes on without it.
    explicit TessaryFeature(FeatureInfo description);

    /// Deletes the objects that the host gave it, then closes the classifier database, then the heavy-game database.
    ~TessaryFeature() override;

    TessaryFeature(const TessaryFeature&) = delete;
    TessaryFeature& operator=(const TessaryFeature&) = delete;

    /// Acts on two triggers and ignores all others. Without a classifier database, logs and drops every trigger.
    ///
    /// 4164 classifies `appName`: bits 31..24 of `triggerArg` are the operation code (0 removes the application), bits
    /// 23..0 its type code. 4165 sets the weight of `appName` to `triggerValue`, unless the property is "true": weights
    /// then come from the heavy-game verdict alone.
    void runAsync(AsyncTriggerPayload payload) override;

    /// Stores the weight of `appName` in `data.value` when `selector` is 1, otherwise its type code. Stores 0 for an
    /// unknown application and without a classifier database. Uses the first of several rows. Returns 0. When it
    /// throws, `data` is unchanged.
    int getData(std::string& appName, featureData& data, int selector) override;
    using Feature::getData;

    /// Calls updateWeightToClassifier. Always returns 0.
    int setData(std::string& appName, std::vector<int> values) override;

    /// Open the classifier database and the heavy-game database, unless it is open already. A database that cannot be
    /// opened is logged and stays missing. When out of memory for its store, it stays missing without a log line.
    void createFeatureInputDb();
    void createHeavyGameDb();

    /// With `op` 0, removes the application from both tables: first the classification, then the peaks, in two
    /// transactions. With any other `op`, sets its type code and adds an unknown application with weight 0; if the
    /// application has several rows, deletes them instead.
    /// Returns 1. Returns 0 without a classifier database, when out of memory for a row, and when it deleted instead.
    int updateToClassifierDataBase(std::string& appName, int op, int type);

    /// Handles the weight trigger: sets the weight of a known application to any value. Returns 1. Returns 0 and
    /// changes nothing when the application does not have exactly one row, and without a classifier database.
    int updateWeightToTessary(std::string& appName, int weight);

    /// Handles a report: raises each of the application's three peaks to the value reported for it, if that is larger.
    /// Then sets the weight to the heavy-game verdict of the new peaks. Returns 1, even if the peaks could not be
    /// stored. Returns 0 and changes nothing when a database is missing, with fewer than three values, when the
    /// application does not have exactly one classification, and when it has several rows of peaks.
    int updateWeightToClassifier(std::string& appName, std::vector<int> values);

    /// Adds a row of peaks without looking for an existing one. `values` must hold at least three. Returns 1. Returns 0
    /// without a heavy-game database and when out of memory for a row.
    int writeHeavyGameDb(std::string& appName, std::vector<int> values);

    /// Return the type code or the weight as getData does, 0 included.
    int getAppType(std::string& appName);
    int getAppWeight(std::string& appName);

    /// The heavy-game verdict: 1 when 2a + b + 2c - 1700 > 199, else 0. Wraps at 32 bits.
    int calculateWeight(int a, int b, int c);

    static Registry<Feature, FeatureInfo, TessaryFeature> registerFeature;

protected:
    std::unique_ptr<VelDatabase<TessaryDatabase>> appDb;                   ///< null when it could not be opened
    std::unique_ptr<VelDatabase<HeavyGameClassifierDatabase>> heavyGameDb; ///< null when it could not be opened
    /// When true, the weight trigger is ignored. The verdict is always computed.
    bool heavyGameEnabled = false;
};

#endif
