#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "rowstore/VelDBRowLoan.h"
#include "tests/faults/Faults.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// Every fault, one at a time, in every operation: fault number 0, 1, 2, ... is injected, once and lastingly, until the
// operation makes so few calls that it does not come to it. Each time the same list of promises is checked.

namespace {

using FeatureP = std::unique_ptr<FeatureProbe>;
using Shared = RegistryBase<Feature, FeatureInfo>;
using PluginRegistry = Registry<Feature, FeatureInfo, TessaryFeature>;

std::string known = "com.target.known";
std::string fresh = "com.target.fresh";
std::string twice = "com.target.twice";
std::string unknown = "com.target.unknown";
std::string noName;
std::string next = "next.application";
const std::string longName = "a name that needs memory of its own";
const AsyncTriggerPayload removal{4164, 0, known, 0};
const AsyncTriggerPayload weighing{4165, 0, known, 1 << 30};
featureData answer;
const std::vector<int> lowPeaks{1, 50, 0};
const std::vector<int> heavyPeaks{400, 500, 300};

constexpr const char* classifierRows =
    "INSERT INTO Tessary VALUES (NULL,'com.target.known',NULL,X'0500000001000000'),"
    "(NULL,'org.other','reserved',X'06'), (3,'com.target.twice',NULL,X'0700000000000000'),"
    "(3,'com.target.twice',NULL,NULL), (-9,'org.other''s',NULL,X'0900000001000000'),"
    "(NULL,'com.target.fresh',NULL,X'0500000001000000')";
constexpr const char* peakRows = "INSERT INTO HeavyGame VALUES (1,'org.other',NULL,X'010000000200000003000000'),"
                                 "(NULL,'com.target.known',NULL,X'E80300000000000000000000')";

FeatureInfo description() {
    FeatureInfo info;
    info.name = "Tessary";
    info.meters.emplace_back().asyncInfoSet = {{false, 1, 9}, {true, 1, 2}};
    info.namedIntTables[longName] = {{1}};
    return info;
}

VelDBRowLoan<TessaryDatabase> stored(FeatureP& feature, const std::string& name, int direction = veldbDirDesc) {
    const VelDBDataRowKey key(name, VELDB_NO_VALUE);
    const auto order = static_cast<veldbOrderByDir>(direction);
    return {*feature->appDb, feature->appDb->readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByAppName, order)};
}

int create(FeatureP& feature) {
    feature.reset(static_cast<FeatureProbe*>(createClassObj<Feature, FeatureInfo, FeatureProbe>(description())));
    if (feature != nullptr && feature->appDb != nullptr) {
        feature->createFeatureInputDb(); // keeps the one there is
    }
    const int made = feature == nullptr ? 0 : 1 + (feature->appDb ? 2 : 0) + (feature->heavyGameDb ? 4 : 0);
    feature.reset();
    return made;
}

int destroyWithQueue(FeatureP& feature) {
    auto row = std::make_unique<VelDBDataRow<TessaryDatabase>>();
    row->appName = unknown;
    row->rsvdName = longName;
    ((*feature->appDb).*&StoreProbe<TessaryDatabase>::cacheList).push_back(row.get());
    static_cast<void>(row.release());
    feature.reset();
    return 0;
}

/// SQLite refuses to close a connection while a statement is left, which is logged.
int closeWithAStatementLeft(FeatureP& feature) {
    sqlite3* db = connectionOf(*feature->appDb);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, "BEGIN", -1, &statement, nullptr);
    const int result = feature->appDb->closeVeldb();
    sqlite3_finalize(statement);
    sqlite3_close(result != VELDB_SUCCESS ? db : nullptr);
    return result;
}

int registerAnother(FeatureP& /*feature*/) {
    struct EmptyRegistry {
        Shared::ClassMap* kept = std::exchange(Shared::classList, nullptr);
        ~EmptyRegistry() { delete std::exchange(Shared::classList, kept); }
    } const guard;
    const PluginRegistry another(longName.c_str());
    const PluginRegistry none(nullptr);
    return Shared::classList == nullptr ? 0 : static_cast<int>(Shared::classList->size());
}

struct Operation {
    const char* name;
    int (*run)(FeatureP& feature);
};

const Operation operations[] = {
    {"create", create},
    {"registerAnother", registerAnother},
    {"destroyWithQueue", destroyWithQueue},
    {"closeWithAStatementLeft", closeWithAStatementLeft},
    {"classifyKnown", [](FeatureP& f) { return f->updateToClassifierDataBase(known, 1, 17); }},
    {"classifyUnknown", [](FeatureP& f) { return f->updateToClassifierDataBase(unknown, 1, 17); }},
    {"classifyTwice", [](FeatureP& f) { return f->updateToClassifierDataBase(twice, 1, 17); }},
    {"removeByTrigger", [](FeatureP& f) { return f->runAsync(removal), 0; }},
    {"weighByTrigger", [](FeatureP& f) { return f->runAsync(weighing), 0; }},
    {"report", [](FeatureP& f) { return f->setData(known, lowPeaks); }},
    {"reportFirst", [](FeatureP& f) { return f->setData(fresh, heavyPeaks); }},
    {"queryType", [](FeatureP& f) { return f->getData(known, answer, 0), answer.value; }},
    {"writePeaks", [](FeatureP& f) { return f->writeHeavyGameDb(unknown, heavyPeaks); }},
    {"refuseName", [](FeatureP& f) { return f->writeHeavyGameDb(noName, heavyPeaks); }},
    {"refuseWithoutPeaks", [](FeatureP& f) { return f->heavyGameDb.reset(), f->writeHeavyGameDb(known, lowPeaks); }},
    {"rewriteRows", [](FeatureP& f) { return stored(f, twice).write(), 0; }},
    {"deleteRows", [](FeatureP& f) { return stored(f, twice).remove(), 0; }},
    {"readAllRows", [](FeatureP& f) { return static_cast<int>(stored(f, "").size()); }},
    {"readMisordered", [](FeatureP& f) { return static_cast<int>(stored(f, "", 3).size()); }},
    {"reopen", [](FeatureP& f) { return f->appDb->closeVeldb() + f->appDb->openVeldb(); }},
};

