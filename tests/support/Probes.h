#ifndef TESTS_SUPPORT_PROBES_H
#define TESTS_SUPPORT_PROBES_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "feature/TessaryFeature.h"
#include "rowstore/VelDBPayloads.h"

// Opens protected members of the product's classes, and shortens the calls that tests make often.

template <typename T>
struct StoreProbe : VelDatabase<T> {
    using VelDatabase<T>::VelDatabase;
    using VelDatabase<T>::db;
    using VelDBDataTable<T>::cacheList;
};

/// The connection of any store. (`db` is a member of VelDatabase<T>; StoreProbe only makes its name public.)
template <typename T>
sqlite3* connectionOf(VelDatabase<T>& store) {
    return store.*&StoreProbe<T>::db;
}

/// The fields of a row that is not stored yet.
template <typename T = TessaryDatabase>
VelDBDataRow<T> newRow(const std::string& appName, const T& payload = {}) {
    VelDBDataRow<T> row;
    row.appName = appName;
    row.payload = payload;
    return row;
}

/// Queues a row with these fields.
template <typename T>
void queueRow(VelDatabase<T>& store, const VelDBDataRow<T>& fields) {
    auto rows = store.getRow(1);
    *rows.at(0) = fields;
    store.cacheRow(rows);
}

/// Copies of the rows that `key` selects; of all rows without one.
template <typename T>
std::vector<VelDBDataRow<T>> rowsOf(VelDatabase<T>& store, const VelDBDataRowKey& key = {"", VELDB_NO_VALUE},
                                    unsigned count = 0, veldbOrderByCol col = veldbOrderByNone,
                                    veldbOrderByDir dir = veldbDirNone) {
    auto lent = store.template readAllocateDR<T>(key, count, col, dir);
    std::vector<VelDBDataRow<T>> copies;
    for (const VelDBDataRow<T>* row : lent) {
        copies.push_back(*row);
    }
    store.freeRow(lent);
    return copies;
}

/// As above. Returns no rows when `store` is null.
template <typename T>
std::vector<VelDBDataRow<T>> rowsOf(const std::unique_ptr<VelDatabase<T>>& store) {
    return store == nullptr ? std::vector<VelDBDataRow<T>>{} : rowsOf(*store);
}

/// TessaryFeature with short names for its operations. Arguments are copied, so that a test can pass a literal.
struct FeatureProbe : TessaryFeature {
    /// The description holds only the name.
    explicit FeatureProbe(const std::string& id) : TessaryFeature({id, {}, 0, {}, {}, {}, {}, {}, {}}) {}
    using TessaryFeature::appDb;
    using TessaryFeature::heavyGameDb;
    using TessaryFeature::heavyGameEnabled;

    int classify(std::string app, int type) { return updateToClassifierDataBase(app, 255, type); } // any code but 0
    int remove(std::string app) { return updateToClassifierDataBase(app, 0, 1); }                  // ignores the type
    int weigh(std::string app, int weight) { return updateWeightToTessary(app, weight); }
    int report(std::string app, const std::vector<int>& values) { return updateWeightToClassifier(app, values); }
    int addPeaks(std::string app, const std::vector<int>& values) { return writeHeavyGameDb(app, values); }
    int type(std::string app) { return getAppType(app); }
    int weight(std::string app) { return getAppWeight(app); }
};

#endif
