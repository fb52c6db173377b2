#include <algorithm>
#include <climits>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// A store on the file "x.db" with the table "T". Stored rows are printed as SQL does: rowid, intcol1, appName, rsvdName
// and the payload's bytes.

namespace {

using Row = VelDBDataRow<TessaryDatabase>;
using Store = StoreProbe<TessaryDatabase>;
using namespace std::string_literals;

Row storedRow(std::int64_t rowid, const std::string& appName = "") {
    Row row = newRow(appName);
    row.rowid = rowid;
    return row;
}

VelDBDataRowKey keyOf(const std::string& appName = "", const std::string& rsvdName = "", int intcol1 = INT_MAX) {
    VelDBDataRowKey key(appName, intcol1);
    key.rsvdName = rsvdName;
    return key;
}

/// What an operation logs for failures: `info` holds SQLite's messages or codes.
Lines logOf(const std::string& operation, const Lines& info, const std::string& prefix = "sql:ERROR") {
    Lines lines;
    for (const std::string& each : info) {
        lines.push_back("E VELDB: " + operation + "() #: " + prefix + ":Dbt=T info=" + each + "\n");
    }
    return lines;
}

class RowStore : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(store->openVeldb(), VELDB_SUCCESS); }
    void TearDown() override { EXPECT_EQ(device.takeLog(), Lines{}) << "no line that the test did not expect"; }

    Store::vecT lend(const std::vector<Row>& fields) {
        Store::vecT rows = store->getRow(static_cast<unsigned>(fields.size()));
        for (std::size_t index = 0; index < rows.size(); ++index) {
            *rows[index] = fields[index];
        }
        return rows;
    }
    int write(const std::vector<Row>& fields) {
        auto rows = lend(fields);
        return store->writeDeallocateDR<TessaryDatabase>(rows);
    }
    int remove(const std::vector<Row>& fields) {
        auto rows = lend(fields);
        return store->deleteDeallocateDR<TessaryDatabase>(rows);
    }
    /// Reads all rows and writes them as new ones.
    void writeCopies() {
        for (Row row : rowsOf(*store)) {
            row.rowid = 0;
            write({row});
        }
    }
    Lines namesRead() {
        Lines names;
        for (const Row& row : rowsOf(*store)) {
            names.push_back(row.appName);
        }
        return names;
    }
    Lines stored() const { return Sql(device.file("x.db")).table("T"); }
    void sql(const std::string& statements) const { Sql(device.file("x.db")).run(statements); }
    /// On a store's own connection, which notes a change of the schema at once.
    static void run(sqlite3* db, const char* statements) {
        ASSERT_EQ(sqlite3_exec(db, statements, nullptr, nullptr, nullptr), SQLITE_OK);
    }

    Device device;
    StatementTrace trace;
    std::optional<Store> store{std::in_place, 0, "x.db", "T"};
};

TEST_F(RowStore, ReadsWithExactlyThisText) {
    const struct {
        VelDBDataRowKey key;
        int col, dir;
        std::string tail;
    } queries[] = {
        {keyOf("", "r", 0), 0, 0, "WHERE (rsvdName,intcol1) = ('r',0) "},
        {keyOf("a", "r", INT_MIN), 0, 0, "WHERE (appName,rsvdName,intcol1) = ('a','r',-2147483648) "},
        {keyOf("'a''b'", "'"), 0, 0, "WHERE (appName,rsvdName) = ('''a''''b''','''') "},
        {keyOf("a"), 3, 2, "WHERE (appName) = ('a')  ORDER BY intcol1 DESC"},
        {keyOf(), 2, 1, " ORDER BY rsvdName ASC"},
        {keyOf(), 4, 1, ""},
        {keyOf(), 1, -1, ""},
        {keyOf(), 1, 3, ""},
    };
    trace.take();
    for (const auto& [key, col, dir, tail] : queries) {
        rowsOf(*store, key, 0, static_cast<veldbOrderByCol>(col), static_cast<veldbOrderByDir>(dir));
        EXPECT_EQ(trace.take(), Lines{"SELECT *, rowid FROM T " + tail});
    }
    std::string query = "kept ";
    store->build_query_for_where_clause(keyOf("a"), query);
    EXPECT_EQ(query, "kept WHERE (appName) = ('a') ");
}

