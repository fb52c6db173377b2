#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <cutils/properties.h>
#include <gtest/gtest.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// What each call answers, stores and logs.

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

struct Classification {
    std::string name;
    int type, weight;
};

struct Peaks {
    std::string name;
    int peak0, peak1, peak2;
};

/// What is stored, in the order of the rows.
struct Tables {
    std::vector<Classification> classifications;
    std::vector<Peaks> peaks;
};

std::string print(const Tables& tables) {
    std::ostringstream text;
    for (const auto& [name, type, weight] : tables.classifications) {
        text << name << ": type " << type << ", weight " << weight << "\n";
    }
    for (const auto& [name, peak0, peak1, peak2] : tables.peaks) {
        text << name << ": peaks " << peak0 << " " << peak1 << " " << peak2 << "\n";
    }
    return text.str();
}

/// A call to be made later, by the name of the probe's operation.
using Call = std::function<int(FeatureProbe&)>;

Call classify(const char* name, int type) {
    return [=](FeatureProbe& feature) { return feature.classify(name, type); };
}
Call remove(const char* name) {
    return [=](FeatureProbe& feature) { return feature.remove(name); };
}
Call weigh(const char* name, int weight) {
    return [=](FeatureProbe& feature) { return feature.weigh(name, weight); };
}
Call report(const char* name, const std::vector<int>& values) {
    return [=](FeatureProbe& feature) { return feature.report(name, values); };
}

const std::string fields = "(intcol1, appName, rsvdName, blob)";
const std::string begin = "BEGIN IMMEDIATE TRANSACTION;", commit = "COMMIT TRANSACTION;";
const std::string insertTessary = "INSERT INTO Tessary" + fields + " VALUES (?,?,?,?)";

std::string noEntry(const std::string& operation) {
    return "E Tessary: " + operation + "() #: No entry found for the app in classifier, cannot updateinfo";
}
std::string noDatabase(const std::string& operation) {
    return "E Tessary: " + operation + "() #: No Classifier Database Available";
}

struct Case {
    const char* name;
    Tables before;
    Call call;
    int result;
    Tables after;
    Lines log = {};
};

const Tables withoutPeaks{{{"a", 5, 7}}, {}};
const Tables withPeaks{{{"a", 5, 7}}, {{"a", 1, 2, 3}}};
const Tables onlyPeaks{{}, {{"a", 1, 2, 3}}};
/// Two rows of "a" in each table, with those of "b" beside them.
const Tables duplicates{{{"b", 1, 1}, {"a", 5, 7}, {"a", 6, 8}}, {{"a", 1, 2, 3}, {"b", 4, 5, 6}, {"a", 7, 8, 9}}};
const Tables duplicatePeaks{{{"a", 5, 7}}, {{"a", 1, 2, 3}, {"a", 4, 5, 6}}};

// clang-format off
const Case cases[] = {
    {"classifying an unknown application adds it with weight 0", {}, classify("a", 17), 1, {{{"a", 17, 0}}, {}}},
    {"classifying a known one keeps its weight and peaks",
     withPeaks, classify("a", 9), 1, {{{"a", 9, 7}}, {{"a", 1, 2, 3}}}},
    {"classifying an application with two rows deletes both, keeps its peaks and returns 0",
     duplicates, classify("a", 9), 0, {{{"b", 1, 1}}, duplicates.peaks}},
    {"a removal deletes every row of the application, and no other",
     duplicates, remove("a"), 1, {{{"b", 1, 1}}, {{"b", 4, 5, 6}}}},
    {"in a name quotes are plain characters, and capitals count",
     {{{"a", 5, 7}, {"A", 1, 1}, {"' OR '1'='1", 1, 1}}, {}}, remove("' OR '1'='1"), 1,
     {{{"a", 5, 7}, {"A", 1, 1}}, {}}},
    {"a weight is stored unchecked",
     withPeaks, weigh("a", INT_MIN), 1, {{{"a", 5, INT_MIN}}, {{"a", 1, 2, 3}}}},
    {"a weight for an unknown application is refused and logged", {}, weigh("a", 5), 0, {}, {noEntry("updateWeightToTessary")}},
    {"a weight for an application with two rows is refused and logged",
     duplicates, weigh("a", 9), 0, duplicates, {noEntry("updateWeightToTessary")}},
    {"a first report stores its values, and the verdict as the weight",
     withoutPeaks, report("a", {1, 2, 3}), 1, {{{"a", 5, 0}}, {{"a", 1, 2, 3}}}},
    {"a later report replaces only the peaks that it exceeds, and ignores a fourth value",
     {{{"a", 5, 0}}, {{"b", 9, 9, 9}, {"a", 400, 800, 100}}}, report("a", {300, 1000, 200, 9}), 1,
     {{{"a", 5, 1}}, {{"b", 9, 9, 9}, {"a", 400, 1000, 200}}}},
    {"a report of two values is refused without a log line", withoutPeaks, report("a", {1000, 0}), 0, withoutPeaks},
    {"a report for an unknown application is refused and logged",
     onlyPeaks, report("a", {1000, 0, 0}), 0, onlyPeaks, {noEntry("updateWeightToClassifier")}},
    {"a report for an application with two rows is refused and logged",
     duplicates, report("a", {1000, 0, 0}), 0, duplicates, {noEntry("updateWeightToClassifier")}},
    {"a report is refused without a log line when there are two rows of peaks", duplicatePeaks, report("a", {1000, 0, 0}), 0, duplicatePeaks},
};
// clang-format on

class FeatureTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(device.takeLog(), Lines{}) << "unexpected log lines"; }

    /// Makes the feature anew, with these rows. Classifications are queued directly: no operation adds a second one.
    void start(const Tables& tables) {
        feature.reset();
        fs::remove(device.file("Tessary.db"));
        fs::remove(device.file("TessaryHeavyGame.db"));
        feature = std::make_unique<FeatureProbe>("Tessary");
        for (const auto& [name, type, weight] : tables.classifications) {
            queueRow(*feature->appDb, newRow<TessaryDatabase>(name, {type, weight}));
        }
        feature->appDb->VelDatabaseWriteCachedToDisk();
        for (const auto& [name, peak0, peak1, peak2] : tables.peaks) {
            feature->addPeaks(name, {peak0, peak1, peak2});
        }
    }

    /// What is stored in the databases that are open.
    Tables stored() const {
        Tables tables;
        for (const auto& row : rowsOf(feature->appDb)) {
            tables.classifications.push_back({row.appName, row.payload.appType, row.payload.appWeight});
        }
        for (const auto& row : rowsOf(feature->heavyGameDb)) {
            tables.peaks.push_back({row.appName, row.payload.peak0, row.payload.peak1, row.payload.peak2});
        }
        return tables;
    }

    Device device;
    std::unique_ptr<FeatureProbe> feature = std::make_unique<FeatureProbe>("Tessary");
};

TEST_F(FeatureTest, EachCallHasThisOutcome) {
    for (const auto& [name, before, call, result, after, log] : cases) {
        SCOPED_TRACE(name);
        start(before);
        EXPECT_EQ(call(*feature), result);
        EXPECT_EQ(print(stored()), print(after));
        EXPECT_EQ(device.takeLog(), log);
    }
}

TEST_F(FeatureTest, TriggersReportsAndQueriesReachTheirOperations) {
    std::string game = "com.example.game";
    featureData answer;
    feature->runAsync({4164, 0x01FFFFFF, game, 1});
    EXPECT_EQ(feature->getData(game, answer, 0), 0);
    EXPECT_EQ(answer.value, 0xFFFFFF) << "without the operation's code";
    feature->runAsync({4165, 1, game, -2});
    EXPECT_EQ(feature->getData(game, answer, 1), 0);
    EXPECT_EQ(answer.value, -2);
    EXPECT_EQ(feature->setData(game, {950, 0, 0}), 0);
    feature->runAsync({4166, 0, game, 7});
    EXPECT_EQ(print(stored()), print({{{game, 0xFFFFFF, 1}}, {{game, 950, 0, 0}}})) << "other triggers are ignored";
    feature->runAsync({4164, 0x00FFFFFF, game, 1});
    EXPECT_EQ(print(stored()), "") << "operation 0 removes";
    EXPECT_EQ(feature->type(game), 0) << "unknown";
}