/// What these leave when a lookup fails, as the application then looks unknown, or stored once.
const Lines mistakenRows = {
    "NULL,'com.target.known',NULL,X'1100000000000000'", "NULL,'com.target.twice',NULL,X'1100000000000000'",
    "3,'com.target.twice',NULL,X'1100000000000000'", "NULL,'com.target.known',NULL,X'0500000000000000'",
    "NULL,'com.target.known',NULL,X'010000003200000000000000'"};

struct Fault {
    const char* name;
    int kind;
    int code = kind;
};

const Fault faults[] = {
    {"cppAllocation", CPP_NEW},
    {"cppForeignException", CPP_NEW, SQLITE_ABORT},
    {"sqliteAllocation", SQLITE_NOMEM},
    {"finalizeError", SQLITE_FINALIZE, SQLITE_IOERR},
    {"openRefused", SQLITE_CANTOPEN},
    {"deletionError", SQLITE_IOERR_DELETE},
    {"accessError", SQLITE_IOERR_ACCESS},
    {"readError", SQLITE_IOERR_READ},
    {"writeError", SQLITE_IOERR_WRITE},
    {"diskFull", SQLITE_IOERR_WRITE, SQLITE_FULL},
    {"syncError", SQLITE_IOERR_FSYNC},
    {"truncationError", SQLITE_IOERR_TRUNCATE},
    {"sizeError", SQLITE_IOERR_FSTAT},
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

/// Returns whether a transaction was left open.
template <typename T>
bool expectIdle(VelDatabase<T>& store) {
    std::mutex& mutex = store.*&StoreProbe<T>::cacheMutex;
    EXPECT_TRUE(mutex.try_lock() && (mutex.unlock(), true));
    sqlite3* db = connectionOf(store);
    EXPECT_EQ(sqlite3_next_stmt(db, nullptr), nullptr);
    return sqlite3_get_autocommit(db) == 0;
}

/// The operation may have left no feature, or one without a database: the host makes another then. Only when not even a
/// rollback found memory may it have left a transaction: the next change then says so, and ends it.
void expectWorking(FeatureP& feature, bool mayLeaveTransaction) {
    EXPECT_TRUE(Shared::mMutex.try_lock() && (Shared::mMutex.unlock(), true));
    if (!feature || !feature->heavyGameDb || !connectionOf(*feature->appDb)) {
        feature = std::make_unique<FeatureProbe>(description());
    }
    const bool isOpen = expectIdle(*feature->appDb) + expectIdle(*feature->heavyGameDb) > 0; // both
    Device::dropLog();
    feature->updateToClassifierDataBase(next, 1, 77);
    feature->setData(next, heavyPeaks);
    EXPECT_EQ(feature->getAppType(next), 77);
    EXPECT_EQ(feature->getAppWeight(next), 1);
    EXPECT_TRUE(Device::dropLog() == 0 || (isOpen && mayLeaveTransaction));
    EXPECT_FALSE(expectIdle(*feature->appDb) || expectIdle(*feature->heavyGameDb));
}

class Sweep : public testing::TestWithParam<std::tuple<Operation, Fault>> {
protected:
    Device device;
    const FaultVfs vfs;

    void SetUp() override {
        create(*std::make_unique<FeatureP>());
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
        const auto blocks = liveBlocks();
        FeatureP feature = creates ? nullptr : std::make_unique<FeatureProbe>(description());
        Device::dropLog();
        Fuse::arm(fault.kind, fault.code, skipped, lasting);
        try {
            outcome.result = operation.run(feature);
            outcome.quiet = true;
        } catch (...) { // what operator new has thrown
        }
        outcome.failed = Fuse::disarm() != 0;
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
    ASSERT_EQ(whole.quiet, operation.run != closeWithAStatementLeft);
    // Without memory for itself or for a store, a feature is refused without a word.
    const bool mayBeMute = operation.run == create && fault.kind == CPP_NEW;
    long injected = 0;
    for (const bool lasting : {false, true}) {
        bool failed = true;
        for (long n = 0; failed && !HasFailure(); ++n) {
            SCOPED_TRACE(testing::Message() << "fault number " << n << (lasting ? " and all after it" : ""));
            const Outcome now = attempt(operation, fault, n, lasting);
            expectWholeOrAbsent(before, whole.contents, now.contents, mistakenRows);
            if (now.quiet && whole.quiet && !mayBeMute) {
                EXPECT_EQ(now.result, whole.result);
                EXPECT_EQ(now.contents, whole.contents);
            }
            EXPECT_FALSE(now.quiet && now.failed && fault.kind == SQLITE_FINALIZE) << "nothing else tells of it";
            failed = now.failed;
            injected += failed ? 1 : 0;
        }
    }
    std::cout << "counted: " << injected << " faults injected: " << fault.name << std::endl;
}

INSTANTIATE_TEST_SUITE_P(, Sweep, testing::Combine(testing::ValuesIn(operations), testing::ValuesIn(faults)),
                         [](const auto& sweep) {
                             return std::string(std::get<0>(sweep.param).name) + '_' + std::get<1>(sweep.param).name;
                         });

} // namespace
