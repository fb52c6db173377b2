#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "rowstore/VelDBRowLoan.h"
#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"

namespace {

// Every kind of fault in every operation. Call number 0, 1, 2, ... fails, alone or with all after it, until the
// operation ends before that call. After each attempt the same promises are checked.

using FeatureP = std::unique_ptr<FeatureProbe>;

std::string known = "com.target.known";    ///< has peaks, and is a heavy game
std::string noGame = "com.target.no.game"; ///< has no peaks
std::string twice = "com.target.twice";    ///< has two classifications
std::string unknown = "com.target.unknown";
std::string other = "org.other"; ///< no operation changes it
const std::vector<int> gamePeaks{1000, 0, 0}, higherPeaks{1, 50, 0};

FeatureP featureWithRows() {
    auto feature = std::make_unique<FeatureProbe>("Tessary");
    for (const std::string& name : {other, known, noGame, twice}) {
        feature->classify(name, 5);
    }
    feature->report(other, {1, 2, 3});
    feature->report(known, gamePeaks);
    const char* changes = "INSERT INTO Tessary SELECT * FROM Tessary WHERE appName = 'com.target.twice';"
                          "UPDATE Tessary SET intcol1 = 3, rsvdName = 'reserved'"; // no column is empty
    sqlite3_exec(connectionOf(*feature->appDb), changes, nullptr, nullptr, nullptr);
    return feature;
}

/// Writes rows back as they were read.
int rewrite(FeatureP& feature) {
    auto& store = *feature->appDb;
    const VelDBDataRowKey key(twice, VELDB_NO_VALUE);
    auto rows = store.readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByNone, veldbDirNone);
    VelDBRowLoan<TessaryDatabase>(store, std::move(rows)).write();
    return 0;
}

/// On files of its own. An unknown application's type is 0.
int createAnother(FeatureP& /*feature*/) { return FeatureProbe("Another").type(unknown); }

struct Operation {
    const char* name;
    int (*run)(FeatureP& feature);
};

const Operation operations[] = {
    {"create another feature, query it and destroy it", createAnother},
    {"destroy", [](FeatureP& f) { return f.reset(), 0; }},
    {"classify a known application", [](FeatureP& f) { return f->classify(known, 17); }},
    {"classify an unknown application", [](FeatureP& f) { return f->classify(unknown, 17); }},
    {"classify one that has two rows", [](FeatureP& f) { return f->classify(twice, 17); }},
    {"remove", [](FeatureP& f) { return f->remove(known); }},
    {"report higher peaks", [](FeatureP& f) { return f->report(known, higherPeaks); }},
    {"report first peaks", [](FeatureP& f) { return f->report(noGame, gamePeaks); }},
    {"query", [](FeatureP& f) { return f->type(known); }},
    {"write two rows back as they were read", rewrite},
};

/// Expects no statement to be left. Returns whether a transaction is.
template <typename Store>
bool isTransactionLeft(Store& store) {
    EXPECT_EQ(sqlite3_next_stmt(connectionOf(store), nullptr), nullptr);
    return sqlite3_get_autocommit(connectionOf(store)) == 0;
}

/// Expects that nothing is left open and that the next calls work. A transaction may be left: the next change logs that
/// and ends it.
void expectWorking(FeatureProbe& feature, bool mayLeaveTransaction) {
    const bool isLeft = isTransactionLeft(*feature.appDb) || isTransactionLeft(*feature.heavyGameDb);
    feature.classify("next.application", 77);
    feature.report("next.application", gamePeaks);
    EXPECT_EQ(feature.type("next.application"), 77);
    EXPECT_EQ(feature.weight("next.application"), 1);
    feature.remove("next.application");
    EXPECT_TRUE(!isLeft || mayLeaveTransaction);
    EXPECT_EQ(!Device::takeLog().empty(), isLeft);
    EXPECT_FALSE(isTransactionLeft(*feature.appDb) || isTransactionLeft(*feature.heavyGameDb));
}

struct Outcome {
    StoredRows rows = {};
    int result = 0;
    bool struck = false;       ///< the fault
    bool quiet = false;        ///< neither an exception nor a line in the log
    bool lookUpFailed = false; ///< the application looked unknown, or as if it had fewer rows
};

Outcome attempt(const Operation& operation, Call fault, long passing, bool lasting) {
    const Device device;
    const FaultVfs vfs;
    const long blocks = liveBlocks();
    const sqlite3_int64 sqliteBytes = sqlite3_memory_used();
    FeatureP feature = featureWithRows();
    Outcome outcome;
    Device::takeLog();
    arm(fault, passing, lasting);
    try {
        outcome.result = operation.run(feature);
        outcome.quiet = true;
    } catch (const std::bad_alloc&) {
    }
    outcome.struck = disarm() != 0;
    for (const std::string& line : Device::takeLog()) {
        outcome.quiet = false;
        outcome.lookUpFailed |= line.find(" readAllocateDR()") != line.npos || line.find(" getRow()") != line.npos;
    }
    feature = feature != nullptr ? std::move(feature) : std::make_unique<FeatureProbe>("Tessary");
    expectWorking(*feature, fault == Call::sqliteMemory && lasting); // then the rollback was out of memory too
    feature.reset();
    EXPECT_EQ(liveBlocks(), blocks) << "leaked";
    EXPECT_EQ(sqlite3_memory_used(), sqliteBytes) << "leaked";
    outcome.rows = readRows(device.file());
    return outcome;
}

void sweep(const Operation& operation, Call fault, bool lasting) {
    const StoredRows before = attempt({"nothing", [](FeatureP&) { return 0; }}, Call::none, 0, false).rows;
    const Outcome whole = attempt(operation, Call::none, 0, false);
    bool struck = true;
    for (long n = 0; struck && !testing::Test::HasFailure(); ++n) {
        SCOPED_TRACE(testing::Message() << operation.name << ", fault in call " << n
                                        << (lasting ? " and all after" : ""));
        const Outcome now = attempt(operation, fault, n, lasting);
        for (const std::string& row : neitherOldNorNew(before, whole.rows, now.rows)) {
            EXPECT_TRUE(now.lookUpFailed && row.find("com.target") != row.npos) << row;
        }
        if (now.quiet) {
            EXPECT_EQ(now.result, whole.result);
            EXPECT_EQ(now.rows, whole.rows);
        }
        struck = now.struck;
    }
}

void sweepAll(Call fault) {
    for (const Operation& operation : operations) {
        sweep(operation, fault, false);
        sweep(operation, fault, true);
    }
}

TEST(Sweep, OutOfMemory) { sweepAll(Call::operatorNew); }
TEST(Sweep, SqliteOutOfMemory) { sweepAll(Call::sqliteMemory); }
TEST(Sweep, FilesFail) { sweepAll(Call::file); }

} // namespace
