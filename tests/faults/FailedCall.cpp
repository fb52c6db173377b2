#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// What operations answer, log and keep when a certain call fails. An expectation that fails meanwhile throws: it has no
// memory to print itself.

namespace {

class FailedCall : public testing::Test {
protected:
    void SetUp() override {
        store.openVeldb();
        sqlite3_exec(store.db, "INSERT INTO T(appName) VALUES ('a')", nullptr, nullptr, nullptr);
        queueRow(store, newRow("queued"));
    }
    void TearDown() override { store.freeRow(lent); }

    const Device device;
    StoreProbe<TessaryDatabase> store{0, "x.db", "T"};
    decltype(store)::vecT lent = store.getRow(1);
};

TEST_F(FailedCall, OfOperatorNewThrowsAnInt) {
    sqlite3* db = store.db;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, "BEGIN", -1, &statement, nullptr); // SQLite refuses to close a connection with a statement
    std::string clause;
    arm(Call::foreignNew, 0, true);
    EXPECT_EQ(store.createVeldbTables<TessaryDatabase>(), VELDB_SUCCESS);
    EXPECT_EQ(store.VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(store.deleteDeallocateDR<TessaryDatabase>(lent), 1);
    EXPECT_TRUE(rowsOf(store).empty());
    store.build_query_for_where_clause(VelDBDataRowKey("a", 1), clause);
    EXPECT_EQ(clause, "");
    EXPECT_EQ(store.closeVeldb(), VELDB_FAILURE);
    EXPECT_EQ(store.openVeldb(), VELDB_FAILURE);
    disarm();
    EXPECT_EQ(store.cacheList.size(), 1U);
    EXPECT_EQ(Device::takeLog(),
              (Lines{"E VELDB: createVeldbTables() #: Caught Exception in createVeldbTables",
                     "E VELDB: writeCachedDRToDisk() #: Caught Exception in writeCachedDRToDisk",
                     "E VELDB: deleteDeallocateDR() #: Error in std::string operations in deleteDeallocateDR",
                     "E VELDB: readAllocateDR() #: Error in std::string operations in readAllocateDR",
                     "E VELDB: build_query_for_where_clause() #: Error in std::string operations",
                     "E VELDB: closeVeldb() #: Caught Exception in closeVeldb",
                     "E VELDB: openVeldb() #: Caught Exception in openVeldb"}));
    sqlite3_finalize(statement);
    sqlite3_close(db);
}

TEST_F(FailedCall, OfOperatorNew) {
    FeatureProbe feature("Tessary");
    feature.heavyGameDb.reset();
    std::string clause;
    auto* features = std::exchange(RegistryBase<Feature, FeatureInfo>::classList, nullptr);
    arm(Call::operatorNew, 0, true);
    EXPECT_EQ((createClassObj<Feature, FeatureInfo, FeatureProbe>({})), nullptr);
    feature.createHeavyGameDb();
    EXPECT_EQ(feature.heavyGameDb, nullptr);
    const Registry<Feature, FeatureInfo, TessaryFeature> lost("N"), nameless(nullptr);
    EXPECT_EQ((std::exchange(RegistryBase<Feature, FeatureInfo>::classList, features)), nullptr);
    store.build_query_for_where_clause(VelDBDataRowKey("a", 1), clause);
    rowsOf(store);
    arm(Call::operatorNew, 1, false); // after the query: the row
    rowsOf(store);
    arm(Call::operatorNew, 2, false); // after the query and the list: the row
    EXPECT_EQ(feature.classify("a", 17), 0);
    arm(Call::operatorNew, 3, false); // after the list and two rows
    auto rows = store.getRow(3);
    disarm();
    EXPECT_EQ(store.freeRow(rows), 2);
    EXPECT_EQ(Device::takeLog(),
              (Lines{"E FeatureRegistry: Registry() #: getMap() returned nullptr, Class N not registered",
                     "E VELDB: build_query_for_where_clause() #: Caught exception: std::bad_alloc",
                     "E VELDB: readAllocateDR() #: Caught exception: std::bad_alloc in readAllocateDR",
                     "E VELDB: getRow() #: ERROR:Dbt=T new operator failure, allocated=0\n",
                     "E VELDB: getRow() #: ERROR:Dbt=Tessary new operator failure, allocated=0\n",
                     "E VELDB: getRow() #: ERROR:Dbt=T new operator failure, allocated=2\n"}));
}

TEST_F(FailedCall, OfFinalize) {
    arm(Call::finalize, 0, true);
    EXPECT_EQ(rowsOf(store).size(), 1U);
    EXPECT_EQ(store.deleteDeallocateDR<TessaryDatabase>(lent), 0);
    arm(Call::finalize, 0, false); // of the insert
    EXPECT_EQ(store.VelDatabaseWriteCachedToDisk(), VELDB_FAILURE);
    arm(Call::finalize, 1, false); // of the update
    EXPECT_EQ(store.VelDatabaseWriteCachedToDisk(), VELDB_FAILURE);
    disarm();
    EXPECT_EQ(store.closeVeldb(), VELDB_SUCCESS);
    const std::string failed = "() #: sql:ERROR:Dbt=T info=10\n", written = "E VELDB: writeCachedDRToDisk" + failed;
    EXPECT_EQ(Device::takeLog(),
              (Lines{"E VELDB: readAllocateDR" + failed, "E VELDB: deleteDeallocateDR" + failed, written, written}));
}

} // namespace