TEST_F(FeatureTest, VerdictIsComputedWith32Bits) {
    const struct {
        const char* name;
        int peak0, peak1, peak2, verdict;
    } rows[] = {
        {"one below the threshold", 0, 1899, 0, 0},
        {"the threshold", 0, 1900, 0, 1},
        {"the first and the third count twice", 475, 0, 475, 1},
        {"the sum wraps to -2^31, and 1700 less to above zero", 1 << 30, 0, 0, 1},
        {"the sum wraps to -1", INT_MIN, -1, 0, 0},
    };
    for (const auto& [name, peak0, peak1, peak2, verdict] : rows) {
        EXPECT_EQ(feature->calculateWeight(peak0, peak1, peak2), verdict) << name;
    }
}

TEST_F(FeatureTest, WithoutADatabaseRefusesWhatNeedsIt) {
    start(duplicates);
    feature->heavyGameDb.reset();
    EXPECT_EQ(feature->report("b", {1000, 0, 0}), 0);
    EXPECT_EQ(feature->addPeaks("b", {1000, 0, 0}), 0);
    EXPECT_EQ(feature->remove("a"), 1);
    EXPECT_EQ(print(stored()), print({{{"b", 1, 1}}, {}}));
    feature->createHeavyGameDb();
    feature->appDb.reset();
    EXPECT_EQ(feature->report("b", {1000, 0, 0}), 0);
    EXPECT_EQ(feature->weigh("b", 5), 0);
    EXPECT_EQ(feature->remove("b"), 0);
    EXPECT_EQ(feature->weight("b"), 0);
    feature->runAsync({1, 0, "b", 0}); // logged for any trigger
    EXPECT_EQ(print(stored()), print({{}, duplicates.peaks}));
    EXPECT_EQ(device.takeLog(), (Lines{noDatabase("updateWeightToClassifier"), noDatabase("updateWeightToClassifier"),
                                       noDatabase("updateWeightToTessary"), noDatabase("updateToClassifierDataBase"),
                                       noDatabase("runAsync")}));
}

TEST_F(FeatureTest, EmptyNamesAndNamesWithANulByteAreRefusedWithoutALogLine) {
    start(withPeaks);
    for (const std::string& name : {""s, "a\0"s, "\0a"s}) {
        EXPECT_EQ(feature->classify(name, 9), 0);
        EXPECT_EQ(feature->remove(name), 0);
        EXPECT_EQ(feature->weigh(name, 9), 0);
        EXPECT_EQ(feature->report(name, {9, 9, 9}), 0);
        EXPECT_EQ(feature->addPeaks(name, {9, 9, 9}), 0);
        EXPECT_EQ(feature->type(name), 0);
    }
    EXPECT_EQ(print(stored()), print(withPeaks));
}

TEST_F(FeatureTest, RunsExactlyTheseStatements) {
    const std::string columns = "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)";
    const std::string journal = "PRAGMA journal_mode=WAL";
    const std::string selectTessary = "SELECT *, rowid FROM Tessary WHERE (appName) = ('a') ";
    const std::string selectHeavyGame = "SELECT *, rowid FROM HeavyGame WHERE (appName) = ('a') ";
    const std::string insertHeavyGame = "INSERT INTO HeavyGame" + fields + " VALUES (?,?,?,?)";
    const std::string updateTessary = "UPDATE Tessary SET " + fields + " = (?,?,?,?) WHERE (rowid) = (?)";
    const std::string deleteTessary = "DELETE FROM Tessary WHERE (rowid) = (?)";
    const std::string deleteHeavyGame = "DELETE FROM HeavyGame WHERE (rowid) = (?)";

    const StatementTrace trace;
    feature = std::make_unique<FeatureProbe>("Tessary");
    EXPECT_EQ(trace.take(), (Lines{journal, "CREATE TABLE IF NOT EXISTS Tessary" + columns, journal,
                                   "CREATE TABLE IF NOT EXISTS HeavyGame" + columns}));
    feature->classify("a", 17);
    EXPECT_EQ(trace.take(), (Lines{selectTessary, begin, insertTessary, commit, begin, commit}))
        << "a new application: ends in a delete of no rows";
    feature->report("a", {1000, 0, 0});
    EXPECT_EQ(trace.take(),
              (Lines{selectTessary, selectHeavyGame, begin, insertHeavyGame, commit, begin, updateTessary, commit}))
        << "peaks first: if the weight then fails, the next report sets it";
    feature->remove("a");
    EXPECT_EQ(trace.take(),
              (Lines{selectTessary, begin, deleteTessary, commit, selectHeavyGame, begin, deleteHeavyGame, commit}))
        << "peaks last: if that fails, no query answers from them";
}

