#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
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

Lines noEntry(const std::string& operation) {
    return {"E Tessary: " + operation + "() #: No entry found for the app in classifier, cannot updateinfo"};
}
Lines noDatabase(const std::string& operation) {
    return {"E Tessary: " + operation + "() #: No Classifier Database Available"};
}

class FeatureTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(device.takeLog(), Lines{}) << "no line that the test did not expect"; }

    Lines classifications() const {
        Lines rows;
        for (const auto& [rowid, intcol1, name, rsvdName, app] : rowsOf(*feature->appDb)) {
            rows.push_back(name + ": type " + std::to_string(app.appType) + ", weight " +
                           std::to_string(app.appWeight));
        }
        return rows;
    }
    Lines peaks() const {
        Lines rows;
        for (const auto& [rowid, intcol1, name, rsvdName, peaks] : rowsOf(*feature->heavyGameDb)) {
            rows.push_back(name + ": " + std::to_string(peaks.peak0) + " " + std::to_string(peaks.peak1) + " " +
                           std::to_string(peaks.peak2));
        }
        return rows;
    }
    /// As a fault may leave it.
    void addClassification(const std::string& name, const TessaryDatabase& app) {
        queueRow(*feature->appDb, newRow(name, app));
        feature->appDb->VelDatabaseWriteCachedToDisk();
    }

    Device device;
    std::unique_ptr<FeatureProbe> feature = std::make_unique<FeatureProbe>("Tessary");
};

TEST_F(FeatureTest, HostSetsByTriggersAndReportsAndReadsByQueries) {
    std::string game = "com.example.game";
    featureData answer;
    feature->runAsync({4164, 0x01FFFFFF, game, 1});
    EXPECT_EQ(feature->getData(game, answer, 0), 0);
    EXPECT_EQ(answer.value, 0xFFFFFF) << "without the operation's code";
    feature->runAsync({4165, 1, game, -2});
    EXPECT_EQ(feature->getData(game, answer, 1), 0);
    EXPECT_EQ(answer.value, -2);
    EXPECT_EQ(feature->setData(game, {950, 0, 0}), 0);
    EXPECT_EQ(peaks(), Lines{"com.example.game: 950 0 0"});
    feature->runAsync({4166, 0, game, 7});
    EXPECT_EQ(classifications(), Lines{"com.example.game: type 16777215, weight 1"}) << "other triggers are ignored";
    feature->runAsync({4164, 0x00FFFFFF, game, 1});
    EXPECT_EQ(classifications(), Lines{}) << "operation 0 removes";
}

TEST_F(FeatureTest, ClassifiesAndWeighs) {
    EXPECT_EQ(feature->type("a"), 0) << "unknown";
    EXPECT_EQ(feature->weigh("a", 5), 0);
    EXPECT_EQ(device.takeLog(), noEntry("updateWeightToTessary"));
    EXPECT_EQ(feature->classify("a", 17), 1);
    EXPECT_EQ(feature->classify("b", 1), 1);
    EXPECT_EQ(classifications(), (Lines{"a: type 17, weight 0", "b: type 1, weight 0"}));
    EXPECT_EQ(feature->weigh("a", INT_MIN), 1) << "any weight";
    EXPECT_EQ(feature->classify("a", 9), 1);
    EXPECT_EQ(classifications(), (Lines{"a: type 9, weight -2147483648", "b: type 1, weight 0"}));
}

