#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// What the store makes of an exception: how each operation names it, what it answers and what it keeps.

namespace {

using Store = StoreProbe<TessaryDatabase>;
using Rows = Store::vecT;
using namespace std::string_literals;

int read(Store& store, Rows& rows) {
    static const VelDBDataRowKey all("", VELDB_NO_VALUE);
    store.freeRow(rows);
    rows = store.readAllocateDR<TessaryDatabase>(all, 0, veldbOrderByNone, veldbDirNone);
    return static_cast<int>(rows.size());
}

int write(Store& store, Rows& /*rows*/) { return store.VelDatabaseWriteCachedToDisk(); }
int remove(Store& store, Rows& rows) { return store.deleteDeallocateDR<TessaryDatabase>(rows); }
int create(Store& store, Rows& /*rows*/) { return store.createVeldbTables<TessaryDatabase>(); }
int reopen(Store& store, Rows& /*rows*/) { return store.closeVeldb() + store.openVeldb(); }

int select(Store& store, Rows& /*rows*/) {
    std::string query;
    store.build_query_for_where_clause(VelDBDataRowKey("a", 1), query);
    return static_cast<int>(query.size());
}

int getRows(Store& store, Rows& rows) {
    store.freeRow(rows);
    rows = store.getRow(3);
    return static_cast<int>(rows.size());
}

/// `text` follows "Caught exception: std::bad_alloc", `foreign` replaces it for other exceptions.
const struct {
    const char* operation;
    int (*run)(Store& store, Rows& rows);
    long skipped; ///< allocations before the one that fails
    int result;
    std::string text, foreign;
} cases[] = {
    {"openVeldb", reopen, 0, VELDB_FAILURE, " in openVeldb", "Caught Exception"},
    {"createVeldbTables", create, 0, VELDB_SUCCESS, " in createVeldbTables", "Caught Exception"},
    {"writeCachedDRToDisk", write, 0, VELDB_SUCCESS, " in writeCachedDRToDisk", "Caught Exception"},
    {"deleteDeallocateDR", remove, 0, 1, " in deleteDeallocateDR", "Error in std::string operations"},
    {"readAllocateDR", read, 4, 1, " in readAllocateDR", "Error in std::string operations"},
    {"build_query_for_where_clause", select, 0, 0, "", "Error in std::string operations"},
    {"getRow", getRows, 3, 2, "ERROR:Dbt=T new operator failure, allocated=2\n", ""},
    {"getRow", read, 3, 1, "ERROR:Dbt=T new operator failure, allocated=0\n", ""},
};

TEST(Caught, ExceptionsStayInTheStoreAndAreNamed) {
    const Device device;
    for (const auto& [operation, run, skipped, result, text, foreign] : cases) {
        for (const int code : {SQLITE_NOMEM, SQLITE_ABORT}) {
            Store store(0, "a name that needs memory.db", "T");
            ASSERT_EQ(store.openVeldb(), VELDB_SUCCESS);
            auto rows = store.getRow(3);
            rows[0]->appName = rows[1]->appName = rows[2]->appName = "a";
            Rows queued{rows[0]};
            rows.erase(rows.begin());
            store.writeDeallocateDR<TessaryDatabase>(rows);
            store.cacheRow(queued);
            rows = store.getRow(1);
            Device::dropLog();
            Fuse::arm(CPP_NEW, code, skipped, true);
            EXPECT_EQ(run(store, rows), result) << operation;
            EXPECT_GT(Fuse::disarm(), 0) << operation;
            store.freeRow(rows);
            const std::string begin = code == SQLITE_ABORT ? foreign : "Caught exception: std::bad_alloc";
            EXPECT_EQ(Device::takeLog(),
                      Lines{"E VELDB: "s + operation + "() #: " + (foreign.empty() ? "" : begin) + text});
            EXPECT_EQ(store.cacheList.size(), 1U) << operation;
            sqlite3_exec(store.db, "DELETE FROM T", nullptr, nullptr, nullptr);
        }
    }
}

TEST(Caught, RegistrationWithoutAMapIsLogged) {
    const Device device;
    auto* kept = std::exchange(RegistryBase<Feature, FeatureInfo>::classList, nullptr);
    Fuse::arm(CPP_NEW, SQLITE_NOMEM, 0, true);
    const Registry<Feature, FeatureInfo, TessaryFeature> lost("N");
    Fuse::disarm();
    EXPECT_EQ(std::exchange(RegistryBase<Feature, FeatureInfo>::classList, kept), nullptr);
    EXPECT_EQ(Device::takeLog(),
              Lines{"E FeatureRegistry: Registry() #: getMap() returned nullptr, Class N not registered"});
}

TEST(Caught, FailuresToFinalizeAreLoggedAndAnswered) {
    const Device device;
    Store store(0, "", "T");
    store.openVeldb();
    Rows rows;
    const auto expect = [&](int (*run)(Store&, Rows&), const std::string& operation, int result,
                            std::size_t statements) {
        Fuse::arm(SQLITE_FINALIZE, SQLITE_IOERR, 0, true);
        EXPECT_EQ(run(store, rows), result);
        Fuse::disarm();
        EXPECT_EQ(Device::takeLog(), Lines(statements, "E VELDB: " + operation + "() #: sql:ERROR:Dbt=T info=10\n"));
    };
    expect(write, "writeCachedDRToDisk", VELDB_FAILURE, 2);
    expect(remove, "deleteDeallocateDR", 0, 1);
    expect(read, "readAllocateDR", 0, 1);
}

} // namespace
