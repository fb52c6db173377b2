#ifndef FEATURE_TESSARYFEATURE_H
#define FEATURE_TESSARYFEATURE_H

#include <memory>
#include <string>
#include <vector>

#include "host/Feature.h"
#include "host/Registry.h"
#include "rowstore/VelDBPayloads.h"
#include "rowstore/VelDatabase.h"

/// Classifies applications by package name: keeps a type code and a weight for each, in the table "Tessary", and the
/// peaks of three measurements, in the table "HeavyGame". Nothing is kept in memory between calls: every query reads
/// the table, and every change is committed before the call returns, unless the store logs a failure.
///
/// Failures inside a store are only logged, by the store; no result shows them. A look-up that failed is taken for an
/// application that is not known: a change may then add a second row for it. A change whose statements cannot be
/// compiled, for want of memory or of the table, stays queued: the next change of that table writes it first, even
/// when its application was changed or removed in between.
///
/// The host makes it through the registry, drives it through `Feature` and deletes it through `Feature*`.
///
/// Threads: the feature has no lock and starts no thread. It does not serialise its callers, and its stores allow one
/// change at a time (VelDatabase): a host that calls from several threads must call one after the other.
///
/// Application names must not be empty, which would select every application's rows, or hold a NUL byte, which no query
/// can: an update of such a name changes nothing and returns 0, a query answers 0.
///
/// Exceptions: std::bad_alloc alone, when a name, a list of values or the write queue cannot be copied or grown.
/// Nothing is leaked then, and what was not written stays as it was.
class HOST_EXPORT TessaryFeature : public Feature {
public:
    /// Opens both databases, named after `description.name`, and reads the system property
    /// "ro.vendor.perf.wlc.heavygame". A database that cannot be opened is logged and left out.
    explicit TessaryFeature(FeatureInfo description);

    /// Deletes the objects that the host gave it, then closes the classifier database, then the heavy-game database.
    ~TessaryFeature() override;

    TessaryFeature(const TessaryFeature&) = delete;
    TessaryFeature& operator=(const TessaryFeature&) = delete;

    /// Acts on two triggers and ignores all others. Without a classifier database each is logged and dropped.
    ///
    /// 4164 classifies `appName`: bits 31..24 of `triggerArg` are the operation code (0 removes the application), bits
    /// 23..0 its type code. 4165 sets the weight of `appName` to `triggerValue`, unless weights come from the
    /// heavy-game verdict alone (the property is "true").
    void runAsync(AsyncTriggerPayload payload) override;

    /// Stores the weight of `appName` in `data.value` when `selector` is 1, its type code otherwise, of the first row
    /// if it has several; 0 for an application that is not known and without a classifier database. Returns 0. When it
    /// throws, `data` is unchanged.
    int getData(std::string& appName, featureData& data, int selector) override;
    using Feature::getData;

    /// Takes a report of three measurements, as updateWeightToClassifier does. Returns 0 whatever came of it.
    int setData(std::string& appName, std::vector<int> values) override;

    /// Opens the database unless it is open; without memory for it, or if it cannot be opened, there is none
    /// afterwards.
    void createFeatureInputDb();
    void createHeavyGameDb();

    /// Removes the application from both tables when `op` is 0. Otherwise sets its type code, the application being
    /// added with weight 0 when it is not known; if it has several rows, all are deleted instead.
    /// Returns 1, or 0 without a classifier database, when no row could be had or when several rows were deleted. A
    /// removal takes two transactions, the classification's first: what ends it between them leaves the peaks behind,
    /// and the application inherits them when it is classified again.
    int updateToClassifierDataBase(std::string& appName, int op, int type);

    /// Sets the weight of a known application, unchecked. Returns 1, or 0 and changes nothing when it has no row, or
    /// several, or without a classifier database.
    int updateWeightToTessary(std::string& appName, int weight);

    /// Raises the application's peaks to the first three of `values` where these are larger, and sets its weight to the
    /// heavy-game verdict of the new peaks. Returns 1, or 0 and changes nothing when a database is missing, there are
    /// fewer than three values, or the application has not exactly one classification or has several rows of peaks. 1
    /// does not say that the peaks could be stored.
    int updateWeightToClassifier(std::string& appName, std::vector<int> values);

    /// Adds a row of peaks for an application that has none; `values` must hold at least three. Returns 1, or 0 without
    /// a heavy-game database or when no row could be had.
    int writeHeavyGameDb(std::string& appName, std::vector<int> values);

    /// What getData answers; 0 for an application that is not known.
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
