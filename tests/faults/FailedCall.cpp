#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// What operations return, log and keep when one kind of call below them fails.

namespace {

class FailedCall : public testing::Test {
protected:
    void SetUp() override {
        store.openVeldb();
        queueRow(store, newRow("stored"));
        store.VelDatabaseWriteCachedToDisk();
        queueRow(store, newRow("queued"));
    }

    const Device device;
    StoreProbe<TessaryDatabase> store{0, "its path does not fit into a short string.db", "T"};
};

TEST_F(FailedCall, OperatorNewThatThrowsAnUnknownTypeIsLogged) {
    auto lent = store.getRow(1);
    sqlite3* db = store.db;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, "BEGIN", -1, &statement, nullptr); // makes close fail: it then composes a path for the log
    std::string clause;
    arm(Call::operatorNewThrowingInt, 0, true);
    // The results of these three do not show that nothing was done.
    EXPECT_EQ(store.createVeldbTables<TessaryDatabase>(), VELDB_SUCCESS);
    EXPECT_EQ(store.VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(store.deleteDeallocateDR<TessaryDatabase>(lent), 1);
    EXPECT_TRUE(rowsOf(store).empty());
    store.build_query_for_where_clause(VelDBDataRowKey("a", 1), clause);
    EXPECT_EQ(clause, "");
    EXPECT_EQ(store.closeVeldb(), VELDB_FAILURE);
    EXPECT_EQ(store.openVeldb(), VELDB_FAILURE);
    disarm();
    EXPECT_EQ(store.cacheList.size(), 1U) << "still queued";
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

TEST_F(FailedCall, OperatorNewIsLogged) {
    FeatureProbe feature("Tessary");
    std::string clause;
    arm(Call::operatorNew, 0, true);
    store.build_query_for_where_clause(VelDBDataRowKey("a", 1), clause);
    rowsOf(store);
    arm(Call::operatorNew, 2, false); // fails the row; the query's text and the vector pass
    EXPECT_EQ(feature.classify("a", 17), 0);
    arm(Call::operatorNew, 3, false); // fails the third row; the vector and two rows pass
    auto rows = store.getRow(3);
    disarm();
    EXPECT_EQ(store.freeRow(rows), 2);
    EXPECT_EQ(Device::takeLog(),
              (Lines{"E VELDB: build_query_for_where_clause() #: Caught exception: std::bad_alloc",
                     "E VELDB: readAllocateDR() #: Caught exception: std::bad_alloc in readAllocateDR",
                     "E VELDB: getRow() #: ERROR:Dbt=Tessary new operator failure, allocated=0\n",
                     "E VELDB: getRow() #: ERROR:Dbt=T new operator failure, allocated=2\n"}));
}

TEST_F(FailedCall, OperatorNewIsLoggedByARegistrationNotByAFactory) {
    FeatureProbe feature("Tessary");
    feature.heavyGameDb.reset();
    auto*& registered = RegistryBase<Feature, FeatureInfo>::classList;
    auto* before = std::exchange(registered, nullptr);
    arm(Call::operatorNew, 0, true);
    const Registry<Feature, FeatureInfo, TessaryFeature> lost("N"), nameless(nullptr); // the second does nothing
    EXPECT_EQ((createClassObj<Feature, FeatureInfo, TessaryFeature>({})), nullptr);
    feature.createHeavyGameDb();
    EXPECT_EQ(feature.heavyGameDb, nullptr);
    disarm();
    registered = before;
    EXPECT_EQ(Device::takeLog(),
              Lines{"E FeatureRegistry: Registry() #: getMap() returned nullptr, Class N not registered"});
}

TEST_F(FailedCall, FinalizeIsLogged) {
    auto lent = store.getRow(1);
    arm(Call::finalize, 0, true);
    EXPECT_EQ(rowsOf(store).size(), 1U);
    EXPECT_EQ(store.deleteDeallocateDR<TessaryDatabase>(lent), 0);
    arm(Call::finalize, 0, false); // the first of a write-back ends the insert
    EXPECT_EQ(store.VelDatabaseWriteCachedToDisk(), VELDB_FAILURE);
    arm(Call::finalize, 1, false); // the second ends the update, which is compiled although no row needs it
    EXPECT_EQ(store.VelDatabaseWriteCachedToDisk(), VELDB_FAILURE);
    disarm();
    EXPECT_EQ(store.closeVeldb(), VELDB_SUCCESS);
    const std::string failed = "() #: sql:ERROR:Dbt=T info=10\n", written = "E VELDB: writeCachedDRToDisk" + failed;
    EXPECT_EQ(Device::takeLog(),
              (Lines{"E VELDB: readAllocateDR" + failed, "E VELDB: deleteDeallocateDR" + failed, written, written}));
}

} // namespace