TEST_F(FeatureTest, ReportsRaiseEachPeakAndSetTheWeightToTheVerdict) {
    feature->addPeaks("other", {9, 9, 9});
    EXPECT_EQ(feature->report("a", {1000, 0, 0}), 0);
    EXPECT_EQ(device.takeLog(), noEntry("updateWeightToClassifier"));
    feature->classify("a", 5);
    EXPECT_EQ(feature->report("a", {1000, 0}), 0) << "three values are needed";
    EXPECT_EQ(feature->report("a", {400, 800, 100}), 1);
    EXPECT_EQ(classifications(), Lines{"a: type 5, weight 0"});
    EXPECT_EQ(feature->report("a", {300, 1000, 200, 9}), 1);
    EXPECT_EQ(classifications(), Lines{"a: type 5, weight 1"});
    EXPECT_EQ(peaks(), (Lines{"other: 9 9 9", "a: 400 1000 200"}));
    feature->addPeaks("a", {1, 2, 3});
    EXPECT_EQ(feature->report("a", {2000, 2000, 2000}), 0) << "two rows of peaks";
    EXPECT_EQ(peaks(), (Lines{"other: 9 9 9", "a: 400 1000 200", "a: 1 2 3"}));
}

TEST_F(FeatureTest, VerdictIsComputedWith32Bits) {
    const struct {
        int peak0, peak1, peak2, verdict;
    } rows[] = {
        {0, 1899, 0, 0},     {0, 1900, 0, 1},    {475, 0, 475, 1}, {0, INT_MIN, 0, 1}, // the difference wraps
        {INT_MIN, -1, 0, 0}, {1 << 30, 0, 0, 1},                                       // the sum wraps
    };
    for (const auto& [peak0, peak1, peak2, verdict] : rows) {
        EXPECT_EQ(feature->calculateWeight(peak0, peak1, peak2), verdict) << peak0 << " " << peak1 << " " << peak2;
    }
}

TEST_F(FeatureTest, RemovalDeletesEveryRowOfOneApplication) {
    for (const char* name : {"a", "b"}) {
        addClassification(name, {5, 7});
        addClassification(name, {6, 8});
        feature->addPeaks(name, {1, 2, 3});
        feature->addPeaks(name, {4, 5, 6});
    }
    EXPECT_EQ(feature->remove("a"), 1);
    EXPECT_EQ(classifications(), (Lines{"b: type 5, weight 7", "b: type 6, weight 8"}));
    EXPECT_EQ(peaks(), (Lines{"b: 1 2 3", "b: 4 5 6"}));
}

TEST_F(FeatureTest, NextClassificationDeletesDuplicates) {
    feature->classify("other", 1);
    feature->addPeaks("a", {1, 2, 3});
    addClassification("a", {5, 7});
    addClassification("a", {6, 8});
    EXPECT_EQ(feature->type("a"), 5) << "the first one answers";
    EXPECT_EQ(feature->weigh("a", 9), 0);
    EXPECT_EQ(device.takeLog(), noEntry("updateWeightToTessary"));
    EXPECT_EQ(feature->report("a", {9, 9, 9}), 0);
    EXPECT_EQ(device.takeLog(), noEntry("updateWeightToClassifier"));
    EXPECT_EQ(feature->classify("a", 9), 0);
    EXPECT_EQ(classifications(), Lines{"other: type 1, weight 0"});
    EXPECT_EQ(peaks(), Lines{"a: 1 2 3"});
}

TEST_F(FeatureTest, AnyNameIsOneApplication) {
    const Lines names{"a", "A",  "a ", "a'",         "' OR '1'='1",  "a') OR ('a') = ('a",   "a'--",
                      "%", "\"", "?1", "\x01\n\x7F", "\xC3\x28\xFF", std::string(5000, '\'')};
    Lines expected;
    for (const std::string& name : names) {
        const auto type = static_cast<int>(name.size());
        feature->classify(name, type);
        expected.push_back(name + ": type " + std::to_string(type) + ", weight 0");
    }
    EXPECT_EQ(classifications(), expected);
    for (const std::string& name : names) {
        feature->remove(name);
        expected.erase(expected.begin());
        EXPECT_EQ(classifications(), expected);
    }
}

