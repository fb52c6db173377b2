#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "host/Feature.h"
#include "host/Registry.h"
#include "tests/support/Device.h"
#include "tests/support/Sql.h"

// The built libtessary.so, loaded as a host loads it.

namespace {

using Shared = RegistryBase<Feature, FeatureInfo>;

bool outOfMemory = false;

} // namespace

// Not inline, or the compiler would see malloc() and free() behind new and delete and warn that they do not match.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return outOfMemory ? nullptr : std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* block = operator new(size, std::nothrow);
    return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }

namespace {

TEST(AsyncInfoOrder, ComparesTheFlagLast) {
    const std::vector<AsyncInfo> ordered{{false, 1, -1}, {true, 1, -1}, {false, 1, 0}, {true, 1, 9}, {false, ~0U, 0}};
    const auto notBefore = [](const AsyncInfo& one, const AsyncInfo& other) { return !(one < other) || other < one; };
    EXPECT_EQ(std::adjacent_find(ordered.begin(), ordered.end(), notBefore), ordered.end());
}

void* load(const std::string& library, int scope = RTLD_LOCAL) {
    void* handle = dlopen(library.c_str(), RTLD_NOW | scope);
    EXPECT_NE(handle, nullptr) << dlerror();
    return handle;
}

TEST(LoadedPlugin, IsDrivenAndDeleted) {
    Device device;
    load(PLUGIN);
    FeatureInfo info;
    info.name = "X";
    info.meters.emplace_back().asyncInfoSet = {{true, 1, 2}, {false, 1, 2}, {true, 1, 2}};
    const std::unique_ptr<Feature> feature(Shared::classList->at("Tessary")(info));
    EXPECT_EQ(feature->info.meters.at(0).asyncInfoSet.size(), 2U);
    EXPECT_EQ(feature->name, "X");
    EXPECT_EQ(feature->handle, -1);
    std::string name = "a";
    featureData data;
    feature->runAsync({4164, 0x01000011, name, 0});
    EXPECT_EQ(feature->setData(name, {1000, 0, 0}), 0);
    EXPECT_EQ(feature->getData(name, data, 1), 0);
    EXPECT_EQ(data.value, 1);
    EXPECT_EQ(feature->getData(name, data, 1, 1), 0);
    EXPECT_EQ(data.value, -1);
    EXPECT_EQ(Sql(device.file("X.db")).table("Tessary"), Lines{"1,NULL,'a',NULL,X'1100000001000000'"});
    EXPECT_EQ(device.takeLog(), Lines{});
    // The plug-in hides its symbols. What it catches must still be the runtime's exceptions, not copies of its
    // own of their types: with libc++ it would not know them again.
    outOfMemory = true;
    feature->getData(name, data, 0);
    outOfMemory = false;
    EXPECT_EQ(device.takeLog(),
              Lines{"E VELDB: readAllocateDR() #: Caught exception: std::bad_alloc in readAllocateDR"});
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
    EXPECT_NE(std::unique_ptr<Feature>(Shared::classList->at("Tessary")({})), nullptr);
}

} // namespace
