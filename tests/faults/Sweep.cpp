#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "rowstore/VelDBRowLoan.h"
#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// Every kind of fault in every operation. Call number 0, 1, 2, ... fails, alone or with all after it, until the
// operation ends before that call. After each attempt the same promises are checked.

namespace {

using FeatureP = std::unique_ptr<FeatureProbe>;

std::string known = "com.target.known";
std::string fresh = "com.target.fresh";
std::string twice = "com.target.twice";
std::string unknown = "com.target.unknown";
const std::vector<int> lowPeaks{1, 50, 0};
const std::vector<int> heavyPeaks{400, 500, 300};

constexpr const char* classifierRows =
    "INSERT INTO Tessary VALUES (NULL,'com.target.known',NULL,X'0500000001000000'),"
    "(NULL,'org.other','reserved',X'06'), (3,'com.target.twice',NULL,X'0700000000000000'),"
    "(3,'com.target.twice',NULL,NULL), (-9,'org.other''s',NULL,X'09'),"
    "(NULL,'com.target.fresh',NULL,X'0500000001000000'), (NULL,'com.target.queued',NULL,NULL)";
constexpr std::int64_t queuedRow = 7;
constexpr const char* peakRows = "INSERT INTO HeavyGame VALUES (1,'org.other',NULL,X'010000000200000003000000'),"
                                 "(NULL,'com.target.known',NULL,X'E80300000000000000000000')";

/// A feature with a change in the queue, as a failed write leaves one.
FeatureP featureWithQueue() {
    auto feature = std::make_unique<FeatureProbe>("Tessary");
    auto rows = feature->appDb->getRow(1);
    rows[0]->rowid = queuedRow;
    rows[0]->appName = "com.target.queued";
    feature->appDb->cacheRow(rows);
    return feature;
}

VelDBRowLoan<TessaryDatabase> stored(FeatureP& feature, const std::string& name) {
    const VelDBDataRowKey key(name, VELDB_NO_VALUE);
    return {*feature->appDb,
            feature->appDb->readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByAppName, veldbDirDesc)};
}

int create(FeatureP& feature) {
    FeatureInfo description;
    description.name = "Tessary";
    auto* made = createClassObj<Feature, FeatureInfo, FeatureProbe>(std::move(description));
    feature.reset(static_cast<FeatureProbe*>(made));
    const int opened = feature == nullptr ? 0 : 1 + (feature->appDb ? 2 : 0) + (feature->heavyGameDb ? 4 : 0);
    feature.reset(); // it may lack a table
    return opened;
}

struct Operation {
    const char* name;
    int (*run)(FeatureP& feature);
};

const Operation operations[] = {
    {"create", create},
    {"destroy", [](FeatureP& f) { return f.reset(), 0; }},
    {"classifyKnown", [](FeatureP& f) { return f->updateToClassifierDataBase(known, 1, 17); }},
    {"classifyUnknown", [](FeatureP& f) { return f->updateToClassifierDataBase(unknown, 1, 17); }},
    {"classifyTwice", [](FeatureP& f) { return f->updateToClassifierDataBase(twice, 1, 17); }},
    {"remove", [](FeatureP& f) { return f->remove(known); }},
    {"weigh", [](FeatureP& f) { return f->weigh(known, 1 << 30); }},
    {"report", [](FeatureP& f) { return f->setData(known, lowPeaks); }},
    {"reportFirst", [](FeatureP& f) { return f->setData(fresh, heavyPeaks); }},
    {"queryType", [](FeatureP& f) { return f->type(known); }},
    {"rewriteRows", [](FeatureP& f) { return stored(f, twice).write(), 0; }},
    {"readAllRows", [](FeatureP& f) { return static_cast<int>(stored(f, "").size()); }},
    {"reopen", [](FeatureP& f) { return f->appDb->closeVeldb() + f->appDb->openVeldb(); }},
};

/// What these leave when a lookup fails, as the application then looks unknown, or stored once.
const Lines mistakenRows = {
    "NULL,'com.target.known',NULL,X'1100000000000000'", "NULL,'com.target.twice',NULL,X'1100000000000000'",
    "3,'com.target.twice',NULL,X'1100000000000000'", "NULL,'com.target.known',NULL,X'0500000000000000'",
    "NULL,'com.target.known',NULL,X'010000003200000000000000'"};

const Fault faults[] = {
    {"cppAllocation", CPP_NEW},
    {"cppForeignException", CPP_NEW, SQLITE_ABORT},
    {"sqliteAllocation", SQLITE_NOMEM},
    {"finalizeError", SQLITE_FINALIZE, SQLITE_IOERR},
    {"openRefused", SQLITE_CANTOPEN},
    {"deletionError", SQLITE_IOERR_DELETE},
    {"readError", SQLITE_IOERR_READ},
    {"writeError", SQLITE_IOERR_WRITE},
    {"diskFull", SQLITE_IOERR_WRITE, SQLITE_FULL},
    {"syncError", SQLITE_IOERR_FSYNC},
    {"truncationError", SQLITE_IOERR_TRUNCATE},
    {"lockError", SQLITE_IOERR_LOCK},
    {"lockBusy", SQLITE_IOERR_LOCK, SQLITE_BUSY},
    {"sharedMapError", SQLITE_IOERR_SHMMAP},
    {"sharedLockError", SQLITE_IOERR_SHMLOCK},
    {"sharedLockBusy", SQLITE_IOERR_SHMLOCK, SQLITE_BUSY},
};

