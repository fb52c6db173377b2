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

// How the host finds a plug-in: when the plug-in is loaded, a static Registry object enters a factory into a map that
// all plug-ins share. The map and its lock live in the host library alone.

/// The shared map from feature name to factory, one per base class and description type.
template <typename Base, typename Info>
class HOST_EXPORT RegistryBase {
public:
    /// Makes a feature from its description; null when memory ran out. The caller owns the feature. What its
    /// construction throws passes.
    using FeatureFactory = Base* (*)(Info);
    /// From the name that a plug-in registers to its factory.
    using ClassMap = std::unordered_map<std::string, FeatureFactory>;

    /// Returns the map, which it creates when there is none yet; null when memory ran out (the next call tries again).
    /// The map stays the registry's. The caller must hold `mMutex`.
    static ClassMap* getMap() {
        if (classList == nullptr) {
            classList = new (std::nothrow) ClassMap;
        }
        return classList;
    }

    /// Null until the map is first needed; the map is never destroyed, since plug-ins may be loaded at any time.
    static ClassMap* classList;
    /// Guards `classList` and the map. Held while an entry is made or looked up, or the lack of a map is logged.
    static std::mutex mMutex;
};

// The host library defines both, once for all plug-ins.
template <>
HOST_EXPORT RegistryBase<Feature, FeatureInfo>::ClassMap* RegistryBase<Feature, FeatureInfo>::classList;
template <>
HOST_EXPORT std::mutex RegistryBase<Feature, FeatureInfo>::mMutex;

/// The factory: returns a new `Derived` built from `info`, which the caller owns and deletes through `Base*`, or null
/// when memory ran out. What the construction throws passes to the caller; nothing is left behind. Any thread.
template <typename Base, typename Info, typename Derived>
HOST_EXPORT Base* createClassObj(Info info) {
    return new (std::nothrow) Derived(std::move(info));
}

/// Registers the factory of `Derived` for as long as the process lives: destroying the object takes nothing back, so a
/// plug-in must stay loaded. A plug-in has one such object, static, which the loader constructs.
template <typename Base, typename Info, typename Derived>
class HOST_EXPORT Registry {
public:
    /// Enters the factory under `name`, under the registry lock. The first registration of a name wins; a later one is
    /// dropped without a message. A null `name` registers nothing. Without a map the loss is logged.
    /// Throws std::bad_alloc when the entry cannot be made; the lock is free then. From a static object, while a
    /// library is loaded, that as a rule ends the process.
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
