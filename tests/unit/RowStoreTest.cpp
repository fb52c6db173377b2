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

// A store on the file "x.db" with the table "T".

namespace {

using Row = VelDBDataRow<TessaryDatabase>;
using Store = StoreProbe<TessaryDatabase>;
using namespace std::string_literals;

Row rowWithId(std::int64_t rowid, const std::string& appName = "") {
    Row row = newRow(appName);
    row.rowid = rowid;
    return row;
}

VelDBDataRowKey keyOf(const std::string& appName = "", const std::string& rsvdName = "", int intcol1 = VELDB_NO_VALUE) {
    VelDBDataRowKey key(appName, intcol1);
    key.rsvdName = rsvdName;
    return key;
}

// SQLite's result codes, as a log line shows them.
const std::string error = "1", busy = "5", tooBig = "18", constraint = "19";

/// What an operation logs for failures, each with SQLite's message or code.
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
    void TearDown() override { EXPECT_EQ(device.takeLog(), Lines{}) << "unexpected log lines"; }

    /// New rows with these fields, owned by the caller.
    Store::vecT rowsWith(const std::vector<Row>& fields) {
        Store::vecT rows = store->getRow(static_cast<unsigned>(fields.size()));
        for (std::size_t index = 0; index < rows.size(); ++index) {
            *rows[index] = fields[index];
        }
        return rows;
    }
    int write(const std::vector<Row>& fields) {
        auto rows = rowsWith(fields);
        return store->writeDeallocateDR<TessaryDatabase>(rows);
    }
    int remove(const std::vector<Row>& fields) {
        auto rows = rowsWith(fields);
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
    void executeBeside(const std::string& statements) const { Sql(device.file("x.db")).run(statements); }
    /// On a store's own connection: its next statements then fail to compile. After a change by another connection they
    /// would fail only when run.
    static void executeOn(sqlite3* db, const char* statements) {
        ASSERT_EQ(sqlite3_exec(db, statements, nullptr, nullptr, nullptr), SQLITE_OK);
    }

    Device device;
    StatementTrace trace; // from before the store opens
    std::optional<Store> store{std::in_place, 0, "x.db", "T"};
};

TEST_F(RowStore, ReadsWithExactlyThisText) {
    const auto beyondColumns = static_cast<veldbOrderByCol>(4);
    const auto belowDirections = static_cast<veldbOrderByDir>(-1), beyondDirections = static_cast<veldbOrderByDir>(3);
    const struct {
        VelDBDataRowKey key;
        veldbOrderByCol col;
        veldbOrderByDir dir;
        std::string tail;
    } queries[] = {
        {keyOf("", "r", 0), veldbOrderByNone, veldbDirNone, "WHERE (rsvdName,intcol1) = ('r',0) "},
        {keyOf("a", "'", -5), veldbOrderByNone, veldbDirNone, "WHERE (appName,rsvdName,intcol1) = ('a','''',-5) "},
        {keyOf("a"), veldbOrderByIntcol1, veldbDirDesc, "WHERE (appName) = ('a')  ORDER BY intcol1 DESC"},
        {keyOf(), veldbOrderByRsvdName, veldbDirAsc, " ORDER BY rsvdName ASC"},
        {keyOf(), beyondColumns, veldbDirAsc, ""},
        {keyOf(), veldbOrderByAppName, belowDirections, ""},
        {keyOf(), veldbOrderByAppName, beyondDirections, ""},
    };
    trace.take();
    for (const auto& [key, col, dir, tail] : queries) {
        rowsOf(*store, key, 0, col, dir);
        EXPECT_EQ(trace.take(), Lines{"SELECT *, rowid FROM T " + tail});
    }
    std::string query = "kept ";
    store->build_query_for_where_clause(keyOf("a"), query);
    EXPECT_EQ(query, "kept WHERE (appName) = ('a') ") << "the clause alone is appended";
}

TEST_F(RowStore, StoresEveryFieldAndReadsItBack) {
    Row full = newRow("'\xFF\xFE\"\n", {INT_MAX, -2});
    full.intcol1 = INT_MIN;
    full.rsvdName = "r";
    EXPECT_EQ(write({full, newRow("b")}), 2);
    const std::string fullColumns = "-2147483648,'''\xFF\xFE\"\n','r',X'FFFFFF7FFEFFFFFF'";
    const std::string emptyColumns = "NULL,'b',NULL,X'0000000000000000'"; // nothing stays bound from the first row
    EXPECT_EQ(stored(), (Lines{"1," + fullColumns, "2," + emptyColumns}));
    writeCopies();
    EXPECT_EQ(stored(), (Lines{"1," + fullColumns, "2," + emptyColumns, "3," + fullColumns, "4," + emptyColumns}));
    write({rowWithId(1, "d\0e"s), rowWithId(99, "not there")});
    EXPECT_EQ(namesRead().at(0), "d\0e"s);
    EXPECT_EQ(stored().at(0), "1,NULL,'d',NULL,X'0000000000000000'") << "every column anew; SQL shows a NUL as the end";
    EXPECT_EQ(remove({rowWithId(99), rowWithId(2), rowWithId(4), newRow("never stored")}), 4);
    EXPECT_EQ(namesRead(), (Lines{"d\0e"s, full.appName}));
}

TEST_F(RowStore, ReadsAtMost10000RowsAndMakesAtMost100) {
    executeBeside("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10002) "
                  "INSERT INTO T SELECT i, 'a', NULL, NULL FROM n");
    const std::string readWarning = "W VELDB: readAllocateDR() #: Dbt=T Restrict reqCnt to 10000\n";
    const std::string getWarning = "W VELDB: getRow() #: Dbt=T Restrict reqCnt to 100\n";
    const struct {
        unsigned requested, read;
        int made;
        Lines warnings;
    } requests[] = {
        {0, 10000, 0, {}},
        {100, 100, 100, {}},
        {101, 101, 100, {getWarning}},
        {10000, 10000, 100, {getWarning}},
        {10001, 10000, 100, {readWarning, getWarning}},
    };
    for (const auto& [requested, read, made, warnings] : requests) {
        EXPECT_EQ(rowsOf(*store, keyOf(), requested).size(), read);
        auto rows = store->getRow(requested);
        EXPECT_EQ(store->freeRow(rows), made);
        EXPECT_EQ(device.takeLog(), warnings) << requested;
    }
}

TEST_F(RowStore, QueuesRowsAndWritesThemInOrder) {
    auto rows = rowsWith({newRow("b"), newRow("a")});
    rows.push_back(nullptr);
    EXPECT_EQ(store->cacheRow(rows), 3) << "null entries count";
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(store->writeDeallocateDR<TessaryDatabase>(rows), 0);
    EXPECT_EQ(namesRead(), Lines{}) << "an empty list does not write the queue";
    EXPECT_EQ(write({newRow("c")}), 1);
    EXPECT_EQ(namesRead(), (Lines{"b", "a", "c"}));
}

TEST_F(RowStore, ServesRowIdsBeyond32Bits) {
    // The low 32 bits of the first and the last are 1.
    executeBeside(
        "INSERT INTO T(rowid, appName) VALUES (-4294967295, 'a'), (1, 'a'), (2147483648, 'a'), (4294967297, 'a')");
    for (Row row : rowsOf(*store)) {
        row.appName = "row " + std::to_string(row.rowid);
        write({row});
    }
    EXPECT_EQ(namesRead(), (Lines{"row -4294967295", "row 1", "row 2147483648", "row 4294967297"}));
    remove({rowWithId(4294967297), rowWithId(-4294967295), rowWithId(2147483648)});
    EXPECT_EQ(namesRead(), Lines{"row 1"});
}

struct PayloadWithDefaults {
    std::int32_t first = -1, second = -1;
};

TEST_F(RowStore, ReadsWhatAForeignTableHolds) {
    // In the column too many the first row holds 3, the id of another row.
    executeBeside("DROP TABLE T; CREATE TABLE T(intcol1, appName, rsvdName, blob, extra);"
                  "INSERT INTO T VALUES (NULL, NULL, NULL, NULL, 3), ('12', 7, X'C3', X'01020304FF', 4),"
                  "                     (1, 'a', '', X'010000000200000099', 1)");
    EXPECT_EQ(rowsOf(*store).at(0).rowid, 1);
    writeCopies();
    EXPECT_EQ(stored().at(3), "4,NULL,NULL,NULL,X'0000000000000000'") << "NULL is no value";
    EXPECT_EQ(stored().at(4), "5,12,'7','\xC3',X'01020304FF000000'") << "converted, and a short blob padded";
    EXPECT_EQ(stored().at(5), "6,1,'a',NULL,X'0100000002000000'") << "a long blob is cut";
    VelDatabase<PayloadWithDefaults> other(0, "x.db", "T");
    ASSERT_EQ(other.openVeldb(), VELDB_SUCCESS);
    EXPECT_EQ(rowsOf(other).at(0).payload.first, 0) << "no default where the blob is NULL";
    EXPECT_EQ(rowsOf(other).at(1).payload.second, 255) << "nor where it is short";
}

TEST_F(RowStore, RefusesAFileThatIsNoDatabase) {
    std::ofstream(device.file("garbage.db")) << std::string(5000, 'g');
    const std::string notADatabase = sqlite3_errstr(SQLITE_NOTADB);
    Store garbage(0, "garbage.db", "T");
    EXPECT_EQ(garbage.openVeldb(), VELDB_FAILURE);
    EXPECT_EQ(garbage.db, nullptr) << "closed again";
    EXPECT_EQ(device.takeLog(),
              (Lines{"E VELDB: openVeldb() #: sql:ERROR:Dbt=/data/vendor/vel/garbage.db info=" + notADatabase + "\n",
                     "E VELDB: createVeldbTables() #: ERROR:Dbt=T info=" + notADatabase + "\n"}));
}

TEST_F(RowStore, IsInMemoryWithoutAFileName) {
    Store inMemory(0, "", "T");
    EXPECT_EQ(inMemory.VelDatabaseInit(), VELDB_SUCCESS);
    EXPECT_STREQ(sqlite3_db_filename(inMemory.db, "main"), "");
}

TEST_F(RowStore, ChangesBesideABusyWriterAreLoggedAndLost) {
    write({newRow("a")});
    const std::string locked = sqlite3_errstr(SQLITE_BUSY);
    const std::string noCommit = "cannot commit - no transaction is active";
    const std::string noRollback = "cannot rollback - no transaction is active";
    const Lines refused{locked, noRollback, busy,     busy,
                        busy,   busy,       noCommit, noRollback}; // step and reset of both rows
    Sql writer(device.file("x.db"));
    writer.run("BEGIN IMMEDIATE");
    EXPECT_EQ(write({newRow("b"), rowWithId(1, "c")}), 2);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", refused));
    EXPECT_EQ(remove({rowWithId(1), rowWithId(2)}), 2);
    EXPECT_EQ(device.takeLog(), logOf("deleteDeallocateDR", refused));
    writer.run("COMMIT");
    EXPECT_EQ(store->VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(namesRead(), Lines{"a"}) << "not queued again";
}

TEST_F(RowStore, KeepsItsQueueWhileAStatementDoesNotCompile) {
    const std::string noTable = "no such table: T";
    // Here the insert compiles, but the update asks for a row id.
    executeOn(store->db, "DROP TABLE T; CREATE TABLE T(intcol1, appName PRIMARY KEY, rsvdName, blob) WITHOUT ROWID");
    EXPECT_EQ(store->writeCachedDRToDisk<TessaryDatabase>(), VELDB_FAILURE);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {"no such column: rowid"}, "ERROR"));
    executeOn(store->db, "DROP TABLE T");
    EXPECT_EQ(write({newRow("a")}), 1);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {noTable}, "ERROR"));
    EXPECT_EQ(remove({rowWithId(1)}), 0);
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

