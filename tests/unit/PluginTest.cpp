#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include "host/Feature.h"
#include "host/Registry.h"
#include "tests/support/Device.h"
#include "tests/support/Sql.h"

// What the build makes, as a host and as a user get it: the loaded libtessary.so, and velhost as a process.

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

class Velhost : public testing::Test {
protected:
    /// Runs velhost in a folder of its own on the script "s" there and returns its exit status.
    int run(const std::string& arguments, const std::string& script = "") {
        std::ofstream(device.file("s"), std::ios::binary) << script;
        const std::string cd = "cd '" + device.file().string() + "' && " VELHOST " ";
        const int status = std::system((cd + arguments + " <s >out 2>err").c_str());
        out = contentOf(device.file("out"));
        err = contentOf(device.file("err"));
        return WEXITSTATUS(status);
    }
    void expectRefusal(const std::string& arguments, const std::string& script, const std::string& beginning) {
        EXPECT_EQ(run(arguments, script), 2) << arguments << "\n" << script;
        EXPECT_EQ(out, "");
        EXPECT_TRUE(err.rfind(beginning, 0) == 0 && err.find('\n') == err.size() - 1) << arguments << "\n" << err;
        EXPECT_FALSE(std::filesystem::exists(device.file("d/Tessary.db"))) << arguments << "\n" << script;
    }

    Device device;
    std::string out, err;
};

TEST_F(Velhost, PlaysAScriptAndPrintsWhatIsStored) {
    const std::string script = "classify com.a 0x11 # a game\nreport com.a 500 400 300\nclassify com.b 5 255\n\n"
                               "weight com.b -3\nclassify com.c 1\nremove com.c\nquery com.a weight\nquery com.a\n"
                               "trigger 4164 0x01000007 \"d 'e'\" 0\nreport \"d 'e'\" 1 2 3\nclassify \"\" 9\n";
    const std::string table = "APPLICATION  TYPE  WEIGHT  PEAK0  PEAK1  PEAK2       VERDICT\n"
                              "com.a          17       1    500    400    300  2000 >= 1900\n"
                              "com.b           5      -3      -      -      -             -\n"
                              "\"d 'e'\"         7       0      1      2      3     10 < 1900\n";
    EXPECT_EQ(run("replay --data d s", script), 0) << err;
    EXPECT_EQ(out, "com.a weight 1\ncom.a type 17\n\n" + table);
    EXPECT_EQ(run("dump --data d"), 0) << err;
    EXPECT_EQ(out, table);
    EXPECT_EQ(run("replay --data d --prop ro.vendor.perf.wlc.heavygame=true --format json -",
                  "weight com.a 9\nweight com.z 1\nclassify \"\\xFF\\n\\\"\" 3\nquery com.a weight"),
              0);
    EXPECT_EQ(err, "") << "weights are ignored, so none is missed";
    EXPECT_EQ(nlohmann::json::parse(out).at("applications").size(), 4U);
    EXPECT_EQ(run("replay --data d s", "weight com.z 1"), 0);
    EXPECT_NE(err.find(" E ANDR-PERF-VEL: Tessary: updateWeightToTessary() "), std::string::npos);
}

TEST_F(Velhost, RefusesInOneLineAndPlaysNothing) {
    for (const char* line :
         {"classify", "classify a", "classify a 16777216", "classify a -1", "classify a 1 256", "classify a x",
          R"(classify "a 1)", R"(classify "a\q" 1)", "weight a 2147483648", "query a size", "trigger 1 2 a",
          "remove a b", "report", "report a 1 x", "report a 99999999999", "nope a", "Query a"}) {
        expectRefusal("replay --data d s", "classify fine 1\n\n" + std::string(line) + "\nclassify fine 2\n", "s:3: ");
    }
    std::filesystem::create_directory(device.file("g"));
    std::ofstream(device.file("g/Tessary.db")) << std::string(5000, 'g');
    for (const char* arguments :
         {"replay --data d nothing", "replay --data d --bogus s", "replay --data d --plugin none.so s",
          "replay --data d --plugin s s", "replay --data s s", "replay --data d --prop x s",
          "replay --data d --format xml s", "dump --data nothing", "dump --data g", "bogus"}) {
        expectRefusal(arguments, "classify a 1\n", "velhost: ");
    }
}

TEST_F(Velhost, DumpsWithoutTouchingTheFiles) {
    ASSERT_EQ(run("replay --data d s", "classify a 1\n"), 0);
    Sql phone(device.file("d/Tessary.db"));
    phone.run("INSERT INTO Tessary VALUES (NULL, 'logged', NULL, X'02'), (NULL, 'a', NULL, NULL)");
    ASSERT_GT(std::filesystem::file_size(device.file("d/Tessary.db-wal")), 0U) << "a row is in the log alone";
    std::filesystem::copy(device.file("d"), device.file("before"));
    EXPECT_EQ(run("dump --data d"), 3) << err;
    EXPECT_NE(out.find("\nlogged "), std::string::npos);
    EXPECT_EQ(std::system(("cd '" + device.file().string() + "' && diff -r before d").c_str()), 0);
}

} // namespace
