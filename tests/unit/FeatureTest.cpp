#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <cutils/properties.h>
#include <gtest/gtest.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

// What each call of a host answers, stores and logs.

namespace {

using namespace std::string_literals;

/// What is stored, in the order of the rows.
struct Tables {
    std::vector<std::pair<std::string, TessaryDatabase>> classifications;
    std::vector<std::pair<std::string, HeavyGameClassifierDatabase>> peaks;
};

std::string print(const Tables& tables) {
    std::string text;
    for (const auto& [name, app] : tables.classifications) {
        text += name + ": type " + std::to_string(app.appType) + ", weight " + std::to_string(app.appWeight) + "\n";
    }
    for (const auto& [name, peaks] : tables.peaks) {
        text += name + ": peaks " + std::to_string(peaks.peak0) + " " + std::to_string(peaks.peak1) + " " +
                std::to_string(peaks.peak2) + "\n";
    }
    return text;
}

/// Adds rows to a table, by a store of the test's own.
template <typename T, typename Rows>
void insert(const std::string& file, const std::string& table, const Rows& rows) {
    VelDatabase<T> store(0, file, table);
    store.openVeldb();
    for (const auto& [name, payload] : rows) {
        auto added = store.getRow(1);
        added[0]->appName = name;
        added[0]->payload = payload;
        store.cacheRow(added);
    }
}

/// Reads a table without the store: the blob of each row must be the image of a `T`.
template <typename T>
auto rowsOf(const std::filesystem::path& file, const std::string& table) {
    std::vector<std::pair<std::string, T>> rows;
    for (const BlobRow& row : Sql(file).blobs("SELECT appName, blob FROM " + table + " ORDER BY rowid")) {
        EXPECT_EQ(row.blob.size(), sizeof(T));
        std::memcpy(&rows.emplace_back(row.name, T{}).second, row.blob.data(), std::min(row.blob.size(), sizeof(T)));
    }
    return rows;
}

enum class Missing { nothing, classifierDatabase, heavyGameDatabase };

using Call = std::function<int(FeatureProbe&)>;

Call classify(std::string name, int type) {
    return [=](FeatureProbe& feature) mutable { return feature.updateToClassifierDataBase(name, 255, type); };
}
Call remove(std::string name) {
    return [=](FeatureProbe& feature) mutable { return feature.updateToClassifierDataBase(name, 0, 1); };
}
Call weigh(std::string name, int weight) {
    return [=](FeatureProbe& feature) mutable { return feature.updateWeightToTessary(name, weight); };
}
Call report(std::string name, const std::vector<int>& values) {
    return [=](FeatureProbe& feature) mutable { return feature.updateWeightToClassifier(name, values); };
}
Call setData(std::string name, const std::vector<int>& values) {
    return [=](FeatureProbe& feature) mutable { return feature.setData(name, values); };
}
Call writePeaks(std::string name, const std::vector<int>& values) {
    return [=](FeatureProbe& feature) mutable { return feature.writeHeavyGameDb(name, values); };
}
Call trigger(unsigned id, unsigned argument, std::string name, int value) {
    return [=](FeatureProbe& feature) { return feature.runAsync({id, argument, name, value}), 0; };
}
Call query(std::string name, int selector) {
    return [=](FeatureProbe& feature) mutable {
        featureData data{-7};
        return feature.getData(name, data, selector) + data.value;
    };
}

Lines noEntry(const std::string& operation) {
    return {"E Tessary: " + operation + "() #: No entry found for the app in classifier, cannot updateinfo"};
}
Lines noDatabase(const std::string& operation) {
    return {"E Tessary: " + operation + "() #: No Classifier Database Available"};
}

struct Case {
    const char* name;
    Tables before;
    Call call;
    int result;
    Tables after;
    Lines log = {};
    Missing missing = Missing::nothing;
};

const Tables known{{{"a", {5, 7}}}, {}};
const Tables knownWithPeaks{{{"a", {5, 7}}}, {{"a", {1, 2, 3}}}};
const Tables twice{{{"a", {5, 7}}, {"a", {6, 8}}}, {}};
const Tables onlyPeaks{{}, {{"a", {1, 2, 3}}}};
const auto noClassifier = Missing::classifierDatabase;
const auto noHeavyGame = Missing::heavyGameDatabase;

// clang-format off
const Case cases[] = {
    {"classifying an unknown application adds it with weight 0", {}, classify("a", 17), 1, {{{"a", {17, 0}}}, {}}},
    {"classifying a known one keeps its weight and peaks",
     knownWithPeaks, classify("a", 9), 1, {{{"a", {9, 7}}}, {{"a", {1, 2, 3}}}}},
    {"classifying deletes duplicates, and no other application",
     {{{"b", {1, 1}}, {"a", {5, 7}}, {"a", {6, 8}}}, {{"a", {1, 2, 3}}}}, classify("a", 9), 0,
     {{{"b", {1, 1}}}, {{"a", {1, 2, 3}}}}},
    {"a removal deletes every row of the application, and no other",
     {{{"b", {1, 1}}, {"a", {5, 7}}, {"a", {6, 8}}}, {{"a", {1, 2, 3}}, {"a", {4, 5, 6}}, {"b", {1, 2, 3}}}}, remove("a"), 1,
     {{{"b", {1, 1}}}, {{"b", {1, 2, 3}}}}},
    {"a removal works without a heavy-game database", known, remove("a"), 1, {}, {}, noHeavyGame},
    {"a removal needs the classifier database",
     onlyPeaks, remove("a"), 0, onlyPeaks, noDatabase("updateToClassifierDataBase"), noClassifier},

    {"a weight is stored unchecked",
     knownWithPeaks, weigh("a", INT_MIN), 1, {{{"a", {5, INT_MIN}}}, {{"a", {1, 2, 3}}}}},
    {"a weight needs a known application", {}, weigh("a", 5), 0, {}, noEntry("updateWeightToTessary")},
    {"a weight needs the classifier database",
     {}, weigh("a", 5), 0, {}, noDatabase("updateWeightToTessary"), noClassifier},

    {"a first report stores its values and the verdict",
     known, report("a", {0, 1899, 0}), 1, {{{"a", {5, 0}}}, {{"a", {0, 1899, 0}}}}},
    {"the first and the third value count twice",
     known, report("a", {475, 0, 475}), 1, {{{"a", {5, 1}}}, {{"a", {475, 0, 475}}}}},
    {"the sum wraps at 32 bits", known, report("a", {INT_MIN, -1, 0}), 1, {{{"a", {5, 0}}}, {{"a", {INT_MIN, -1, 0}}}}},
    {"the difference wraps as well",
     known, report("a", {INT_MIN, INT_MIN, 0}), 1, {{{"a", {5, 1}}}, {{"a", {INT_MIN, INT_MIN, 0}}}}},
    {"a later report raises each peak by itself",
     {{{"a", {5, 0}}}, {{"b", {9, 9, 9}}, {"a", {400, 900, 100}}}}, report("a", {300, 1000, 200, 9}), 1,
     {{{"a", {5, 1}}}, {{"b", {9, 9, 9}}, {"a", {400, 1000, 200}}}}},
    {"a report needs three values", known, report("a", {1000, 0}), 0, known},
    {"a report needs a known application",
     onlyPeaks, report("a", {1000, 0, 0}), 0, onlyPeaks, noEntry("updateWeightToClassifier")},
    {"a report is refused for duplicates",
     twice, report("a", {1000, 0, 0}), 0, twice, noEntry("updateWeightToClassifier")},
    {"a report is refused for duplicate peaks",
     {{{"a", {5, 7}}}, {{"a", {1, 2, 3}}, {"a", {4, 5, 6}}}}, report("a", {1000, 0, 0}), 0,
     {{{"a", {5, 7}}}, {{"a", {1, 2, 3}}, {"a", {4, 5, 6}}}}},
    {"a report needs the heavy-game database",
     known, report("a", {1, 2, 3}), 0, known, noDatabase("updateWeightToClassifier"), noHeavyGame},
    {"a report needs the classifier database",
     onlyPeaks, report("a", {5, 6, 7}), 0, onlyPeaks, noDatabase("updateWeightToClassifier"), noClassifier},
    {"setData reports and always returns 0",
     known, setData("a", {950, 0, 0}), 0, {{{"a", {5, 1}}}, {{"a", {950, 0, 0}}}}},
    {"peaks can be added alone", {}, writePeaks("a", {1, 2, 3}), 1, onlyPeaks},
    {"peaks need the heavy-game database", known, writePeaks("a", {1, 2, 3}), 0, known, {}, noHeavyGame},

    {"trigger 4164 splits its argument", known, trigger(4164, 0xFFFFFFFF, "a", 1), 0, {{{"a", {0xFFFFFF, 7}}}, {}}},
    {"trigger 4164 with operation 0 removes", knownWithPeaks, trigger(4164, 0x00FFFFFF, "a", 1), 0, {}},
    {"trigger 4165 sets the weight", known, trigger(4165, 1, "a", -2), 0, {{{"a", {5, -2}}}, {}}},
    {"other triggers are ignored", known, trigger(4166, 7, "a", 1), 0, known},
    {"any trigger tells once of a missing database",
     onlyPeaks, trigger(4164, 0, "a", 0), 0, onlyPeaks, noDatabase("runAsync"), noClassifier},

    {"selector 1 asks for the weight", known, query("a", 1), 7, known},
    {"the first of duplicates answers", twice, query("a", 0), 5, twice},
    {"an unknown application answers 0", known, query("b", 0), 0, known},
    {"without the database the answer is 0", {}, query("a", 1), 0, {}, {}, noClassifier},
};
// clang-format on

class FeatureTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(device.takeLog(), Lines{}) << "no line that the test did not expect"; }

    /// Starts the feature again, on files that hold `tables`.
    void start(const Tables& tables, const std::string& name = "Tessary") {
        feature.reset();
        std::filesystem::remove_all(device.file());
        std::filesystem::create_directory(device.file());
        insert<TessaryDatabase>(name + ".db", "Tessary", tables.classifications);
        insert<HeavyGameClassifierDatabase>(name + "HeavyGame.db", "HeavyGame", tables.peaks);
        feature = std::make_unique<FeatureProbe>(name);
    }
    Tables stored() const {
        return {rowsOf<TessaryDatabase>(device.file("Tessary.db"), "Tessary"),
                rowsOf<HeavyGameClassifierDatabase>(device.file("TessaryHeavyGame.db"), "HeavyGame")};
    }

    Device device;
    std::unique_ptr<FeatureProbe> feature;
};