TEST_F(RowStore, WritesTheOtherTableWhenOneFails) {
    TwoTables both(0, "two.db", "T", "U");
    ASSERT_EQ(both.openVeldb(), VELDB_SUCCESS);
    auto rows = both.TableOfPeaks::getRow(1);
    rows[0]->appName = "a";
    both.TableOfPeaks::cacheRow(rows);
    executeOn(both.db, "DROP TABLE T");
    EXPECT_EQ(both.VelDatabaseWriteCachedToDisk(), VELDB_FAILURE);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {"no such table: T"}, "ERROR"));
    EXPECT_EQ(Sql(device.file("two.db")).table("U"), Lines{"1,NULL,'a',NULL,X'000000000000000000000000'"});
    both.createVeldbTables<TessaryDatabase>(); // else the destructor logs a second failure
}

TEST_F(RowStore, LosesAloneARowOrTextThatSQLiteRefuses) {
    sqlite3_limit(store->db, SQLITE_LIMIT_LENGTH, 100);
    const std::string tooLong(101, 'n');
    Row withLongText = newRow("a");
    withLongText.rsvdName = tooLong;
    write({withLongText, newRow(tooLong), newRow(""), newRow("c")});
    EXPECT_EQ(device.takeLog(),
              logOf("writeCachedDRToDisk", {tooBig, tooBig, constraint, constraint, constraint, constraint}))
        << "two binds, then step and reset of the two rows without a name";
    EXPECT_EQ(stored(), (Lines{"1,NULL,'a',NULL,X'0000000000000000'", "2,NULL,'c',NULL,X'0000000000000000'"}))
        << "a text that cannot be bound is stored as NULL";
}

