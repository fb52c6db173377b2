#ifndef HOST_REGISTRY_H
#define HOST_REGISTRY_H

#include <mutex>
#include <new>
#include <string>
#include <unordered_map>
#include <utility>

#include "host/Export.h"
#include "platform/Log.h"

class Feature;
struct FeatureInfo;

// How the host finds a plug-in: when the plug-in is loaded, its static Registry object adds a factory to a map that all
// plug-ins share. The host library holds the map and its lock.

/// The shared map from feature name to factory, one per base class and description type.
template <typename Base, typename Info>
class HOST_EXPORT RegistryBase {
public:
    /// Returns a new feature, owned by the caller, or null when out of memory. Throws whatever the constructor throws;
    /// nothing is leaked.
    using FeatureFactory = Base* (*)(Info);
    /// Maps a registered name to its factory.
    using ClassMap = std::unordered_map<std::string, FeatureFactory>;

    /// Returns the map, owned by the registry, and creates it if there is none. Returns null when out of memory; the
    /// next call tries again. The caller must hold `mMutex`.
    static ClassMap* getMap() {
        if (classList == nullptr) {
            classList = new (std::nothrow) ClassMap;
        }
        return classList;
    }

    /// Null until the map is first needed. Never destroyed: a plug-in may be loaded at any time.
    static ClassMap* classList;
    /// Guards `classList` and the map.
    static std::mutex mMutex;
};

// Defined in the host library.
template <>
HOST_EXPORT RegistryBase<Feature, FeatureInfo>::ClassMap* RegistryBase<Feature, FeatureInfo>::classList;
template <>
HOST_EXPORT std::mutex RegistryBase<Feature, FeatureInfo>::mMutex;

/// The FeatureFactory of `Derived`. Thread-safe.
template <typename Base, typename Info, typename Derived>
HOST_EXPORT Base* createClassObj(Info info) {
    return new (std::nothrow) Derived(std::move(info));
}

/// Registers the factory of `Derived`. A plug-in has one static object of this class, which the loader constructs.
/// Destroying it does not unregister, so a plug-in must stay loaded.
template <typename Base, typename Info, typename Derived>
class HOST_EXPORT Registry {
public:
    /// Adds the factory under `name`. The first registration of a name wins; a later one is dropped without a log line.
    /// Does nothing when `name` is null. Logs when there is no memory for the map.
    /// Locks `mMutex`. When out of memory for the entry, unlocks it and throws std::bad_alloc. During loading, that
    /// usually ends the process.
    explicit Registry(const char* name) {
        if (name == nullptr) {
            return;
        }
        using Shared = RegistryBase<Base, Info>;
        const std::lock_guard<std::mutex> lock(Shared::mMutex);
        auto* map = Shared::getMap();
        if (map == nullptr) {
            VEL_LOG_ERROR("getMap() returned nullptr, Class %s not registered", "FeatureRegistry", "Registry", __LINE__,
                          name);
            return;
        }
        map->try_emplace(name, &createClassObj<Base, Info, Derived>);
    }
};

#endif
