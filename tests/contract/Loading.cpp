#include <memory>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "host/Feature.h"
#include "host/Registry.h"
#include "tests/support/Device.h"

// What the plug-in's link flags promise to a host that loads it twice or lets go of it.

namespace {

using Shared = RegistryBase<Feature, FeatureInfo>;

/// The file that holds the code or data at `address`.
std::string fileOf(const void* address) {
    Dl_info info{};
    return dladdr(address, &info) != 0 ? info.dli_fname : "";
}

TEST(Loading, SecondCopyUsesItsOwnVirtualTable) {
    const Device device;
    const std::string copy = device.file("copy.so");
    std::filesystem::copy(PLUGIN, copy);
    ASSERT_NE(dlopen(PLUGIN, RTLD_NOW | RTLD_GLOBAL), nullptr) << dlerror();
    void* second = dlopen(copy.c_str(), RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(second, nullptr) << dlerror();
    const auto factory = reinterpret_cast<Shared::FeatureFactory>(
        dlsym(second, "_Z14createClassObjI7Feature11FeatureInfo14TessaryFeatureEPT_T0_"));
    ASSERT_NE(factory, nullptr) << dlerror();
    const std::unique_ptr<Feature> feature(factory({}));
    const void* virtualTable = *reinterpret_cast<void* const*>(feature.get());
    EXPECT_EQ(fileOf(virtualTable), copy);
}

TEST(Loading, FactoryWorksAfterDlclose) {
    const Device device;
    void* plugin = dlopen(PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugin, nullptr) << dlerror();
    const Shared::FeatureFactory factory = Shared::classList->at("Tessary");
    ASSERT_EQ(dlclose(plugin), 0);
    ASSERT_NE(dlopen(PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the plug-in was unloaded";
    const std::unique_ptr<Feature> feature(factory({}));
    EXPECT_NE(feature, nullptr);
}

} // namespace
