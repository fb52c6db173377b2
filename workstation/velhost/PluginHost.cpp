#include "workstation/velhost/PluginHost.h"

#include <exception>
#include <filesystem>
#include <mutex>
#include <system_error>

#include <dlfcn.h>

#include "workstation/velhost/Error.h"

namespace velhost {

namespace {

// Fixed, whatever name the description gives to the feature and its files.
constexpr const char* registeredName = "Tessary";

using Shared = RegistryBase<Feature, FeatureInfo>;

[[noreturn]] void refuseFeature(const std::string& why) {
    throw Error(Exit::refused, "the feature could not be built: " + why);
}

} // namespace

PluginHost::PluginHost(const std::string& path) {
    // dlopen searches the system's folders for a name without a slash, and takes an empty one for this program.
    std::error_code error;
    const std::string absolute = std::filesystem::absolute(path, error);
    // RTLD_NOW: a plug-in that lacks a symbol is refused here and does not end the replay halfway.
    if (absolute.empty() || dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE) == nullptr) {
        throw Error(Exit::refused, std::string("the plug-in cannot be loaded: ") + (absolute.empty() ? "" : dlerror()));
    }
    // Loading has run the static initialisation that registers the feature: the entry is there now or never.
    const std::lock_guard<std::mutex> lock(Shared::mMutex);
    const auto* map = Shared::getMap();
    if (map == nullptr || map->count(registeredName) == 0) {
        throw Error(Exit::refused, absolute + ": registers no feature named '" + registeredName + "'");
    }
    factory = map->at(registeredName);
}

std::unique_ptr<Feature> PluginHost::makeFeature(const std::string& name) const {
    // The factory throws what the feature's constructor throws, most likely std::bad_alloc.
    std::unique_ptr<Feature> feature;
    try {
        FeatureInfo description;
        description.name = name;
        feature.reset(factory(description));
    } catch (const std::exception& error) {
        refuseFeature(error.what());
    } catch (...) {
        refuseFeature("an exception of unknown type");
    }
    if (!feature) {
        refuseFeature("its factory gave none");
    }
    return feature;
}

} // namespace velhost
