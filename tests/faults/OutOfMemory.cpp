#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// What each operation answers, logs and keeps when one certain call fails.

namespace {

using Store = StoreProbe<TessaryDatabase>;
using Registered = RegistryBase<Feature, FeatureInfo>;

int read(Store& store) {
    const VelDBDataRowKey everyRow("", VELDB_NO_VALUE);
    auto rows = store.readAllocateDR<TessaryDatabase>(everyRow, 0, veldbOrderByNone, veldbDirNone);
    return store.freeRow(rows);
}

int getThreeRows(Store& store) {
    auto rows = store.getRow(3);
    return store.freeRow(rows);
}

int buildClause(Store& store) {
    std::string query;
    store.build_query_for_where_clause(VelDBDataRowKey("a", 1), query);
    return static_cast<int>(query.size());
}

int registerWithoutMap(Store& /*store*/) {
    auto* kept = std::exchange(Registered::classList, nullptr);
    const Registry<Feature, FeatureInfo, TessaryFeature> lost("N");
    return std::exchange(Registered::classList, kept) == nullptr ? 0 : 1;
}

int open(Store& store) { return store.closeVeldb() + store.openVeldb(); }

/// SQLite refuses to close a connection while a statement is left.
int closeInUse(Store& store) {
    sqlite3* db = store.db;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, "BEGIN", -1, &statement, nullptr);
    const int result = store.closeVeldb();
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return result;
}

int createTable(Store& store) { return store.createVeldbTables<TessaryDatabase>(); }
int write(Store& store) { return store.VelDatabaseWriteCachedToDisk(); }

int remove(Store& store) {
    auto rows = store.getRow(1);
    return store.deleteDeallocateDR<TessaryDatabase>(rows);
}

const Fault badAlloc{"badAlloc", CPP_NEW};
const Fault foreign{"foreign", CPP_NEW, SQLITE_ABORT};
const Fault finalize{"finalize", SQLITE_FINALIZE, SQLITE_IOERR};

const struct {
    const char* operation;
    int (*run)(Store& store);
    Fault fault;
    int callsBefore; ///< the one that fails
    int result;
    const char* message;
} cases[] = {
    {"VELDB: openVeldb", open, badAlloc, 0, VELDB_FAILURE, "Caught exception: std::bad_alloc in openVeldb"},
    {"VELDB: openVeldb", open, foreign, 0, VELDB_FAILURE, "Caught Exception in openVeldb"},
    {"VELDB: closeVeldb", closeInUse, foreign, 0, VELDB_FAILURE, "Caught Exception in closeVeldb"},
    {"VELDB: createVeldbTables", createTable, foreign, 0, VELDB_SUCCESS, "Caught Exception in createVeldbTables"},
    {"VELDB: writeCachedDRToDisk", write, foreign, 0, VELDB_SUCCESS, "Caught Exception in writeCachedDRToDisk"},
    {"VELDB: deleteDeallocateDR", remove, foreign, 2, 1, "Error in std::string operations in deleteDeallocateDR"},
    {"VELDB: readAllocateDR", read, foreign, 4, 1, "Error in std::string operations in readAllocateDR"},
    {"VELDB: build_query_for_where_clause", buildClause, badAlloc, 0, 0, "Caught exception: std::bad_alloc"},
    {"VELDB: build_query_for_where_clause", buildClause, foreign, 0, 0, "Error in std::string operations"},
    {"VELDB: getRow", getThreeRows, badAlloc, 3, 2, "ERROR:Dbt=T new operator failure, allocated=2\n"},
    {"VELDB: getRow", read, badAlloc, 3, 1, "ERROR:Dbt=T new operator failure, allocated=0\n"},
    {"VELDB: writeCachedDRToDisk", write, finalize, 0, VELDB_FAILURE, "sql:ERROR:Dbt=T info=10\n"},
    {"VELDB: writeCachedDRToDisk", write, finalize, 1, VELDB_FAILURE, "sql:ERROR:Dbt=T info=10\n"},
    {"VELDB: deleteDeallocateDR", remove, finalize, 0, 0, "sql:ERROR:Dbt=T info=10\n"},
    {"VELDB: readAllocateDR", read, finalize, 0, 2, "sql:ERROR:Dbt=T info=10\n"},
    {"FeatureRegistry: Registry", registerWithoutMap, badAlloc, 0, 0,
     "getMap() returned nullptr, Class N not registered"},
};

TEST(OutOfMemory, FailuresStayInTheStoreAndAreLogged) {
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << row.operation << ' ' << row.fault.name << ' ' << row.callsBefore);
        const Device device;
        Store store{0, "a name too long for a small string.db", "T"};
        store.openVeldb();
        sqlite3_exec(store.db, "INSERT INTO T(appName) VALUES ('a'), ('b')", nullptr, nullptr, nullptr);
        auto rows = store.getRow(1);
        rows[0]->appName = "queued";
        store.cacheRow(rows);
        arm(row.fault, row.callsBefore, false);
        const int result = row.run(store);
        EXPECT_EQ(disarm(), 1);
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(Device::takeLog(), Lines{std::string("E ") + row.operation + "() #: " + row.message});
        const bool isWritten = row.run == write && row.fault.kind == SQLITE_FINALIZE;
        EXPECT_EQ(store.cacheList.size(), isWritten ? 0U : 1U);
    }
}

TEST(OutOfMemory, FactoryAndStoresAnswerNull) {
    const Device device;
    FeatureInfo description;
    FeatureProbe feature("X");
    feature.appDb.reset();
    arm(badAlloc, 0, true);
    feature.createFeatureInputDb();
    const auto* made = createClassObj<Feature, FeatureInfo, FeatureProbe>(std::move(description));
    EXPECT_EQ(disarm(), 2);
    EXPECT_EQ(feature.appDb, nullptr);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(Device::takeLog(), Lines{});
}

} // namespace
