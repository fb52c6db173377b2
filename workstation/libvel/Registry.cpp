#include "host/Registry.h"

#include "host/Feature.h"

template <>
RegistryBase<Feature, FeatureInfo>::ClassMap* RegistryBase<Feature, FeatureInfo>::classList = nullptr;

template <>
std::mutex RegistryBase<Feature, FeatureInfo>::mMutex{};
