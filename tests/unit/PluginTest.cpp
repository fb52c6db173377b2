#include <filesystem>
#include <memory>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "host/Feature.h"
#include "host/Registry.h"
#include "tests/support/Device.h"

namespace {

// What only the built libtessary.so can show, loaded as a host loads it.

using Shared = RegistryBase<Feature, FeatureInfo>;

void* load(const std::string& library, int scope = RTLD_LOCAL) {
    void* handle = dlopen(library.c_str(), RTLD_NOW | scope);
    EXPECT_NE(handle, nullptr) << dlerror();
    return handle;
}

TEST(LoadedPlugin, SecondCopyUsesItsOwnVirtualTable) {
    const Device device;
    const std::string copy = device.file("copy.so");
    std::filesystem::copy(PLUGIN, copy);
    load(PLUGIN, RTLD_GLOBAL); // the second copy could take the first one's symbols
    const Shared::FeatureFactory first = Shared::classList->at("Tessary");
    // createClassObj<Feature, FeatureInfo, TessaryFeature> of the copy
    const auto second = reinterpret_cast<Shared::FeatureFactory>(
        dlsym(load(copy, RTLD_GLOBAL), "_Z14createClassObjI7Feature11FeatureInfo14TessaryFeatureEPT_T0_"));
    EXPECT_EQ(Shared::classList->at("Tessary"), first) << "the first registration counts";
    ASSERT_NE(second, nullptr) << dlerror();
    const std::unique_ptr<Feature> feature(second({}));
    const void* virtualTable = *reinterpret_cast<void* const*>(feature.get()); // an object begins with its address
    Dl_info place{};
    ASSERT_NE(dladdr(virtualTable, &place), 0);
    EXPECT_EQ(place.dli_fname, copy) << "the library that holds the table";
}

TEST(LoadedPlugin, WorksAfterDlclose) {
    const Device device;
    ASSERT_EQ(dlclose(load(PLUGIN)), 0);
    ASSERT_NE(dlopen(PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the plug-in stays loaded";
    const std::unique_ptr<Feature> feature(Shared::classList->at("Tessary")({}));
    std::string app = "a";
    featureData answer;
    EXPECT_EQ(feature->getData(app, answer, 0, 0), 0);
    EXPECT_EQ(answer.value, -1) << "the base class knows no query with four arguments";
}

} // namespace