TEST_F(FeatureTest, RefusesNamesThatNoQueryFindsWithoutAWord) {
    feature->classify("a", 5);
    for (const std::string& name : {""s, "\0"s, "a\0"s, "\0a"s, "a\0'a"s}) {
        EXPECT_EQ(feature->classify(name, 9), 0);
        EXPECT_EQ(feature->remove(name), 0);
        EXPECT_EQ(feature->weigh(name, 9), 0);
        EXPECT_EQ(feature->report(name, {9, 9, 9}), 0);
        EXPECT_EQ(feature->addPeaks(name, {9, 9, 9}), 0);
        EXPECT_EQ(feature->type(name), 0);
    }
    EXPECT_EQ(classifications(), Lines{"a: type 5, weight 0"});
    EXPECT_EQ(peaks(), Lines{});
}

TEST_F(FeatureTest, WithoutClassificationsRefusesEverything) {
    feature->addPeaks("a", {1, 2, 3});
    feature->appDb.reset();
    feature->runAsync({1, 0, "a", 0});
    EXPECT_EQ(device.takeLog(), noDatabase("runAsync")) << "whatever the trigger";
    EXPECT_EQ(feature->remove("a"), 0);
    EXPECT_EQ(device.takeLog(), noDatabase("updateToClassifierDataBase"));
    EXPECT_EQ(feature->weigh("a", 5), 0);
    EXPECT_EQ(device.takeLog(), noDatabase("updateWeightToTessary"));
    EXPECT_EQ(feature->report("a", {5, 6, 7}), 0);
    EXPECT_EQ(device.takeLog(), noDatabase("updateWeightToClassifier"));
    EXPECT_EQ(feature->weight("a"), 0);
    EXPECT_EQ(peaks(), Lines{"a: 1 2 3"});
}

TEST_F(FeatureTest, WithoutPeaksStillClassifies) {
    feature->heavyGameDb.reset();
    feature->classify("a", 5);
    EXPECT_EQ(feature->report("a", {1000, 0, 0}), 0);
    EXPECT_EQ(device.takeLog(), noDatabase("updateWeightToClassifier"));
    EXPECT_EQ(feature->addPeaks("a", {1000, 0, 0}), 0);
    EXPECT_EQ(classifications(), Lines{"a: type 5, weight 0"});
    EXPECT_EQ(feature->remove("a"), 1);
    EXPECT_EQ(classifications(), Lines{});
}

TEST_F(FeatureTest, RunsExactlyTheseStatements) {
    const StatementTrace trace;
    const std::string journal = "PRAGMA journal_mode=WAL", begin = "BEGIN IMMEDIATE TRANSACTION;";
    const std::string commit = "COMMIT TRANSACTION;", selection = " WHERE (appName) = ('a') ";
    const std::string columns = "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)";
    const std::string values = "(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)";
    feature = std::make_unique<FeatureProbe>("Tessary");
    EXPECT_EQ(trace.take(), (Lines{journal, "CREATE TABLE IF NOT EXISTS Tessary" + columns, //
                                   journal, "CREATE TABLE IF NOT EXISTS HeavyGame" + columns}));
    feature->classify("a", 17);
    EXPECT_EQ(trace.take(), (Lines{"SELECT *, rowid FROM Tessary" + selection, //
                                   begin, "INSERT INTO Tessary" + values, commit, begin, commit}))
        << "a new application ends in an empty delete";
    feature->report("a", {1000, 0, 0});
    EXPECT_EQ(
        trace.take(),
        (Lines{"SELECT *, rowid FROM Tessary" + selection, "SELECT *, rowid FROM HeavyGame" + selection, //
               begin, "INSERT INTO HeavyGame" + values, commit,                                          //
               begin, "UPDATE Tessary SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)", commit}))
        << "the peaks first: the next report sets the weight";
    feature->remove("a");
    EXPECT_EQ(trace.take(), (Lines{"SELECT *, rowid FROM Tessary" + selection, //
                                   begin, "DELETE FROM Tessary WHERE (rowid) = (?)", commit,
                                   "SELECT *, rowid FROM HeavyGame" + selection, //
                                   begin, "DELETE FROM HeavyGame WHERE (rowid) = (?)", commit}))
        << "the peaks last: no query answers from them";
}

