#include <algorithm>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// What a host may do from several threads at once. Meant for ThreadSanitizer as well.

namespace {

using Store = StoreProbe<TessaryDatabase>;
using Job = std::function<void()>;

/// Runs each job in a thread of its own, 100 times.
void runAtOnce(const std::vector<Job>& jobs) {
    std::vector<std::future<void>> threads;
    for (const Job& job : jobs) {
        threads.push_back(std::async(std::launch::async, [&job] {
            for (int count = 0; count < 100; ++count) {
                job();
            }
        }));
    }
} // each future's destructor waits for its thread

TEST(Threads, ReadsBesideChangesLogTheirOwnFailures) {
    const Device device;
    Store store(0, "Tessary.db", "Tessary");
    store.openVeldb();
    queueRow(store, newRow("kept"));
    store.VelDatabaseWriteCachedToDisk();
    const Job find = [&] { EXPECT_EQ(rowsOf(store, {"kept", VELDB_NO_VALUE}).size(), 1U); };
    const std::string withNulByte("a\0", 2); // its query does not compile
    const Job fail = [&] { EXPECT_TRUE(rowsOf(store, {withNulByte, VELDB_NO_VALUE}).empty()); };
    const Job change = [&] {
        queueRow(store, newRow("other"));
        store.VelDatabaseWriteCachedToDisk();
        sqlite3_exec(store.db, "BEGIN", nullptr, nullptr, nullptr);
        store.VelDatabaseWriteCachedToDisk(); // fails to begin, ends that transaction, then fails to commit
    };
    fail();
    fail();
    change();
    const Lines once = Device::takeLog();
    EXPECT_EQ(once.size(), 5U);
    for (int round = 0; round < 10; ++round) { // 500 lines a round; the log keeps 512
        runAtOnce({find, find, fail, fail, change});
        const Lines logged = Device::takeLog();
        EXPECT_EQ(logged.size(), 500U) << "no line tells another call's failure";
        for (const std::string& line : once) {
            EXPECT_EQ(std::count(logged.begin(), logged.end(), line), 100 * std::count(once.begin(), once.end(), line))
                << line;
        }
    }
}

TEST(Threads, QueriesBesideChangesOfOneFeature) {
    const Device device;
    FeatureProbe feature("Tessary");
    feature.classify("com.example.game", 17);
    const Job query = [&] { EXPECT_EQ(feature.type("com.example.game"), 17); };
    const Job change = [&] {
        feature.report("com.example.game", {400, 500, 300});
        feature.classify("com.example.other", 3);
        feature.remove("com.example.other");
    };
    runAtOnce({query, query, query, change});
    EXPECT_EQ(Device::takeLog(), Lines{});
}

TEST(Threads, RowsQueuedWhileAnotherWritesBackAllArrive) {
    const Device device;
    Store store(0, "Tessary.db", "Tessary");
    store.openVeldb();
    const Job queue = [&] { queueRow(store, newRow("a")); };
    const Job writeBack = [&] { store.VelDatabaseWriteCachedToDisk(); };
    runAtOnce({queue, queue, writeBack});
    writeBack();
    EXPECT_EQ(Sql(device.file("Tessary.db")).run("SELECT count(*) FROM Tessary"), Lines{"200"});
}

TEST(Threads, RegistrationsFromSeveralThreadsAllArrive) {
    using Entry = Registry<Feature, FeatureInfo, TessaryFeature>;
    std::vector<Job> jobs;
    for (const char* name : {"Plugin0", "Plugin1", "Plugin2", "Plugin3"}) {
        jobs.emplace_back([name] { const Entry own(name), shared("Shared"); });
    }
    runAtOnce(jobs);
    EXPECT_EQ((RegistryBase<Feature, FeatureInfo>::classList->size()), 6U) << "four, Shared and Tessary";
}

} // namespace
