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
    // Without a slash the loader would look in the system's folders. An empty path means the program itself to it.
    std::error_code error;
    const std::string whole = std::filesystem::absolute(path, error);
    // All symbols now: a plug-in that lacks one is refused here and does not end the replay halfway.
    if (whole.empty() || dlopen(whole.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE) == nullptr) {
        throw Error(Exit::refused, std::string("the plug-in cannot be loaded: ") + (whole.empty() ? "" : dlerror()));
    }
    // Loading ran the static initialisation that registers the feature, so the entry is there by now or never.
    const std::lock_guard<std::mutex> lock(Shared::mMutex);
    const auto* map = Shared::getMap();
    if (map == nullptr || map->count(registeredName) == 0) {
        throw Error(Exit::refused, whole + ": registers no feature named '" + registeredName + "'");
    }
    factory = map->at(registeredName);
}

std::unique_ptr<Feature> PluginHost::makeFeature(const std::string& name) const {
    // The factory and the constructor behind it let exceptions pass, of which std::bad_alloc is the likely one.
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
