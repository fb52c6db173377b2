#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// What each operation answers, logs and keeps when one certain call fails.

namespace {

using Store = StoreProbe<TessaryDatabase>;

/// A store with the rows "a" and "b", a queued row, and a row on loan.
struct Prepared {
    const Device device;
    Store store{0, "a name too long for a small string.db", "T"};
    Store::vecT rows;

    Prepared() {
        store.openVeldb();
        sqlite3_exec(store.db, "INSERT INTO T(appName) VALUES ('a'), ('b')", nullptr, nullptr, nullptr);
        rows = store.getRow(1);
        rows[0]->appName = "queued";
        store.cacheRow(rows);
        rows = store.getRow(1);
        Device::dropLog();
    }
    ~Prepared() { store.freeRow(rows); }
    Prepared(const Prepared&) = delete;
};

int open(Prepared& with) { return with.store.closeVeldb() + with.store.openVeldb(); }
int createTable(Prepared& with) { return with.store.createVeldbTables<TessaryDatabase>(); }
int write(Prepared& with) { return with.store.VelDatabaseWriteCachedToDisk(); }
int remove(Prepared& with) { return with.store.deleteDeallocateDR<TessaryDatabase>(with.rows); }

int closeWithStatementLeft(Prepared& with) {
    sqlite3* db = with.store.db;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, "BEGIN", -1, &statement, nullptr);
    const int result = with.store.closeVeldb();
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return result;
}

int read(Prepared& with) {
    static const VelDBDataRowKey everyRow("", VELDB_NO_VALUE);
    with.store.freeRow(with.rows);
    with.rows = with.store.readAllocateDR<TessaryDatabase>(everyRow, 0, veldbOrderByNone, veldbDirNone);
    return static_cast<int>(with.rows.size());
}

int getThreeRows(Prepared& with) {
    with.store.freeRow(with.rows);
    with.rows = with.store.getRow(3);
    return static_cast<int>(with.rows.size());
}

int buildClause(Prepared& with) {
    std::string query;
    with.store.build_query_for_where_clause(VelDBDataRowKey("a", 1), query);
    return static_cast<int>(query.size());
}

int registerWithoutMap(Prepared& /*with*/) {
    using Shared = RegistryBase<Feature, FeatureInfo>;
    auto* kept = std::exchange(Shared::classList, nullptr);
    const Registry<Feature, FeatureInfo, TessaryFeature> lost("N");
    return std::exchange(Shared::classList, kept) == nullptr ? 0 : 1;
}

const Fault badAlloc{"badAlloc", CPP_NEW};
const Fault foreign{"foreign", CPP_NEW, SQLITE_ABORT};
const Fault finalize{"finalize", SQLITE_FINALIZE, SQLITE_IOERR};

const struct {
    const char* operation;
    int (*run)(Prepared& with);
    Fault fault;
    int callsBefore; ///< the one that fails
    int result;
    const char* message;
} cases[] = {
    {"VELDB: openVeldb", open, badAlloc, 0, VELDB_FAILURE, "Caught exception: std::bad_alloc in openVeldb"},
    {"VELDB: openVeldb", open, foreign, 0, VELDB_FAILURE, "Caught Exception in openVeldb"},
    {"VELDB: closeVeldb", closeWithStatementLeft, foreign, 0, VELDB_FAILURE, "Caught Exception in closeVeldb"},
    {"VELDB: createVeldbTables", createTable, foreign, 0, VELDB_SUCCESS, "Caught Exception in createVeldbTables"},
    {"VELDB: writeCachedDRToDisk", write, foreign, 0, VELDB_SUCCESS, "Caught Exception in writeCachedDRToDisk"},
    {"VELDB: deleteDeallocateDR", remove, badAlloc, 0, 1, "Caught exception: std::bad_alloc in deleteDeallocateDR"},
    {"VELDB: deleteDeallocateDR", remove, foreign, 0, 1, "Error in std::string operations in deleteDeallocateDR"},
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
        Prepared with;
        arm(row.fault, row.callsBefore, false);
        const int result = row.run(with);
        EXPECT_EQ(disarm(), 1);
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(Device::takeLog(), Lines{std::string("E ") + row.operation + "() #: " + row.message});
        const bool isWritten = row.run == write && row.fault.kind == SQLITE_FINALIZE;
        EXPECT_EQ(with.store.cacheList.size(), isWritten ? 0U : 1U);
    }
}

TEST(OutOfMemory, FactoryAndStoresAnswerNull) {
    const Device device;
    FeatureInfo description;
    arm(badAlloc, 0, false);
    Feature* made = createClassObj<Feature, FeatureInfo, FeatureProbe>(std::move(description));
    EXPECT_EQ(disarm(), 1);
    EXPECT_EQ(made, nullptr);
    FeatureProbe feature("X");
    feature.appDb.reset();
    arm(badAlloc, 0, false);
    feature.createFeatureInputDb();
    EXPECT_EQ(disarm(), 1);
    EXPECT_EQ(feature.appDb, nullptr);
    EXPECT_EQ(Device::takeLog(), Lines{});
}

} // namespace
