#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// What a host may do from several threads at once. Meant for ThreadSanitizer.

namespace {

/// Runs `work` with the numbers 0 to 3, each in a thread of its own; the results' destruction waits for them.
template <typename Work>
std::vector<std::future<void>> start(Work work) {
    std::vector<std::future<void>> threads(4);
    std::generate(threads.begin(), threads.end(),
                  [&work, number = 0]() mutable { return std::async(std::launch::async, work, number++); });
    return threads;
}

TEST(Threads, RowsQueuedWhileAnotherWritesBackAllArrive) {
    const Device device;
    VelDatabase<TessaryDatabase> store(0, "Tessary.db", "Tessary");
    ASSERT_EQ(store.openVeldb(), VELDB_SUCCESS);
    std::atomic<int> running{4}, rounds{0};
    const auto threads = start([&](int number) {
        for (int i = 0; i < 100; ++i) {
            auto rows = store.getRow(2);
            rows[0]->appName = rows[1]->appName = "com.example.application." + std::to_string(number);
            store.cacheRow(rows);
            while (rounds < i / 10) { // so that both really go on at once
                std::this_thread::yield();
            }
        }
        --running;
    });
    while (running != 0) {
        EXPECT_EQ(store.writeCachedDRToDisk<TessaryDatabase>(), VELDB_SUCCESS);
        ++rounds;
    }
    store.writeCachedDRToDisk<TessaryDatabase>();
    EXPECT_EQ(Sql(device.file("Tessary.db")).run("SELECT count(*) FROM Tessary GROUP BY appName"), Lines(4, "200"));
}

TEST(Threads, FeaturesDoNotDisturbEachOther) {
    const Device device;
    start([](int number) {
        FeatureProbe feature(called("Feature" + std::to_string(number)));
        for (int type = 1; type < 30; ++type) {
            std::string name = "com.example.application." + std::to_string(type % 7);
            EXPECT_EQ(feature.updateToClassifierDataBase(name, 1, type), 1);
            feature.setData(name, {400, 500, 300});
            EXPECT_EQ(feature.getAppType(name), type);
            EXPECT_EQ(feature.getAppWeight(name), 1);
        }
    });
    EXPECT_EQ(Device::takeLog(), Lines{});
}

TEST(Threads, PluginsRegisterAtOnce) {
    using PluginRegistry = Registry<Feature, FeatureInfo, TessaryFeature>;
    start([](int number) {
        const PluginRegistry own(("Plugin" + std::to_string(number)).c_str());
        const PluginRegistry shared("Shared");
    });
    for (const char* name : {"Tessary", "Plugin0", "Plugin1", "Plugin2", "Plugin3", "Shared"}) {
        EXPECT_EQ((RegistryBase<Feature, FeatureInfo>::classList->count(name)), 1U) << name;
    }
}

} // namespace
