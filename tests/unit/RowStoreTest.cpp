#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

namespace {

using Row = VelDBDataRow<TessaryDatabase>;
using Store = StoreProbe<TessaryDatabase>;
using namespace std::string_literals;

const std::string insertRow = "INSERT INTO T(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)\n";
const std::string updateRow = "UPDATE T SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)\n";
const std::string deleteRow = "DELETE FROM T WHERE (rowid) = (?)\n";
const std::string begin = "BEGIN IMMEDIATE TRANSACTION;\n", commit = "COMMIT TRANSACTION;\n";
const std::string columns = "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)\n";

VelDBDataRowKey keyOf(const std::string& name = "", const std::string& reserved = "", int number = INT_MAX) {
    VelDBDataRowKey key(name, number);
    key.rsvdName = reserved;
    return key;
}

/// What an operation logs for these failures: SQLite's messages or codes.
Lines logOf(const std::string& operation, Lines lines, const std::string& kind = "sql:") {
    for (std::string& line : lines) {
        line = "E VELDB: " + operation + "() #: " + kind + "ERROR:Dbt=T info=" + line + "\n";
    }
    return lines;
}

class RowStore : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(store->openVeldb(), VELDB_SUCCESS); }
    void TearDown() override { EXPECT_EQ(device.takeLog(), Lines{}) << "no line that the test did not expect"; }
    static Store::vecT lend(Store& from, const std::vector<Row>& fields) {
        Store::vecT rows = from.getRow(static_cast<unsigned>(fields.size()));
        for (std::size_t index = 0; index < rows.size(); ++index) {
            *rows[index] = fields[index];
        }
        rows.push_back(nullptr);
        return rows;
    }
    // Both add a null entry, which counts.
    int write(const std::vector<Row>& fields) {
        auto rows = lend(*store, fields);
        return store->writeDeallocateDR<TessaryDatabase>(rows);
    }
    int remove(const std::vector<std::int64_t>& ids) {
        auto rows = lend(*store, std::vector<Row>(ids.size()));
        for (std::size_t index = 0; index < ids.size(); ++index) {
            rows[index]->rowid = ids[index];
        }
        return store->deleteDeallocateDR<TessaryDatabase>(rows);
    }
    /// What a read returns, printed.
    Lines read(const VelDBDataRowKey& key = keyOf(), unsigned count = 0, int col = 0, int dir = 0) {
        auto rows = store->readAllocateDR<TessaryDatabase>(key, count, static_cast<veldbOrderByCol>(col),
                                                           static_cast<veldbOrderByDir>(dir));
        Lines lines;
        for (const Row* row : rows) {
            lines.push_back(std::to_string(row->rowid) + "," + std::to_string(row->intcol1) + ",'" + row->appName +
                            "','" + row->rsvdName + "'," + std::to_string(row->payload.appType) + "," +
                            std::to_string(row->payload.appWeight));
        }
        store->freeRow(rows);
        return lines;
    }
    Lines stored() const { return Sql(device.file("x.db")).table("T"); }
    void sql(const std::string& statements) const { Sql(device.file("x.db")).run(statements); }

    Device device;
    StatementTrace trace;
    std::optional<Store> store{std::in_place, 0, "x.db", "T"};
};

TEST_F(RowStore, RunsExactlyTheseStatements) {
    EXPECT_EQ(trace.take(), "PRAGMA journal_mode=WAL\nCREATE TABLE IF NOT EXISTS T" + columns);
    EXPECT_EQ(write({{0, 1, "a", "", {}}, {1, 2, "a", "", {}}, {0, 3, "b", "", {}}}), 4);
    EXPECT_EQ(trace.take(), begin + insertRow + updateRow + insertRow + commit);
    EXPECT_EQ(remove({1, 0, 7}), 4);
    EXPECT_EQ(trace.take(), begin + deleteRow + deleteRow + commit);
    Store::vecT none;
    EXPECT_EQ(store->writeDeallocateDR<TessaryDatabase>(none), 0);
    EXPECT_EQ(trace.take(), "");
    EXPECT_EQ(store->VelDatabaseWriteCachedToDisk() + store->deleteDeallocateDR<TessaryDatabase>(none), 0);
    EXPECT_EQ(trace.take(), begin + commit + begin + commit);
    EXPECT_EQ(Store(0, "", "T").VelDatabaseInit(), VELDB_SUCCESS);
    EXPECT_EQ(trace.take(), "CREATE TABLE IF NOT EXISTS T" + columns + begin + commit) << "in memory, destroyed again";
}