TEST_F(FeatureTest, EachCallHasThisOutcome) {
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        start(row.before);
        if (row.missing == noClassifier) {
            feature->appDb.reset();
        } else if (row.missing == noHeavyGame) {
            feature->heavyGameDb.reset();
        }
        EXPECT_EQ(row.call(*feature), row.result);
        EXPECT_EQ(print(stored()), print(row.after));
        EXPECT_EQ(device.takeLog(), row.log);
    }
}

TEST_F(FeatureTest, AnyNameIsOneApplication) {
    const Lines names{"a",   "A", "a ", "a'", "''",         "' OR '1'='1",  "a') OR ('a') = ('a",   "a'--",
                      "a\\", "%", "\"", "?1", "\x01\n\x7F", "\xC3\x28\xFF", std::string(5000, '\'')};
    start({});
    Tables expected;
    for (const std::string& name : names) {
        const auto number = static_cast<int>(expected.peaks.size() + 1);
        feature->classify(name, number);
        feature->report(name, {number, 0, 0});
        EXPECT_EQ(feature->type(name), number) << name;
        expected.classifications.push_back({name, {number, 0}});
        expected.peaks.push_back({name, {number, 0, 0}});
    }
    EXPECT_EQ(print(stored()), print(expected));
    for (const std::string& name : names) {
        feature->remove(name);
    }
    EXPECT_EQ(print(stored()), "");
}

