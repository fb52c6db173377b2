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
/// every accepted change is committed before the call returns, unless the store logs a failure.
///
/// The host makes it through the registry, drives it through `Feature` and deletes it through `Feature*`.
///
/// Threads: starts none and has no lock. Queries (getData, getAppType, getAppWeight) may run on any threads beside one
/// change. createFeatureInputDb and createHeavyGameDb must run alone. All other operations are changes: call one at a
/// time. VelDatabase says when even queries must not overlap.
///
/// Names: an empty name would select every application's rows, and no query can hold a NUL byte. A change of such a
/// name does nothing and returns 0, a query answers 0; neither logs.
///
/// Failures of a store are only logged, by the store; no result shows them. A failed look-up looks like an unknown
/// application, so a change may add a second row. A change whose statements cannot be compiled stays queued. What
/// follows from both is in docs/reliability.md.
///
/// Exceptions: only std::bad_alloc, when a name, a list of values, a row's vector or the write queue cannot be
/// allocated. Nothing is leaked then. What was not written stays as it was.
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

    /// Opens the database unless it is open. Leaves it missing when it cannot be opened, which is logged, or when out
    /// of memory for the store.
    void createFeatureInputDb();
    void createHeavyGameDb();

    /// Removes the application from both tables when `op` is 0. Otherwise sets its type code, and adds an unknown
    /// application with weight 0. Deletes all rows instead when the application has several.
    /// Returns 1. Returns 0 without a classifier database, when out of memory for a row, and when it deleted several.
    /// A removal makes two transactions, the classification's first. If only that one succeeds, the peaks stay, and the
    /// application has them again when it is next classified.
    int updateToClassifierDataBase(std::string& appName, int op, int type);

    /// Sets the weight of a known application to any value. Returns 1. Returns 0 and changes nothing when the
    /// application does not have exactly one row, and without a classifier database.
    int updateWeightToTessary(std::string& appName, int weight);

    /// Raises the application's peaks to the first three of `values` where these are larger, and sets its weight to the
    /// heavy-game verdict of the new peaks. Returns 1, even if the peaks could not be stored. Returns 0 and changes
    /// nothing when a database is missing, with fewer than three values, when the application does not have exactly one
    /// classification, and when it has several rows of peaks.
    int updateWeightToClassifier(std::string& appName, std::vector<int> values);

    /// Adds a row of peaks without looking for an existing one. `values` must hold at least three. Returns 1. Returns 0
    /// without a heavy-game database and when out of memory for a row.
    int writeHeavyGameDb(std::string& appName, std::vector<int> values);

    /// Return what getData stores.
    int getAppType(std::string& appName);
    int getAppWeight(std::string& appName);

    /// The heavy-game verdict: 1 when 2a + b + 2c - 1700 > 199, else 0. Wraps at 32 bits.
    int calculateWeight(int a, int b, int c);

    static Registry<Feature, FeatureInfo, TessaryFeature> registerFeature;

protected:
    std::unique_ptr<VelDatabase<TessaryDatabase>> appDb;                   ///< null when it could not be opened
    std::unique_ptr<VelDatabase<HeavyGameClassifierDatabase>> heavyGameDb; ///< null when it could not be opened
    bool heavyGameEnabled = false;                                         ///< when true, the weight trigger is ignored
};

#endif
