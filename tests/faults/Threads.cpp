#include <algorithm>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// What a host may do from several threads at once. Meant for ThreadSanitizer as well.

namespace {

using Store = StoreProbe<TessaryDatabase>;

struct Job {
    int times;
    std::function<void()> run;
};

/// Runs the jobs at once, each in a thread of its own and as often as it says.
void runAtOnce(const std::vector<Job>& jobs) {
    std::vector<std::future<void>> threads;
    for (const Job& job : jobs) {
        threads.push_back(std::async(std::launch::async, [&job] {
            for (int count = 0; count < job.times; ++count) {
                job.run();
            }
        }));
    }
    for (auto& thread : threads) {
        thread.get();
    }
}

int readCount(Store& store, const std::string& name) {
    const VelDBDataRowKey key(name, VELDB_NO_VALUE);
    auto rows = store.readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByNone, veldbDirNone);
    return store.freeRow(rows);
}

void write(Store& store, int rowid, const std::string& name) {
    auto rows = store.getRow(1);
    rows[0]->rowid = rowid;
    rows[0]->appName = name;
    store.writeDeallocateDR<TessaryDatabase>(rows);
}

TEST(Threads, ReadsBesideChangesLogTheirOwnFailures) {
    const Device device;
    Store store(0, "Tessary.db", "Tessary");
    ASSERT_EQ(store.openVeldb(), VELDB_SUCCESS);
    write(store, 0, "kept");
    const Job find{100, [&] { EXPECT_EQ(readCount(store, "kept"), 1); }};
    const Job fail{100, [&] { EXPECT_EQ(readCount(store, std::string("a\0", 2)), 0); }}; // the query ends early
    const Job change{50, [&] {
                         write(store, 0, "other");
                         // BEGIN, COMMIT and ROLLBACK fail, each with a message of its own.
                         sqlite3_exec(store.db, "BEGIN", nullptr, nullptr, nullptr);
                         write(store, 1, "kept");
                     }};
    fail.run();
    change.run();
    const Lines failures = Device::takeLog();
    ASSERT_EQ(failures.size(), 4U);
    runAtOnce({find, find, fail, fail, change});
    const Lines lines = Device::takeLog();
    EXPECT_EQ(lines.size(), 350U) << "no line tells another call's failure";
    for (const std::string& line : failures) {
        EXPECT_EQ(std::count(lines.begin(), lines.end(), line), line == failures[0] ? 200 : 50) << line;
    }
}

TEST(Threads, QueriesBesideChangesOfOneFeature) {
    const Device device;
    FeatureProbe feature("Tessary");
    feature.classify("com.example.game", 17);
    const Job query{100, [&] { EXPECT_EQ(feature.type("com.example.game"), 17); }};
    const Job change{50, [&] {
                         feature.report("com.example.game", {400, 500, 300});
                         feature.classify("com.example.other", 3);
                         feature.remove("com.example.other");
                     }};
    runAtOnce({query, query, query, change});
    EXPECT_EQ(Device::takeLog(), Lines{});
}

TEST(Threads, RowsQueuedWhileAnotherWritesBackAllArrive) {
    const Device device;
    Store store(0, "Tessary.db", "Tessary");
    ASSERT_EQ(store.openVeldb(), VELDB_SUCCESS);
    const Job queue{100, [&] {
                        auto rows = store.getRow(1);
                        rows[0]->appName = "a";
                        store.cacheRow(rows);
                    }};
    const Job writeBack{100, [&] { EXPECT_EQ(store.VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS); }};
    runAtOnce({queue, queue, writeBack});
    store.VelDatabaseWriteCachedToDisk();
    EXPECT_EQ(Sql(device.file("Tessary.db")).run("SELECT count(*) FROM Tessary"), Lines{"200"});
}

TEST(Threads, PluginsRegisterAtOnce) {
    using Entry = Registry<Feature, FeatureInfo, TessaryFeature>;
    const Lines names{"Plugin0", "Plugin1", "Plugin2", "Plugin3"};
    std::vector<Job> jobs;
    for (const std::string& name : names) {
        jobs.push_back({2, [&name] { const Entry own(name.c_str()), shared("Shared"); }});
    }
    runAtOnce(jobs);
    for (const std::string& name : names) {
        EXPECT_EQ((RegistryBase<Feature, FeatureInfo>::classList->count(name)), 1U) << name;
    }
}

} // namespace
