#include <cstdlib>
#include <memory>
#include <new>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "host/Feature.h"
#include "host/Registry.h"
#include "tests/support/Device.h"

// The plug-in hides its symbols. What it catches must be the runtime's exceptions all the same, not copies of its own
// of their types: with libc++ it would not know them again.

namespace {

bool outOfMemory = false;

} // namespace

// Not inline, or the compiler would see malloc() and free() behind new and delete and warn that they do not match.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return outOfMemory ? nullptr : std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* block = operator new(size, std::nothrow);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }

TEST(Contract, LoadedPluginKnowsTheRuntimesExceptions) {
    const Device device;
    ASSERT_NE(dlopen(PLUGIN, RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror();
    FeatureInfo info;
    info.name = "X";
    const std::unique_ptr<Feature> feature(RegistryBase<Feature, FeatureInfo>::classList->at("Tessary")(info));
    std::string name = "a";
    featureData data;
    outOfMemory = true;
    feature->getData(name, data, 0);
    outOfMemory = false;
    EXPECT_EQ(Device::takeLog(), std::vector<std::string>{"E VELDB: readAllocateDR() #: Caught exception: "
                                                          "std::bad_alloc in readAllocateDR"});
}
