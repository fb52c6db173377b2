#include "host/Registry.h"

#include "host/Feature.h"

// In the host's library alone: a plug-in with a map of its own would register where nobody looks.

template <>
RegistryBase<Feature, FeatureInfo>::ClassMap* RegistryBase<Feature, FeatureInfo>::classList = nullptr;

template <>
std::mutex RegistryBase<Feature, FeatureInfo>::mMutex{};