TEST_F(FeatureTest, PropertiesCountAsTheyWereWhenItWasMade) {
    const struct {
        const char* value;
        bool ignoresWeights, traces;
    } properties[] = {{"true", true, true}, {"1", false, true}, {"TRUE", false, false}, {"true ", false, false}};
    for (const auto& [value, ignoresWeights, traces] : properties) {
        property_set("ro.vendor.perf.wlc.heavygame", value);
        property_set("vendor.debug.trace.perf", value);
        FeatureProbe made(value);
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
    std::memset(memory, 0xAA, sizeof(memory)); // what is not initialised shows
    auto* made = new (memory) FeatureProbe("X");
    EXPECT_EQ(made->name, "X");
    EXPECT_EQ(made->info.name, "X");
    EXPECT_TRUE(made->auxValue == 0 && made->info.param == 0 && made->stateAux == 0);
    EXPECT_EQ(made->handle, -1);
    EXPECT_FALSE(made->flag1 || made->flag2 || made->flag3 || made->flag4 || made->heavyGameEnabled);
    EXPECT_TRUE(made->ownedObjectA == nullptr && made->ownedObjectB == nullptr);
    made->~FeatureProbe();
}

TEST_F(FeatureTest, LeavesOutDatabasesThatDoNotOpenAndOpensThemOnce) {
    feature = std::make_unique<FeatureProbe>("no/Tessary");
    EXPECT_TRUE(feature->appDb == nullptr && feature->heavyGameDb == nullptr);
    const std::string open = "E VELDB: openVeldb() #: ERROR:Db=/data/vendor/vel/no/";
    const std::string failed = "() #: Error in DB initialization - createFeatureInputDb  -1";
    EXPECT_EQ(device.takeLog(),
              (Lines{open + "Tessary.db sql open failed, err=14\n", "E Tessary: createFeatureInputDb" + failed,
                     open + "TessaryHeavyGame.db sql open failed, err=14\n", "E Tessary: createHeavyGameDb" + failed}));
    fs::create_directory(device.file("no"));
    feature->createFeatureInputDb();
    ASSERT_NE(feature->appDb, nullptr) << "a second try opens it";
    const sqlite3* connection = connectionOf(*feature->appDb);
    feature->createFeatureInputDb();
    EXPECT_EQ(connectionOf(*feature->appDb), connection) << "it is not opened again";
}

/// Notes when it is deleted, and whether the database is still open then.
struct Owned : FeatureOwnedObject {
    Owned(const char* id, Lines& deletionNotes, fs::path log)
        : name(id), notes(deletionNotes), openLog(std::move(log)) {}
    ~Owned() override { notes.push_back(name + (fs::exists(openLog) ? " while open" : " after the close")); }

    std::string name;
    Lines& notes;
    fs::path openLog;
};

TEST_F(FeatureTest, DeletesItsObjectsThenWritesAndClosesItsDatabases) {
    Lines notes;
    feature->ownedObjectA = new Owned("A", notes, device.file("Tessary.db-wal"));
    feature->ownedObjectB = new Owned("B", notes, device.file("Tessary.db-wal"));
    queueRow(*feature->appDb, newRow("queued"));
    std::unique_ptr<Feature>(std::move(feature)).reset(); // as the host does
    EXPECT_EQ(notes, (Lines{"A while open", "B while open"}));
    EXPECT_FALSE(fs::exists(device.file("Tessary.db-wal")));
    EXPECT_FALSE(fs::exists(device.file("TessaryHeavyGame.db-wal")));
    EXPECT_EQ(Sql(device.file("Tessary.db")).table("Tessary"), Lines{"1,NULL,'queued',NULL,X'0000000000000000'"});
}

} // namespace
