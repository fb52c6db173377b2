#ifndef WORKSTATION_VELHOST_PLUGINHOST_H
#define WORKSTATION_VELHOST_PLUGINHOST_H

#include <memory>
#include <string>

#include "host/Feature.h"
#include "host/Registry.h"

// The part of the host that a plug-in sees: the dynamic loader, the registry and the description of a feature.

namespace velhost {

/// A loaded plug-in and the factory that it registered under the name "Tessary".
///
/// The registry keeps pointers into a plug-in for as long as the process lives, so the code stays in memory when the
/// owner goes; features may outlive it. Loading runs the plug-in's static initialisation, on the calling thread.
class PluginHost {
public:
    /// Loads the library at `path`, relative to the working directory. Throws Refusal when it cannot be loaded or the
    /// registry holds no such factory afterwards.
    explicit PluginHost(const std::string& path);

    /// Builds the feature from a description with the given name. Never null. Throws Refusal when the factory gives
    /// none or throws.
    std::unique_ptr<Feature> makeFeature(const std::string& name) const;

private:
    using Factory = RegistryBase<Feature, FeatureInfo>::FeatureFactory;

    // Gives the loader its count back, which ends neither the code nor what it registered.
    struct Unloader {
        void operator()(void* handle) const;
    };

    /// Null when there is no map or no entry.
    static Factory findFactory();

    // Held for the loader's count alone.
    std::unique_ptr<void, Unloader> library;
    // Points into the library; never null once constructed.
    Factory factory = nullptr;
};

} // namespace velhost

#endif
