#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

// What each operation answers, logs and keeps when a certain call fails.

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

const struct {
    const char* operation;
    int (*run)(Prepared& with);
    int allocationsBefore; ///< the one that fails
    int result;
    std::string onBadAlloc;
    std::string onAnyOther;
} cases[] = {
    {"openVeldb", open, 0, VELDB_FAILURE, "Caught exception: std::bad_alloc in openVeldb",
     "Caught Exception in openVeldb"},
    {"createVeldbTables", createTable, 0, VELDB_SUCCESS, "Caught exception: std::bad_alloc in createVeldbTables",
     "Caught Exception in createVeldbTables"},
    {"writeCachedDRToDisk", write, 0, VELDB_SUCCESS, "Caught exception: std::bad_alloc in writeCachedDRToDisk",
     "Caught Exception in writeCachedDRToDisk"},
    {"deleteDeallocateDR", remove, 0, 1, "Caught exception: std::bad_alloc in deleteDeallocateDR",
     "Error in std::string operations in deleteDeallocateDR"},
    {"readAllocateDR", read, 4, 1, "Caught exception: std::bad_alloc in readAllocateDR",
     "Error in std::string operations in readAllocateDR"},
    {"build_query_for_where_clause", buildClause, 0, 0, "Caught exception: std::bad_alloc",
     "Error in std::string operations"},
    {"getRow", getThreeRows, 3, 2, "ERROR:Dbt=T new operator failure, allocated=2\n",
     "ERROR:Dbt=T new operator failure, allocated=2\n"},
    {"getRow", read, 3, 1, "ERROR:Dbt=T new operator failure, allocated=0\n",
     "ERROR:Dbt=T new operator failure, allocated=0\n"},
};

TEST(OutOfMemory, ExceptionsStayInTheStoreAndAreLogged) {
    for (const auto& [operation, run, allocationsBefore, result, onBadAlloc, onAnyOther] : cases) {
        for (const bool badAlloc : {true, false}) {
            SCOPED_TRACE(operation);
            Prepared with;
            Fuse::arm(CPP_NEW, badAlloc ? SQLITE_NOMEM : SQLITE_ABORT, allocationsBefore, true);
            const int answer = run(with);
            EXPECT_GT(Fuse::disarm(), 0);
            EXPECT_EQ(answer, result);
            EXPECT_EQ(Device::takeLog(),
                      Lines{std::string("E VELDB: ") + operation + "() #: " + (badAlloc ? onBadAlloc : onAnyOther)});
            EXPECT_EQ(with.store.cacheList.size(), 1U) << "the queue is as it was";
        }
    }
}

TEST(OutOfMemory, FactoryAndStoresAnswerNull) {
    const Device device;
    FeatureInfo description;
    std::unique_ptr<Feature> made;
    Fuse::arm(CPP_NEW, SQLITE_NOMEM, 0, false);
    made.reset(createClassObj<Feature, FeatureInfo, FeatureProbe>(std::move(description)));
    EXPECT_EQ(Fuse::disarm(), 1);
    EXPECT_EQ(made, nullptr);
    FeatureProbe feature("X");
    feature.appDb.reset();
    Fuse::arm(CPP_NEW, SQLITE_NOMEM, 0, false);
    feature.createFeatureInputDb();
    EXPECT_EQ(Fuse::disarm(), 1);
    EXPECT_EQ(feature.appDb, nullptr);
    EXPECT_EQ(Device::takeLog(), Lines{});
}

TEST(OutOfMemory, RegistrationWithoutAMapIsLogged) {
    using Shared = RegistryBase<Feature, FeatureInfo>;
    const Device device;
    auto* kept = std::exchange(Shared::classList, nullptr);
    Fuse::arm(CPP_NEW, SQLITE_NOMEM, 0, true);
    const Registry<Feature, FeatureInfo, TessaryFeature> lost("N");
    Fuse::disarm();
    EXPECT_EQ(std::exchange(Shared::classList, kept), nullptr);
    EXPECT_EQ(Device::takeLog(),
              Lines{"E FeatureRegistry: Registry() #: getMap() returned nullptr, Class N not registered"});
}

TEST(Finalize, FailuresAreLoggedAndAnswered) {
    const struct {
        const char* operation;
        int (*run)(Prepared& with);
        int result;
        std::size_t lines;
    } finalizing[] = {{"writeCachedDRToDisk", write, VELDB_FAILURE, 2},
                      {"deleteDeallocateDR", remove, 0, 1},
                      {"readAllocateDR", read, 2, 1}};
    for (const auto& [operation, run, result, lines] : finalizing) {
        Prepared with;
        Fuse::arm(SQLITE_FINALIZE, SQLITE_IOERR, 0, true);
        EXPECT_EQ(run(with), result) << operation;
        Fuse::disarm();
        const std::string line = std::string("E VELDB: ") + operation + "() #: sql:ERROR:Dbt=T info=10\n";
        EXPECT_EQ(Device::takeLog(), Lines(lines, line));
    }
}

} // namespace
