#ifndef TESTS_SUPPORT_PROBES_H
#define TESTS_SUPPORT_PROBES_H

#include <string>
#include <utility>
#include <vector>

#include "feature/TessaryFeature.h"
#include "rowstore/VelDBPayloads.h"

// The product's classes with their protected members open to tests.

template <typename T>
struct StoreProbe : VelDatabase<T> {
    using VelDatabase<T>::VelDatabase;
    using VelDatabase<T>::db;
    using VelDBDataTable<T>::cacheList;
    using VelDBDataTable<T>::cacheMutex;
};

/// The connection of a store that is no StoreProbe.
template <typename T>
sqlite3* connectionOf(VelDatabase<T>& store) {
    return store.*&StoreProbe<T>::db;
}

struct FeatureProbe : TessaryFeature {
    /// A feature whose description holds no more than its name.
    explicit FeatureProbe(const std::string& id) : TessaryFeature(named(id)) {}
    using TessaryFeature::appDb;
    using TessaryFeature::heavyGameDb;
    using TessaryFeature::heavyGameEnabled;
    using TessaryFeature::TessaryFeature;

    // The calls of a host, by name and in values.
    void classify(std::string app, unsigned type) { runAsync({4164, 0x01000000 | type, std::move(app), 0}); }
    void remove(std::string app) { runAsync({4164, 0, std::move(app), 0}); }
    void weigh(std::string app, int weight) { runAsync({4165, 0, std::move(app), weight}); }
    void report(std::string app, const std::vector<int>& values) { setData(app, values); }
    int type(std::string app) { return query(app, 0); }
    int weight(std::string app) { return query(app, 1); }

private:
    int query(std::string& app, int selector) {
        featureData data;
        return getData(app, data, selector) + data.value;
    }
    static FeatureInfo named(const std::string& id) {
        FeatureInfo description;
        description.name = id;
        return description;
    }
};

#endif
