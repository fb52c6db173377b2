#ifndef TESTS_SUPPORT_PROBES_H
#define TESTS_SUPPORT_PROBES_H

#include "feature/TessaryFeature.h"

// The product's classes with their protected members open to tests.

template <typename T>
struct StoreProbe : VelDatabase<T> {
    using VelDatabase<T>::VelDatabase;
    using VelDatabase<T>::db;
    using VelDBDataTable<T>::cacheList;
    using VelDBDataTable<T>::cacheMutex;
};

/// A description that holds no more than the name.
inline FeatureInfo called(const std::string& name) {
    FeatureInfo info;
    info.name = name;
    return info;
}

struct FeatureProbe : TessaryFeature {
    using TessaryFeature::appDb;
    using TessaryFeature::heavyGameDb;
    using TessaryFeature::TessaryFeature;
};

#endif