TEST_F(FeatureTest, PropertiesAreReadOnceWhenTheFeatureIsMade) {
    const struct {
        const char* value;
        bool ignoresWeights, traces;
    } properties[] = {{"true", true, true}, {"1", false, true}, {"TRUE", false, false}, {"true ", false, false}};
    for (const auto& [value, ignoresWeights, traces] : properties) {
        property_set("ro.vendor.perf.wlc.heavygame", value);
        property_set("vendor.debug.trace.perf", value);
        FeatureProbe made(value); // on files of its own
        property_set("ro.vendor.perf.wlc.heavygame", "");
        property_set("vendor.debug.trace.perf", "");
        made.classify("a", 5);
        made.runAsync({4165, 0, "a", 250});
        EXPECT_EQ(made.weight("a"), ignoresWeights ? 0 : 250) << value;
        EXPECT_EQ(made.tracePerf, traces) << value;
    }
}

TEST_F(FeatureTest, StartsWithTheseMembers) {
    alignas(FeatureProbe) unsigned char memory[sizeof(FeatureProbe)];
    std::memset(memory, 0xAA, sizeof(memory)); // so that no member is 0 by chance
    auto* made = new (memory) FeatureProbe("X");
    EXPECT_EQ(made->name, "X");
    EXPECT_EQ(made->info.name, "X");
    EXPECT_TRUE(made->auxValue == 0 && made->info.param == 0 && made->stateAux == 0);
    EXPECT_EQ(made->handle, -1);
    EXPECT_FALSE(made->flag1 || made->flag2 || made->flag3 || made->flag4 || made->heavyGameEnabled);
    EXPECT_TRUE(made->ownedObjectA == nullptr && made->ownedObjectB == nullptr);
    made->~FeatureProbe();
}

TEST_F(FeatureTest, DatabasesThatCannotBeOpenedAreLoggedAndMayBeOpenedLater) {
    feature = std::make_unique<FeatureProbe>("missing/Tessary");
    EXPECT_TRUE(feature->appDb == nullptr && feature->heavyGameDb == nullptr);
    const std::string open = "E VELDB: openVeldb() #: ERROR:Db=/data/vendor/vel/missing/";
    const std::string failed = "() #: Error in DB initialization - createFeatureInputDb  -1";
    EXPECT_EQ(device.takeLog(),
              (Lines{open + "Tessary.db sql open failed, err=14\n", "E Tessary: createFeatureInputDb" + failed,
                     open + "TessaryHeavyGame.db sql open failed, err=14\n", "E Tessary: createHeavyGameDb" + failed}));
    fs::create_directory(device.file("missing"));
    feature->createFeatureInputDb();
    ASSERT_NE(feature->appDb, nullptr) << "a second try opens it";
    const sqlite3* connection = connectionOf(*feature->appDb);
    feature->createFeatureInputDb();
    EXPECT_EQ(connectionOf(*feature->appDb), connection) << "it is not opened again";
}

struct Owned : FeatureOwnedObject {
    explicit Owned(std::function<void()> onDeletion) : deleted(std::move(onDeletion)) {}
    ~Owned() override { deleted(); }
    std::function<void()> deleted;
};

TEST_F(FeatureTest, OwnedObjectsAreDeletedThenTheDatabasesWrittenAndClosedInOrder) {
    const StatementTrace trace;
    start({});                                              // again: the trace sees only connections that open after it
    const fs::path walFile = device.file("Tessary.db-wal"); // there while the database is open
    Lines deletions;
    bool wasOpen = false;
    feature->ownedObjectA = new Owned([&] { deletions.push_back("A"); });
    feature->ownedObjectB = new Owned([&] { deletions.push_back("B"), wasOpen = fs::exists(walFile); });
    queueRow(*feature->appDb, newRow("queued"));
    trace.take();
    std::unique_ptr<Feature>(std::move(feature)).reset(); // as the host does
    EXPECT_EQ(deletions, (Lines{"A", "B"}));
    EXPECT_TRUE(wasOpen);
    EXPECT_EQ(trace.take(), (Lines{begin, insertTessary, commit, begin, commit}))
        << "the classification, then no peaks";
    EXPECT_FALSE(fs::exists(walFile));
    EXPECT_FALSE(fs::exists(device.file("TessaryHeavyGame.db-wal")));
}

} // namespace
