#include "host/Registry.h"

#include "host/Feature.h"

// Defined in the host library only. A plug-in with a map of its own would register where no host looks.

template <>
RegistryBase<Feature, FeatureInfo>::ClassMap* RegistryBase<Feature, FeatureInfo>::classList = nullptr;

template <>
std::mutex RegistryBase<Feature, FeatureInfo>::mMutex{};