TEST_F(RowStore, ReadsWithExactlyThisText) {
    const std::tuple<VelDBDataRowKey, int, int, std::string> queries[] = {
        {keyOf(), 0, 2, ""},
        {keyOf("", "r"), 0, 0, "WHERE (rsvdName) = ('r') "},
        {keyOf("", "", -5), 0, 0, "WHERE (intcol1) = (-5) "},
        {keyOf("", "r", 0), 0, 0, "WHERE (rsvdName,intcol1) = ('r',0) "},
        {keyOf("a", "r", INT_MIN), 0, 0, "WHERE (appName,rsvdName,intcol1) = ('a','r',-2147483648) "},
        {keyOf("'a''b'", "'"), 0, 0, "WHERE (appName,rsvdName) = ('''a''''b''','''') "},
        {keyOf("a"), 3, 2, "WHERE (appName) = ('a')  ORDER BY intcol1 DESC"},
        {keyOf(), 1, 0, " ORDER BY appName "},
        {keyOf(), 2, 1, " ORDER BY rsvdName ASC"},
        {keyOf(), 4, 1, ""},
        {keyOf(), 1, -1, ""},
        {keyOf(), 1, 3, ""},
    };
    trace.take();
    for (const auto& [key, col, dir, tail] : queries) {
        read(key, 0, col, dir);
        EXPECT_EQ(trace.take(), "SELECT *, rowid FROM T " + tail + "\n");
    }
}

TEST_F(RowStore, KeepsEveryFieldAndInheritsNone) {
    const std::string bytes = "\0'\xFF\xFE\"\n"s;
    const Row full{0, 5, bytes, bytes, {1, -2}};
    write({full, {0, INT_MAX, "b", "", {INT_MAX, INT_MIN}}, {0, 1, "", "lost", {}}, {0, INT_MIN, "c", "r", {3, 4}}});
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {"19", "19"})) << "step, reset";
    EXPECT_EQ(stored(), (Lines{"1,5,'" + bytes + "','" + bytes + "',X'01000000FEFFFFFF'",
                               "2,NULL,'b',NULL,X'FFFFFF7F00000080'", "3,-2147483648,'c','r',X'0300000004000000'"}));
    EXPECT_EQ(read(keyOf(), 0, veldbOrderByIntcol1, veldbDirDesc),
              (Lines{"1,5,'" + bytes + "','" + bytes + "',1,-2", "3,-2147483648,'c','r',3,4",
                     "2,2147483647,'b','',2147483647,-2147483648"}));
    write({{3, INT_MAX, "d", "", {9, 9}}, {99, 1, "not there", "", {}}});
    EXPECT_EQ(stored().back(), "3,NULL,'d',NULL,X'0900000009000000'") << "an update rewrites every column";
}

TEST_F(RowStore, CountsRowsAndKeepsTheirOrder) {
    for (const unsigned wanted : {0U, 1U, 100U, 101U, 5000U}) {
        Store::vecT rows = store->getRow(wanted);
        EXPECT_EQ(device.takeLog(), Lines(wanted > 100, "W VELDB: getRow() #: Dbt=T Restrict reqCnt to 100\n"));
        rows.push_back(nullptr);
        EXPECT_EQ(store->freeRow(rows), static_cast<int>(std::min(wanted, 100U)) + 1);
        EXPECT_EQ(store->freeRow(rows) + store->cacheRow(rows), 0) << "emptied";
    }
    auto queued = lend(*store, {{0, 1, "a", "", {}}, {0, 2, "b", "", {}}});
    EXPECT_EQ(store->cacheRow(queued), 3);
    EXPECT_EQ(queued.size() + read().size(), 0U) << "emptied; queued rows are not seen";
    EXPECT_EQ(write({{0, 3, "c", "", {}}}), 2);
    EXPECT_EQ(read(), (Lines{"1,1,'a','',0,0", "2,2,'b','',0,0", "3,3,'c','',0,0"}));
}