TEST_F(FeatureTest, RefusesNamesThatNoQueryFindsWithoutAWord) {
    start(knownWithPeaks);
    for (const std::string& name : {""s, "\0"s, "a\0"s, "\0a"s, "a\0'a"s}) {
        for (const Call& call : {classify(name, 9), remove(name), weigh(name, 9), report(name, {9, 9, 9}),
                                 writePeaks(name, {9, 9, 9}), query(name, 0), query(name, 1)}) {
            EXPECT_EQ(call(*feature), 0);
        }
    }
    EXPECT_EQ(print(stored()), print(knownWithPeaks));
}

TEST_F(FeatureTest, ChangesItsTablesInTheOrderThatAFaultCanBearBest) {
    start(knownWithPeaks);
    const StatementTrace trace;
    feature = std::make_unique<FeatureProbe>("Tessary");
    const struct {
        const char* name;
        Call call;
        std::string first, second;
    } orders[] = {
        {"a report writes the peaks first", report("a", {1000, 0, 0}), "UPDATE HeavyGame", "UPDATE Tessary"},
        {"a removal deletes the peaks last", remove("a"), "DELETE FROM Tessary", "DELETE FROM HeavyGame"},
        {"a new application ends in an empty delete", classify("b", 1), "INSERT INTO Tessary",
         "COMMIT TRANSACTION;\nBEGIN"},
    };
    for (const auto& [name, call, first, second] : orders) {
        StatementTrace::take();
        call(*feature);
        const std::string statements = StatementTrace::take();
        EXPECT_LT(statements.find(first), statements.find(second)) << name;
        EXPECT_NE(statements.find(second), std::string::npos) << name;
    }
}

