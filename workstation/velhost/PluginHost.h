#ifndef WORKSTATION_VELHOST_PLUGINHOST_H
#define WORKSTATION_VELHOST_PLUGINHOST_H

#include <memory>
#include <string>

#include "host/Feature.h"
#include "host/Registry.h"

// The part of the host that a plug-in sees: the dynamic loader, the registry and the description of a feature.

namespace velhost {

/// A loaded plug-in and the factory that it registered under the name "Tessary". The registry keeps pointers into a
/// plug-in, so its code stays in memory until the process ends.
class PluginHost {
public:
    /// Loads the library at `path`, which may be relative to the working directory, and so runs its static
    /// initialisation. Throws Error when it cannot be loaded or the registry holds no such factory afterwards.
    explicit PluginHost(const std::string& path);

    /// Builds the feature from a description with the given name. Never null. Throws Error when the factory gives
    /// none or throws.
    std::unique_ptr<Feature> makeFeature(const std::string& name) const;

private:
    // Points into the library; never null once constructed.
    RegistryBase<Feature, FeatureInfo>::FeatureFactory factory = nullptr;
};

} // namespace velhost

#endif