TEST_F(RowStore, BoundsReads) {
    sql("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10002) "
        "INSERT INTO T SELECT i, 'a', NULL, NULL FROM n");
    const Lines warning{"W VELDB: readAllocateDR() #: Dbt=T Restrict reqCnt to 10000\n"};
    for (const unsigned count : {0U, 1U, 2U, 9999U, 10000U, 10001U, UINT_MAX}) {
        EXPECT_EQ(read(keyOf("a"), count).size(), count == 0 ? 10000U : std::min(count, 10000U));
        EXPECT_EQ(device.takeLog(), count > 10000 ? warning : Lines{});
    }
}

TEST_F(RowStore, ServesRowIdsBeyond32Bits) {
    // The low 32 bits of the first and the last are 1.
    sql("INSERT INTO T(rowid, appName) VALUES (-4294967295, 'a'), (-5, 'a'), (1, 'a'), (4294967297, 'a')");
    auto rows = store->readAllocateDR<TessaryDatabase>(keyOf(), 0, veldbOrderByNone, veldbDirNone);
    rows.erase(rows.begin() + 2);
    for (Row* row : rows) {
        row->appName = "b";
    }
    store->writeDeallocateDR<TessaryDatabase>(rows);
    const std::string written = ",NULL,'b',NULL,X'0000000000000000'";
    EXPECT_EQ(stored(),
              (Lines{"-4294967295" + written, "-5" + written, "1,NULL,'a',NULL,NULL", "4294967297" + written}));
    remove({4294967297, -4294967295, -5});
    EXPECT_EQ(stored(), Lines{"1,NULL,'a',NULL,NULL"});
}

TEST_F(RowStore, ReadsWhatAForeignTableHolds) {
    // The last column would pass for the id of the row after the next.
    sql("DROP TABLE T; CREATE TABLE T(intcol1, appName, rsvdName, blob, extra);"
        "INSERT INTO T VALUES (NULL, NULL, NULL, NULL, 3), ('12', 7, X'C3', X'01020304FF', 4);"
        "INSERT INTO T VALUES (1, 'a', '', X'010000000200000099', 1), (0, 'b', 1.5, '', 2)");
    EXPECT_EQ(read(),
              (Lines{"1,2147483647,'','',0,0", "2,12,'7','\xC3',67305985,255", "3,1,'a','',1,2", "4,0,'b','1.5',0,0"}));
}

TEST_F(RowStore, RefusesFilesThatCannotHoldTheTable) {
    std::ofstream(device.file("garbage.db")) << std::string(5000, 'g');
    Sql(device.file("index.db")).run("CREATE TABLE U(x); CREATE INDEX T ON U(x)");
    const std::string open = "E VELDB: openVeldb() #: ", path = "/data/vendor/vel/", garbage = "file is not a database";
    const std::pair<std::string, Lines> files[] = {
        {"garbage.db",
         {open + "sql:ERROR:Dbt=" + path + "garbage.db info=" + garbage + "\n",
          logOf("createVeldbTables", {garbage}, "")[0]}},
        {"index.db", logOf("createVeldbTables", {"there is already an index named T"}, "")}};
    for (const auto& [name, log] : files) {
        Store other(0, name, "T");
        EXPECT_EQ(other.openVeldb(), VELDB_FAILURE);
        EXPECT_EQ(other.db, nullptr);
        EXPECT_EQ(device.takeLog(), log);
    }
}

