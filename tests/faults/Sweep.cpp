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

// Repeats each operation. Call n fails, alone or with all later ones; n grows until the operation makes fewer calls.
// Each attempt starts with new files and must keep the seven promises of docs/reliability.md.

using FeaturePointer = std::unique_ptr<FeatureProbe>; ///< an operation may destroy the feature

const std::string known = "com.target.known";    ///< has peaks, and is a heavy game
const std::string noGame = "com.target.no.game"; ///< has no peaks
const std::string twice = "com.target.twice";    ///< has two classifications
const std::string unknown = "com.target.unknown";
const std::string other = "org.other"; ///< no operation changes it
const std::vector<int> gamePeaks{1000, 0, 0}, oneHigherPeak{1, 50, 0};

FeaturePointer featureWithRows() {
    auto feature = std::make_unique<FeatureProbe>("Tessary");
    for (const std::string& name : {other, known, noGame, twice}) {
        feature->classify(name, 5);
    }
    feature->report(other, {1, 2, 3});
    feature->report(known, gamePeaks);
    // A second row for `twice`. Then no column is NULL, so that a lost value shows.
    const char* changes = "INSERT INTO Tessary SELECT * FROM Tessary WHERE appName = 'com.target.twice';"
                          "UPDATE Tessary SET intcol1 = 3, rsvdName = 'reserved'";
    sqlite3_exec(connectionOf(*feature->appDb), changes, nullptr, nullptr, nullptr);
    return feature;
}

int rewrite(FeaturePointer& feature) {
    auto& store = *feature->appDb;
    auto rows = store.readAllocateDR<TessaryDatabase>({twice, VELDB_NO_VALUE}, 0, veldbOrderByNone, veldbDirNone);
    VelDBRowLoan<TessaryDatabase>(store, std::move(rows)).write();
    return 0;
}

struct Operation {
    const char* name;
    int (*run)(FeaturePointer& feature);
};

const Operation operations[] = {
    // Answers 0 also when out of memory for a store, which is not logged.
    {"create another feature, query it and destroy it",
     [](FeaturePointer&) { return FeatureProbe("Another").type(unknown); }},
    {"destroy", [](FeaturePointer& f) { return f.reset(), 0; }},
    {"classify a known application", [](FeaturePointer& f) { return f->classify(known, 17); }},
    {"classify an unknown application", [](FeaturePointer& f) { return f->classify(unknown, 17); }},
    {"classify one that has two rows", [](FeaturePointer& f) { return f->classify(twice, 17); }},
    {"remove", [](FeaturePointer& f) { return f->remove(known); }},
    {"report one higher peak", [](FeaturePointer& f) { return f->report(known, oneHigherPeak); }},
    {"report first peaks", [](FeaturePointer& f) { return f->report(noGame, gamePeaks); }},
    {"query", [](FeaturePointer& f) { return f->type(known); }},
    {"write two rows back as they were read", rewrite},
};

bool hasTransaction(sqlite3* db) { return sqlite3_get_autocommit(db) == 0; }

/// Expects that the next calls work, and that they log and end a transaction that was left.
void expectWorking(FeatureProbe& feature, bool mayLeaveTransaction) {
    sqlite3 *apps = connectionOf(*feature.appDb), *games = connectionOf(*feature.heavyGameDb);
    EXPECT_EQ(sqlite3_next_stmt(apps, nullptr), nullptr);
    EXPECT_EQ(sqlite3_next_stmt(games, nullptr), nullptr);
    const bool isLeft = hasTransaction(apps) || hasTransaction(games);
    EXPECT_TRUE(!isLeft || mayLeaveTransaction);
    feature.classify("next.application", 77);
    feature.report("next.application", gamePeaks);
    EXPECT_EQ(feature.type("next.application"), 77);
    EXPECT_EQ(feature.weight("next.application"), 1);
    feature.remove("next.application");
    EXPECT_EQ(!Device::takeLog().empty(), isLeft);
    EXPECT_FALSE(hasTransaction(apps) || hasTransaction(games));
}

struct Outcome {
    StoredRows rows = {};
    int result = 0;
    bool faultOccurred = false;
    bool isSilent = false;          ///< neither an exception nor a line in the log
    bool mayHaveMissedRows = false; ///< logged by readAllocateDR or getRow; the latter also if a new row has no memory
};

Outcome attempt(const Operation& operation, Call fault, long passing, bool lasting) {
    const Device device;
    const FaultVfs vfs;
    const long blocks = liveBlocks();
    const sqlite3_int64 sqliteBytes = sqlite3_memory_used();
    FeaturePointer feature = featureWithRows();
    Outcome outcome;
    Device::takeLog();
    arm(fault, passing, lasting);
    try {
        outcome.result = operation.run(feature);
        outcome.isSilent = true;
    } catch (const std::bad_alloc&) {
    }
    outcome.faultOccurred = disarm();
    for (const std::string& line : Device::takeLog()) {
        outcome.isSilent = false;
        outcome.mayHaveMissedRows |= line.find(" readAllocateDR()") != line.npos || line.find(" getRow()") != line.npos;
    }
    if (feature == nullptr) { // the operation destroyed it
        feature = std::make_unique<FeatureProbe>("Tessary");
    }
    expectWorking(*feature, fault == Call::sqliteMemory && lasting); // the rollback may be out of memory too
    feature.reset();
    EXPECT_EQ(liveBlocks(), blocks) << "leaked";
    EXPECT_EQ(sqlite3_memory_used(), sqliteBytes) << "leaked";
    outcome.rows = readRows(device.file());
    return outcome;
}

void sweep(const Operation& operation, Call fault, bool lasting) {
    const StoredRows before = attempt({"nothing", [](FeaturePointer&) { return 0; }}, Call::none, 0, false).rows;
    const Outcome withoutFault = attempt(operation, Call::none, 0, false);
    bool faultOccurred = true;
    for (long n = 0; faultOccurred && !testing::Test::HasFailure(); ++n) {
        SCOPED_TRACE(testing::Message() << operation.name << ", fault in call " << n
                                        << (lasting ? " and all after" : ""));
        const Outcome now = attempt(operation, fault, n, lasting);
        for (const std::string& row : neitherOldNorNew(before, withoutFault.rows, now.rows)) {
            EXPECT_TRUE(now.mayHaveMissedRows && row.find("com.target") != row.npos) << row;
        }
        if (now.isSilent) {
            EXPECT_EQ(now.result, withoutFault.result);
            EXPECT_EQ(now.rows, withoutFault.rows);
        }
        faultOccurred = now.faultOccurred;
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