TEST_F(RowStore, StoresEveryFieldAndReadsItBack) {
    Row full = newRow("'\xFF\xFE\"\n", {INT_MAX, -2});
    full.intcol1 = INT_MIN;
    full.rsvdName = "r";
    EXPECT_EQ(write({full, newRow("b")}), 2);
    const std::string fullColumns = "-2147483648,'''\xFF\xFE\"\n','r',X'FFFFFF7FFEFFFFFF'";
    const std::string emptyColumns = "NULL,'b',NULL,X'0000000000000000'"; // nothing from the row before
    EXPECT_EQ(stored(), (Lines{"1," + fullColumns, "2," + emptyColumns}));
    writeCopies();
    EXPECT_EQ(stored(), (Lines{"1," + fullColumns, "2," + emptyColumns, "3," + fullColumns, "4," + emptyColumns}));
    write({storedRow(1, "d\0e"s), storedRow(99, "not there")});
    EXPECT_EQ(stored().at(0), "1,NULL,'d',NULL,X'0000000000000000'") << "an update rewrites every column";
    EXPECT_EQ(namesRead().at(0), "d\0e"s) << "SQL shows it up to the NUL";
    EXPECT_EQ(remove({storedRow(99), storedRow(2), storedRow(4), newRow("never stored")}), 4);
    EXPECT_EQ(namesRead(), (Lines{"d\0e"s, full.appName}));
}

TEST_F(RowStore, BoundsRequests) {
    sql("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10002) "
        "INSERT INTO T SELECT i, 'a', NULL, NULL FROM n");
    const Lines readWarning{"W VELDB: readAllocateDR() #: Dbt=T Restrict reqCnt to 10000\n"};
    for (const unsigned count : {0U, 1U, 9999U, 10000U, 10001U, UINT_MAX}) {
        EXPECT_EQ(rowsOf(*store, keyOf("a"), count).size(), count == 0 ? 10000U : std::min(count, 10000U));
        EXPECT_EQ(device.takeLog(), count > 10000 ? readWarning : Lines{});
    }
    const Lines getWarning{"W VELDB: getRow() #: Dbt=T Restrict reqCnt to 100\n"};
    for (const unsigned count : {0U, 1U, 100U, 101U}) {
        Store::vecT rows = store->getRow(count);
        EXPECT_EQ(store->freeRow(rows), static_cast<int>(std::min(count, 100U)));
        EXPECT_EQ(device.takeLog(), count > 100 ? getWarning : Lines{});
    }
}

TEST_F(RowStore, QueuesRowsAndWritesThemInOrder) {
    auto rows = lend({newRow("b"), newRow("a")});
    rows.push_back(nullptr);
    EXPECT_EQ(store->cacheRow(rows), 3) << "null entries count";
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(store->writeDeallocateDR<TessaryDatabase>(rows), 0) << "no rows, no write";
    EXPECT_EQ(namesRead(), Lines{}) << "queued rows are not seen";
    EXPECT_EQ(write({newRow("c")}), 1);
    EXPECT_EQ(namesRead(), (Lines{"b", "a", "c"}));
}

TEST_F(RowStore, ServesRowIdsBeyond32Bits) {
    // The low 32 bits of the first and the last are 1.
    sql("INSERT INTO T(rowid, appName) VALUES (-4294967295, 'a'), (1, 'a'), (2147483648, 'a'), (4294967297, 'a')");
    for (Row row : rowsOf(*store)) {
        row.appName = "row " + std::to_string(row.rowid);
        write({row});
    }
    EXPECT_EQ(namesRead(), (Lines{"row -4294967295", "row 1", "row 2147483648", "row 4294967297"}));
    remove({storedRow(4294967297), storedRow(-4294967295), storedRow(2147483648)});
    EXPECT_EQ(namesRead(), Lines{"row 1"});
}

