#include "workstation/velhost/PluginHost.h"

#include <exception>
#include <filesystem>
#include <mutex>
#include <system_error>

#include <dlfcn.h>

#include "workstation/velhost/Failure.h"

namespace velhost {

namespace {

// Fixed, whatever name the description gives to the feature and its files.
constexpr const char* registeredName = "Tessary";

} // namespace

void PluginHost::Unloader::operator()(void* handle) const { dlclose(handle); }

PluginHost::PluginHost(const std::string& path) {
    // Without a slash the loader would look in the system's folders.
    std::error_code error;
    const std::string whole = std::filesystem::absolute(path, error);
    if (whole.empty()) { // which to the loader is the program itself
        throw Refusal("the plug-in has no path");
    }
    // All symbols now: a plug-in that lacks one is refused here and does not end the replay halfway.
    library.reset(dlopen(whole.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE));
    if (!library) {
        throw Refusal(std::string("the plug-in cannot be loaded: ") + dlerror());
    }
    // Loading ran the static initialisation that registers the feature, so the entry is there by now or never.
    factory = findFactory();
    if (factory == nullptr) {
        throw Refusal(whole + ": registers no feature named '" + registeredName + "'");
    }
}

PluginHost::Factory PluginHost::findFactory() {
    using Shared = RegistryBase<Feature, FeatureInfo>;
    const std::lock_guard<std::mutex> lock(Shared::mMutex);
    const auto* map = Shared::getMap();
    if (map == nullptr) {
        return nullptr;
    }
    const auto found = map->find(registeredName);
    return found == map->end() ? nullptr : found->second;
}

std::unique_ptr<Feature> PluginHost::makeFeature(const std::string& name) const {
    // The factory and the constructor behind it let exceptions pass, of which std::bad_alloc is the likely one.
    std::unique_ptr<Feature> feature;
    try {
        FeatureInfo description;
        description.name = name;
        feature.reset(factory(description));
    } catch (const std::exception& error) {
        throw Refusal(std::string("the feature could not be built: ") + error.what());
    } catch (...) {
        throw Refusal("the feature could not be built: an exception of unknown type");
    }
    if (!feature) {
        throw Refusal("the feature could not be built: its factory gave none");
    }
    return feature;
}

} // namespace velhost
