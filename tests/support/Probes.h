#ifndef TESTS_SUPPORT_PROBES_H
#define TESTS_SUPPORT_PROBES_H

#include "feature/TessaryFeature.h"

// The product's classes with their protected members open to tests.

template <typename T>
class StoreProbe : public VelDatabase<T> {
public:
    using VelDatabase<T>::VelDatabase;
    using VelDatabase<T>::db;
    using VelDatabase<T>::dbDir;
    using VelDatabase<T>::dbFileName;
    using VelDBDataTable<T>::cacheList;
    using VelDBDataTable<T>::cacheMutex;
    using VelDBDataTable<T>::tableName;
};

class FeatureProbe : public TessaryFeature {
public:
    using TessaryFeature::appDb;
    using TessaryFeature::heavyGameDb;
    using TessaryFeature::heavyGameEnabled;
    using TessaryFeature::TessaryFeature;
};

#endif