TEST_F(RowStore, ReadsWhatAForeignTableHolds) {
    // The last column would pass for the id of another row.
    sql("DROP TABLE T; CREATE TABLE T(intcol1, appName, rsvdName, blob, extra);"
        "INSERT INTO T VALUES (NULL, NULL, NULL, NULL, 3), ('12', 7, X'C3', X'01020304FF', 4),"
        "                     (1, 'a', '', X'010000000200000099', 1)");
    EXPECT_EQ(rowsOf(*store).at(0).rowid, 1);
    writeCopies();
    EXPECT_EQ(stored().at(3), "4,NULL,NULL,NULL,X'0000000000000000'") << "NULL is no value";
    EXPECT_EQ(stored().at(4), "5,12,'7','\xC3',X'01020304FF000000'") << "converted, and a short blob padded";
    EXPECT_EQ(stored().at(5), "6,1,'a',NULL,X'0100000002000000'") << "a long blob is cut";
}

TEST_F(RowStore, OpensInMemoryAndRefusesGarbage) {
    std::ofstream(device.file("garbage.db")) << std::string(5000, 'g');
    const std::string notADatabase = sqlite3_errstr(SQLITE_NOTADB);
    Store garbage(0, "garbage.db", "T");
    EXPECT_EQ(garbage.openVeldb(), VELDB_FAILURE);
    EXPECT_EQ(garbage.db, nullptr) << "closed again";
    EXPECT_EQ(device.takeLog(),
              (Lines{"E VELDB: openVeldb() #: sql:ERROR:Dbt=/data/vendor/vel/garbage.db info=" + notADatabase + "\n",
                     "E VELDB: createVeldbTables() #: ERROR:Dbt=T info=" + notADatabase + "\n"}));
    Store inMemory(0, "", "T");
    EXPECT_EQ(inMemory.VelDatabaseInit(), VELDB_SUCCESS);
    EXPECT_STREQ(sqlite3_db_filename(inMemory.db, "main"), "") << "no file";
}

TEST_F(RowStore, ChangesBesideABusyWriterAreLoggedAndLost) {
    write({newRow("a")});
    const std::string busy = sqlite3_errstr(SQLITE_BUSY), step = "5", reset = "5";
    const std::string noCommit = "cannot commit - no transaction is active";
    const std::string noRollback = "cannot rollback - no transaction is active";
    const Lines refused{busy, noRollback, step, reset, step, reset, noCommit, noRollback};
    Sql writer(device.file("x.db"));
    writer.run("BEGIN IMMEDIATE");
    EXPECT_EQ(write({newRow("b"), storedRow(1, "c")}), 2);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", refused));
    EXPECT_EQ(remove({storedRow(1), storedRow(2)}), 2);
    EXPECT_EQ(device.takeLog(), logOf("deleteDeallocateDR", refused));
    writer.run("COMMIT");
    EXPECT_EQ(store->VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(namesRead(), Lines{"a"}) << "not queued again";
}

TEST_F(RowStore, KeepsItsQueueWhileAStatementDoesNotCompile) {
    const std::string noTable = "no such table: T";
    run(store->db, "DROP TABLE T; CREATE TABLE T(intcol1, appName PRIMARY KEY, rsvdName, blob) WITHOUT ROWID");
    EXPECT_EQ(store->writeCachedDRToDisk<TessaryDatabase>(), VELDB_FAILURE);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {"no such column: rowid"}, "ERROR")) << "the update";
    run(store->db, "DROP TABLE T");
    EXPECT_EQ(write({newRow("a")}), 1);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {noTable}, "ERROR"));
    EXPECT_EQ(remove({storedRow(1)}), 0);
    EXPECT_EQ(device.takeLog(), logOf("deleteDeallocateDR", {noTable}));
    EXPECT_EQ(namesRead(), Lines{});
    EXPECT_EQ(device.takeLog(), logOf("readAllocateDR", {noTable}));
    EXPECT_EQ(store->createVeldbTables<TessaryDatabase>(), VELDB_SUCCESS);
    EXPECT_EQ(store->VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(namesRead(), Lines{"a"});
}