struct Outcome {
    Contents contents = {};
    int result = 0;
    bool quiet = false; ///< neither an exception nor a line in the log
    bool failed = false;
};

/// Expects no statement to be left. Returns whether a transaction was.
bool isTransactionLeft(const FeatureP& feature) {
    sqlite3* stores[] = {connectionOf(*feature->appDb), connectionOf(*feature->heavyGameDb)};
    bool isLeft = false;
    for (sqlite3* db : stores) {
        EXPECT_EQ(sqlite3_next_stmt(db, nullptr), nullptr);
        isLeft |= sqlite3_get_autocommit(db) == 0;
    }
    return isLeft;
}

/// The operation may have left no feature, or one without a database: a new one is made then. It may have left an open
/// transaction only when the rollback was out of memory too. The next change logs that and ends it.
void expectWorking(FeatureP& feature, bool mayLeaveTransaction) {
    if (!feature || !feature->appDb || !feature->heavyGameDb || !connectionOf(*feature->appDb)) {
        feature = std::make_unique<FeatureProbe>("Tessary");
    }
    const bool isLeft = isTransactionLeft(feature);
    EXPECT_TRUE(!isLeft || mayLeaveTransaction);
    Device::dropLog();
    feature->classify("next.application", 77);
    feature->report("next.application", heavyPeaks);
    EXPECT_EQ(feature->type("next.application"), 77);
    EXPECT_EQ(feature->weight("next.application"), 1);
    EXPECT_TRUE(Device::dropLog() == 0 || isLeft);
    EXPECT_FALSE(isTransactionLeft(feature));
}

class Sweep : public testing::TestWithParam<std::tuple<Operation, Fault>> {
protected:
    Device device;
    const FaultVfs vfs;

    void SetUp() override {
        std::make_unique<FeatureProbe>("Tessary");
        Sql(device.file("Tessary.db")).run(classifierRows);
        Sql(device.file("TessaryHeavyGame.db")).run(peakRows);
        std::filesystem::create_directory(device.file("kept"));
        std::filesystem::copy(device.file(), device.file("kept"));
    }

    Outcome attempt(const Operation& operation, const Fault& fault, long skipped, bool lasting) {
        const bool creates = operation.run == create;
        std::filesystem::remove(device.file("Tessary.db"));
        std::filesystem::remove(device.file("TessaryHeavyGame.db"));
        if (!creates) {
            std::filesystem::copy(device.file("kept"), device.file());
        }
        Outcome outcome;
        const long blocks = liveBlocks();
        FeatureP feature = creates ? nullptr : featureWithQueue();
        Device::dropLog();
        arm(fault, skipped, lasting);
        try {
            outcome.result = operation.run(feature);
            outcome.quiet = true;
        } catch (...) { // what operator new has thrown
        }
        outcome.failed = disarm() != 0;
        outcome.quiet = Device::dropLog() == 0 && outcome.quiet;
        expectWorking(feature, fault.kind == SQLITE_NOMEM && lasting);
        feature.reset();
        EXPECT_EQ(liveBlocks(), blocks) << "leaked";
        outcome.contents = readContents(device.file());
        return outcome;
    }
};

TEST_P(Sweep, KeepsItsPromises) {
    const auto& [operation, fault] = GetParam();
    const Contents before = operation.run == create ? Contents{} : readContents(device.file());
    const Outcome whole = attempt(operation, {"none", SQLITE_OK}, 0, false);
    ASSERT_TRUE(whole.quiet);
    // Without memory for itself or for a store, a feature is refused without a word.
    const bool mayBeMute = operation.run == create && fault.kind == CPP_NEW;
    for (const bool lasting : {false, true}) {
        bool failed = true;
        for (long n = 0; failed && !HasFailure(); ++n) {
            SCOPED_TRACE(testing::Message() << "fault number " << n << (lasting ? " and all after it" : ""));
            const Outcome now = attempt(operation, fault, n, lasting);
            expectWholeOrAbsent(before, whole.contents, now.contents, mistakenRows);
            if (now.quiet && !mayBeMute) {
                EXPECT_EQ(now.result, whole.result);
                EXPECT_EQ(now.contents, whole.contents);
            }
            EXPECT_FALSE(now.quiet && now.failed && fault.kind == SQLITE_FINALIZE) << "nothing else tells of it";
            failed = now.failed;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, Sweep, testing::Combine(testing::ValuesIn(operations), testing::ValuesIn(faults)),
                         [](const auto& sweep) {
                             return std::string(std::get<0>(sweep.param).name) + '_' + std::get<1>(sweep.param).name;
                         });

} // namespace