TEST_F(RowStore, BusyWriterIsReportedAndQueueDrains) {
    write({{0, 1, "a", "", {}}});
    const std::string noRollback = "cannot rollback - no transaction is active";
    const Lines refused{
        "database is locked", noRollback, "5", "5", "5", "5", "cannot commit - no transaction is active", noRollback};
    Sql writer(device.file("x.db"));
    writer.run("BEGIN IMMEDIATE");
    EXPECT_EQ(write({{0, 2, "b", "", {}}, {1, 3, "c", "", {}}}), 3);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", refused));
    EXPECT_EQ(remove({1, 2}), 3);
    EXPECT_EQ(device.takeLog(), logOf("deleteDeallocateDR", refused));
    writer.run("COMMIT");
    EXPECT_EQ(store->VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(stored(), Lines{"1,1,'a',NULL,X'0000000000000000'"}) << "lost, and not queued again";
}

TEST_F(RowStore, KeepsItsQueueWithoutATable) {
    const std::string info = "no such table: T";
    sqlite3_exec(store->db, "DROP TABLE T; CREATE TABLE T(intcol1, appName PRIMARY KEY, rsvdName, blob) WITHOUT ROWID",
                 nullptr, nullptr, nullptr);
    EXPECT_EQ(store->writeCachedDRToDisk<TessaryDatabase>(), VELDB_FAILURE)
        << "of the two statements only one compiles";
    sqlite3_exec(store->db, "DROP TABLE T", nullptr, nullptr, nullptr);
    EXPECT_EQ(write({{0, 1, "a", "", {}}}), 2);
    EXPECT_EQ(store->VelDatabaseWriteCachedToDisk(), VELDB_FAILURE);
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {"no such column: rowid", info, info}, ""));
    EXPECT_EQ(remove({1}), 0);
    EXPECT_EQ(device.takeLog(), logOf("deleteDeallocateDR", {info}));
    EXPECT_EQ(read(), Lines{});
    EXPECT_EQ(device.takeLog(), logOf("readAllocateDR", {info}));
    EXPECT_EQ(store->createVeldbTables<TessaryDatabase>() + store->VelDatabaseWriteCachedToDisk(), VELDB_SUCCESS);
    EXPECT_EQ(stored(), Lines{"1,1,'a',NULL,X'0000000000000000'"});
}

TEST_F(RowStore, WritesWhatIsQueuedWhileItWrites) {
    static Store::vecT late;
    late = lend(*store, {{0, 2, "late", "", {}}});
    const auto queueLate = [](void* to, int, const char*, const char*, sqlite3_int64) {
        std::thread([to] { static_cast<Store*>(to)->cacheRow(late); }).join(); // the lock is free meanwhile
    };
    sqlite3_update_hook(store->db, queueLate, &*store);
    EXPECT_EQ(write({{0, 1, "a", "", {}}}), 2);
    EXPECT_EQ(stored().size(), 2U);
}

TEST_F(RowStore, ValueThatCannotBeBoundIsNullInItsRowAlone) {
    sqlite3_limit(store->db, SQLITE_LIMIT_LENGTH, 100);
    const std::string tooLong(101, 'n');
    write({{0, 1, "a", tooLong, {1, 2}}, {0, 2, tooLong, "", {}}, {0, 3, "c", "r", {}}});
    EXPECT_EQ(device.takeLog(), logOf("writeCachedDRToDisk", {"18", "18", "19", "19"}));
    EXPECT_EQ(read(), (Lines{"1,1,'a','',1,2", "2,3,'c','r',0,0"}));
}

TEST_F(RowStore, ReadThatFailsOnTheWayKeepsWhatItHas) {
    sql("ALTER TABLE T RENAME TO U; INSERT INTO U VALUES (1, 'a', NULL, NULL), (-9223372036854775808, 'b', NULL, NULL);"
        "CREATE VIEW T AS SELECT abs(intcol1) AS intcol1, appName, rsvdName, blob, rowid AS rowid FROM U");
    EXPECT_EQ(read(), Lines{"1,1,'a','',0,0"});
    EXPECT_EQ(device.takeLog(), logOf("readAllocateDR", {"1"}));
}

TEST_F(RowStore, DoesNothingOnceClosed) {
    sqlite3* refused = store->db;
    sqlite3_stmt* open = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(refused, "SELECT 1", -1, &open, nullptr), SQLITE_OK);
    EXPECT_EQ(store->closeVeldb(), VELDB_FAILURE);
    EXPECT_EQ(device.takeLog(),
              Lines{"E VELDB: closeVeldb() #: ERROR:Db=/data/vendor/vel/x.db sql close failed, err=5\n"});
    EXPECT_EQ(sqlite3_finalize(open) + sqlite3_close(refused), SQLITE_OK);
    EXPECT_EQ(write({{0, 1, "a", "", {}}, {0, 2, "b", "", {}}}) + remove({1}), 5);
    EXPECT_EQ(store->closeVeldb() + store->createVeldbTables<TessaryDatabase>() + store->VelDatabaseWriteCachedToDisk(),
              0);
    EXPECT_EQ(store->cacheList.size() + read().size(), 2U);
    store.reset();
    EXPECT_EQ(device.takeLog(), Lines{"E VELDB: ~VelDBDataTable() #: ERROR:Dbt=T blstSz=0, clstSz=2\n"});
    EXPECT_EQ(stored(), Lines{});
}

} // namespace