struct TwoTables : VelDatabase<TessaryDatabase, HeavyGameClassifierDatabase> {
    using TableOfPeaks = VelDBDataTable<HeavyGameClassifierDatabase>;
    using VelDatabase::db;
    using VelDatabase::VelDatabase;
};

TEST_F(RowStore, OneTablesFailureDoesNotKeepTheOthersFromBeingWritten) {
    TwoTables both(0, "two.db", "T", "U");
    ASSERT_EQ(both.openVeldb(), VELDB_SUCCESS);
    auto rows = both.TableOfPeaks::getRow(1);
    rows[0]->appName = "a";
    both.TableOfPeaks::cacheRow(rows);
    run(both.db, "DROP TABLE T");
    EXPECT_EQ(both.VelDatabaseWriteCachedToDisk(), VELDB_FAILURE);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {"no such table: T"}, "ERROR"));
    EXPECT_EQ(Sql(device.file("two.db")).table("U"), Lines{"1,NULL,'a',NULL,X'000000000000000000000000'"});
    EXPECT_EQ(both.createVeldbTables<TessaryDatabase>(), VELDB_SUCCESS);
}

TEST_F(RowStore, RowThatFailsIsLostAlone) {
    sqlite3_limit(store->db, SQLITE_LIMIT_LENGTH, 100);
    const std::string tooLong(101, 'n');
    Row withLongText = newRow("a");
    withLongText.rsvdName = tooLong;
    write({withLongText, newRow(tooLong), newRow(""), newRow("c")});
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {"18", "18", "19", "19", "19", "19"}))
        << "two binds, then step and reset of the two rows without a name";
    EXPECT_EQ(stored(), (Lines{"1,NULL,'a',NULL,X'0000000000000000'", "2,NULL,'c',NULL,X'0000000000000000'"}))
        << "a text that cannot be bound is stored as NULL";
}

TEST_F(RowStore, ReadThatFailsOnTheWayKeepsWhatItHas) {
    sql("ALTER TABLE T RENAME TO U; INSERT INTO U VALUES (1, 'a', NULL, NULL), (-9223372036854775808, 'b', NULL, NULL);"
        "CREATE VIEW T AS SELECT abs(intcol1) AS intcol1, appName, rsvdName, blob, rowid AS rowid FROM U");
    EXPECT_EQ(namesRead(), Lines{"a"});
    EXPECT_EQ(device.takeLog(), logOf("readAllocateDR", {"1"}));
}

TEST_F(RowStore, DoesNothingOnceClosed) {
    sqlite3* refused = store->db;
    sqlite3_stmt* open = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(refused, "SELECT 1", -1, &open, nullptr), SQLITE_OK);
    EXPECT_EQ(store->closeVeldb(), VELDB_FAILURE) << "a statement is open";
    EXPECT_EQ(device.takeLog(),
              Lines{"E VELDB: closeVeldb() #: ERROR:Db=/data/vendor/vel/x.db sql close failed, err=5\n"});
    sqlite3_finalize(open);
    sqlite3_close(refused);
    EXPECT_EQ(store->closeVeldb(), VELDB_SUCCESS);
    EXPECT_EQ(store->createVeldbTables<TessaryDatabase>(), VELDB_SUCCESS);
    EXPECT_EQ(write({newRow("a"), newRow("b")}), 2);
    EXPECT_EQ(remove({storedRow(1)}), 1);
    EXPECT_EQ(namesRead(), Lines{});
    EXPECT_EQ(store->VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(store->cacheList.size(), 2U);
    store.reset();
    EXPECT_EQ(device.takeLog(), Lines{"E VELDB: ~VelDBDataTable() #: ERROR:Dbt=T blstSz=0, clstSz=2\n"});
}

} // namespace
