#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// What a host may do from several threads at once. Meant for ThreadSanitizer as well.

namespace {

/// SQLite's lock is not fair: readers that never end could keep a change from running.
constexpr int readsAtMost = 1000;

/// Runs each of `jobs` in a thread of its own and waits for all.
void runAtOnce(const std::vector<std::function<void()>>& jobs) {
    std::vector<std::future<void>> threads;
    for (const auto& job : jobs) {
        threads.push_back(std::async(std::launch::async, job));
    }
    for (auto& thread : threads) {
        thread.get();
    }
}

using Store = StoreProbe<TessaryDatabase>;

std::size_t readCount(Store& store, const std::string& name) {
    const VelDBDataRowKey key(name, VELDB_NO_VALUE);
    auto rows = store.readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByNone, veldbDirNone);
    return static_cast<std::size_t>(store.freeRow(rows));
}

void write(Store& store, std::int64_t rowid, const std::string& name) {
    auto rows = store.getRow(1);
    rows[0]->rowid = rowid;
    rows[0]->appName = name;
    store.writeDeallocateDR<TessaryDatabase>(rows);
}

void remove(Store& store, std::int64_t rowid) {
    auto rows = store.getRow(1);
    rows[0]->rowid = rowid;
    store.deleteDeallocateDR<TessaryDatabase>(rows);
}

/// A write whose BEGIN, COMMIT and ROLLBACK fail, each with a message of its own.
void writeInsideAnotherTransaction(Store& store) {
    sqlite3_exec(store.db, "BEGIN", nullptr, nullptr, nullptr);
    write(store, 1, "kept");
}

long countOf(const Lines& lines, const std::string& line) { return std::count(lines.begin(), lines.end(), line); }

TEST(Threads, ReadsBesideChangesLogTheirOwnFailures) {
    const Device device;
    Store store(0, "Tessary.db", "Tessary");
    ASSERT_EQ(store.openVeldb(), VELDB_SUCCESS);
    write(store, 0, "kept");
    const std::string malformed("a\0", 2); // ends the query early
    readCount(store, malformed);
    const Lines readFailure = Device::takeLog();
    ASSERT_EQ(readFailure.size(), 1U);
    writeInsideAnotherTransaction(store);
    const Lines writeFailure = Device::takeLog();
    ASSERT_EQ(writeFailure.size(), 3U);

    std::atomic<bool> writing{true};
    const auto find = [&] {
        for (int count = 0; writing && count < readsAtMost; ++count) {
            EXPECT_EQ(readCount(store, "kept"), 1U);
        }
    };
    const auto fail = [&] {
        for (int count = 0; count < 100; ++count) {
            EXPECT_EQ(readCount(store, malformed), 0U);
        }
    };
    const auto change = [&] {
        for (int count = 0; count < 50; ++count) {
            write(store, 0, "other");
            write(store, 1, "kept");
            remove(store, 2);
            writeInsideAnotherTransaction(store);
        }
        writing = false;
    };
    runAtOnce({find, find, fail, fail, change});
    const Lines lines = Device::takeLog();
    EXPECT_EQ(countOf(lines, readFailure[0]), 200);
    for (const std::string& line : writeFailure) {
        EXPECT_EQ(countOf(lines, line), 50) << line;
    }
    EXPECT_EQ(lines.size(), 350U) << "no line tells another call's failure";
}

TEST(Threads, QueriesBesideChangesOfOneFeature) {
    const Device device;
    FeatureProbe feature("Tessary");
    feature.classify("com.example.game", 17);
    std::atomic<bool> changing{true};
    const auto query = [&] {
        for (int count = 0; changing && count < readsAtMost; ++count) {
            EXPECT_EQ(feature.type("com.example.game"), 17);
        }
    };
    const auto change = [&] {
        for (int count = 0; count < 50; ++count) {
            feature.report("com.example.game", {count, 0, 0});
            feature.classify("com.example.other", 3);
            feature.remove("com.example.other");
        }
        changing = false;
    };
    runAtOnce({query, query, query, change});
    EXPECT_EQ(Device::takeLog(), Lines{});
}

TEST(Threads, RowsQueuedWhileAnotherWritesBackAllArrive) {
    const Device device;
    Store store(0, "Tessary.db", "Tessary");
    ASSERT_EQ(store.openVeldb(), VELDB_SUCCESS);
    std::atomic<int> queueing{2};
    const auto queue = [&] {
        for (int count = 0; count < 100; ++count) {
            auto rows = store.getRow(2);
            rows[0]->appName = rows[1]->appName = "a";
            store.cacheRow(rows);
        }
        --queueing;
    };
    const auto writeBack = [&] {
        while (queueing != 0) {
            EXPECT_EQ(store.writeCachedDRToDisk<TessaryDatabase>(), VELDB_SUCCESS);
        }
        store.writeCachedDRToDisk<TessaryDatabase>();
    };
    runAtOnce({queue, queue, writeBack});
    EXPECT_EQ(Sql(device.file("Tessary.db")).run("SELECT count(*) FROM Tessary"), Lines{"400"});
}

TEST(Threads, PluginsRegisterAtOnce) {
    using PluginRegistry = Registry<Feature, FeatureInfo, TessaryFeature>;
    const auto registerAs = [](const char* name) {
        return [name] {
            const PluginRegistry own(name);
            const PluginRegistry shared("Shared");
        };
    };
    runAtOnce({registerAs("Plugin0"), registerAs("Plugin1"), registerAs("Plugin2"), registerAs("Plugin3")});
    for (const char* name : {"Tessary", "Plugin0", "Plugin1", "Plugin2", "Plugin3", "Shared"}) {
        EXPECT_EQ((RegistryBase<Feature, FeatureInfo>::classList->count(name)), 1U) << name;
    }
}

} // namespace