TEST_F(RowStore, ReadThatFailsOnTheWayKeepsWhatItHas) {
    executeBeside(
        "ALTER TABLE T RENAME TO U; INSERT INTO U VALUES (1, 'a', NULL, NULL), (-9223372036854775808, 'b', NULL, NULL);"
        "CREATE VIEW T AS SELECT abs(intcol1) AS intcol1, appName, rsvdName, blob, rowid AS rowid FROM U");
    EXPECT_EQ(namesRead(), Lines{"a"});
    EXPECT_EQ(device.takeLog(), logOf("readAllocateDR", {error})) << "abs() of the smallest integer";
}

TEST_F(RowStore, CloseIsRefusedWhileAStatementIsOpen) {
    sqlite3* connection = store->db;
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(connection, "SELECT 1", -1, &statement, nullptr), SQLITE_OK);
    EXPECT_EQ(store->closeVeldb(), VELDB_FAILURE);
    EXPECT_EQ(device.takeLog(),
              Lines{"E VELDB: closeVeldb() #: ERROR:Db=/data/vendor/vel/x.db sql close failed, err=5\n"});
    EXPECT_EQ(store->db, nullptr) << "the store lets go of it";
    sqlite3_finalize(statement);
    sqlite3_close(connection);
}

TEST_F(RowStore, WithoutAConnectionOnlyQueues) {
    EXPECT_EQ(store->closeVeldb(), VELDB_SUCCESS);
    EXPECT_EQ(store->closeVeldb(), VELDB_SUCCESS);
    EXPECT_EQ(store->createVeldbTables<TessaryDatabase>(), VELDB_SUCCESS);
    EXPECT_EQ(write({newRow("a"), newRow("b")}), 2);
    EXPECT_EQ(remove({rowWithId(1)}), 1);
    EXPECT_EQ(namesRead(), Lines{});
    EXPECT_EQ(store->VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(store->cacheList.size(), 2U);
    store.reset();
    EXPECT_EQ(device.takeLog(), Lines{"E VELDB: ~VelDBDataTable() #: ERROR:Dbt=T blstSz=0, clstSz=2\n"});
}

} // namespace
