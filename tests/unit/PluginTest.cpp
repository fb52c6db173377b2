#include <cstddef>
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
    const auto second = reinterpret_cast<Shared::FeatureFactory>(
        dlsym(load(copy, RTLD_GLOBAL), "_Z14createClassObjI7Feature11FeatureInfo14TessaryFeatureEPT_T0_"));
    EXPECT_EQ(Shared::classList->at("Tessary"), first) << "the first registration counts";
    ASSERT_NE(second, nullptr) << dlerror();
    const std::unique_ptr<Feature> feature(second({}));
    Dl_info place{};
    ASSERT_NE(dladdr(*reinterpret_cast<void* const*>(feature.get()), &place), 0);
    EXPECT_EQ(place.dli_fname, copy);
}

TEST(LoadedPlugin, WorksAfterDlclose) {
    const Device device;
    ASSERT_EQ(dlclose(load(PLUGIN)), 0);
    ASSERT_NE(dlopen(PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the plug-in was unloaded";
    const std::unique_ptr<Feature> feature(Shared::classList->at("Tessary")({}));
    std::string app = "a";
    featureData answer;
    EXPECT_EQ(feature->getData(app, answer, 0, 0), 0);
    EXPECT_EQ(answer.value, -1) << "there is no such query";
}

TEST(AsyncInfo, IsOrderedByIdThenKindThenFlag) {
    const AsyncInfo ordered[] = {{false, 1, -1}, {true, 1, -1}, {false, 1, 0}, {true, 1, 9}, {false, ~0U, 0}};
    for (std::size_t i = 0; i < std::size(ordered); ++i) {
        for (std::size_t j = 0; j < std::size(ordered); ++j) {
            EXPECT_EQ(ordered[i] < ordered[j], i < j) << i << " and " << j;
        }
    }
}

} // namespace
