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

TEST(LoadedPlugin, IsFoundDrivenAndDeleted) {
    Device device;
    ASSERT_NE(dlopen(PLUGIN, RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror();
    const Shared::FeatureFactory factory = Shared::classList->at("Tessary");
    std::filesystem::copy(PLUGIN, device.file("copy.so"));
    ASSERT_NE(dlopen(device.file("copy.so").c_str(), RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror();
    EXPECT_EQ(Shared::classList->at("Tessary"), factory);
    FeatureInfo info;
    info.name = "X";
    info.meters.emplace_back().asyncInfoSet = {{true, 1, 2}, {false, 1, 2}, {true, 1, 2}};
    const std::unique_ptr<Feature> feature(factory(info));
    EXPECT_EQ(feature->info.meters.at(0).asyncInfoSet.size(), 2U);
    EXPECT_EQ(feature->name + std::to_string(feature->handle), "X-1");
    std::string name = "a";
    featureData data;
    feature->runAsync({4164, 0x01000011, name, 0});
    EXPECT_EQ(feature->setData(name, {1000, 0, 0}), 0);
    EXPECT_EQ(feature->getData(name, data, 1) + data.value, 1);
    EXPECT_EQ(feature->getData(name, data, 1, 1) + data.value, -1);
    EXPECT_EQ(Sql(device.file("X.db")).table("Tessary"), Lines{"1,NULL,'a',NULL,X'1100000001000000'"});
    EXPECT_EQ(device.takeLog(), Lines{});
    // The plug-in hides its symbols. What it catches must be the runtime's exceptions all the same, not copies of its
    // own of their types: with libc++ it would not know them again.
    outOfMemory = true;
    feature->getData(name, data, 0);
    outOfMemory = false;
    EXPECT_EQ(device.takeLog(),
              Lines{"E VELDB: readAllocateDR() #: Caught exception: std::bad_alloc in readAllocateDR"});
}

} // namespace