TEST_F(FeatureTest, PropertiesCountAsTheyWereWhenItWasMade) {
    const struct {
        const char* value;
        bool ignoresWeights, traces;
    } properties[] = {{"true", true, true},   {"1", false, true},      {"True", false, false},
                      {"TRUE", false, false}, {"true ", false, false}, {"", false, false}};
    for (const auto& [value, ignoresWeights, traces] : properties) {
        property_set("ro.vendor.perf.wlc.heavygame", value);
        property_set("vendor.debug.trace.perf", value);
        start(known);
        property_set("ro.vendor.perf.wlc.heavygame", "");
        property_set("vendor.debug.trace.perf", "");
        feature->runAsync({4165, 0, "a", 250});
        EXPECT_EQ(feature->weight("a"), ignoresWeights ? 7 : 250) << value;
        EXPECT_EQ(feature->tracePerf, traces) << value;
    }
}

TEST_F(FeatureTest, StartsWithTheseMembers) {
    alignas(FeatureProbe) unsigned char memory[sizeof(FeatureProbe)];
    std::memset(memory, 0xAA, sizeof(memory)); // what is not initialised shows
    auto* made = new (memory) FeatureProbe("X");
    EXPECT_EQ(made->name + made->info.name, "XX");
    EXPECT_EQ(made->auxValue + made->info.param + made->stateAux, 0);
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
    std::filesystem::create_directory(device.file("no"));
    feature->createFeatureInputDb();
    ASSERT_NE(feature->appDb, nullptr) << "a second try opens it";
    const sqlite3* connection = connectionOf(*feature->appDb);
    feature->createFeatureInputDb();
    EXPECT_EQ(connectionOf(*feature->appDb), connection) << "it is not opened again";
}

/// Tells in `deletions` when it is deleted, and whether the databases are open then.
struct Owned : FeatureOwnedObject {
    Owned(Lines& record, const Device& on, std::string id) : deletions(record), device(on), name(std::move(id)) {}
    ~Owned() override {
        deletions.push_back(name + (std::filesystem::exists(device.file(".db-wal")) ? " before" : " after"));
    }
    Lines& deletions;
    const Device& device;
    std::string name;
};

TEST_F(FeatureTest, DeletesItsObjectsThenWritesAndClosesItsDatabasesInOrder) {
    const StatementTrace trace;
    Lines deletions;
    feature = std::make_unique<FeatureProbe>("");
    feature->ownedObjectA = new Owned(deletions, device, "A");
    feature->ownedObjectB = new Owned(deletions, device, "B");
    auto app = feature->appDb->getRow(1);
    auto peaks = feature->heavyGameDb->getRow(1);
    app[0]->appName = peaks[0]->appName = "queued";
    feature->appDb->cacheRow(app);
    feature->heavyGameDb->cacheRow(peaks);
    StatementTrace::take();
    std::unique_ptr<Feature>(std::move(feature)).reset(); // as the host does
    EXPECT_EQ(deletions, (Lines{"A before", "B before"}));
    const std::string statements = StatementTrace::take();
    EXPECT_LT(statements.find("INSERT INTO Tessary"), statements.find("INSERT INTO HeavyGame"));
    EXPECT_FALSE(std::filesystem::exists(device.file(".db-wal")) ||
                 std::filesystem::exists(device.file("HeavyGame.db-wal")))
        << "closed";
    EXPECT_EQ(Sql(device.file(".db")).table("Tessary"), Lines{"1,NULL,'queued',NULL,X'0000000000000000'"});
    EXPECT_EQ(Sql(device.file("HeavyGame.db")).table("HeavyGame").size(), 1U);
}

} // namespace
