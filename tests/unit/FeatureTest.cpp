#include <map>
#include <memory>
#include <random>
#include <sstream>

#include <cutils/properties.h>
#include <gtest/gtest.h>

#include "tests/support/Device.h"
#include "tests/support/Probes.h"
#include "tests/support/Sql.h"

namespace {

using namespace std::string_literals;

const std::string noEntry = "() #: No entry found for the app in classifier, cannot updateinfo";
constexpr const char* heavyGame = "ro.vendor.perf.wlc.heavygame";
constexpr const char* tables[] = {"Tessary", "HeavyGame"};
constexpr const char* files[] = {"Tessary.db", "TessaryHeavyGame.db"};

using Values = std::vector<int>;
using Call = int (*)(FeatureProbe&, std::string&, const Values&);

constexpr Call classify = [](auto& to, auto& name, auto& with) {
    return to.updateToClassifierDataBase(name, with[0], with[1]);
};
constexpr Call weigh = [](auto& to, auto& name, auto& with) { return to.updateWeightToTessary(name, with[0]); };
constexpr Call report = [](auto& to, auto& name, auto& with) { return to.updateWeightToClassifier(name, with); };
constexpr Call tell = [](auto& to, auto& name, auto& with) { return to.setData(name, with); };
constexpr Call trigger = [](auto& to, auto& name, auto& with) {
    to.runAsync({static_cast<unsigned>(with[0]), static_cast<unsigned>(with[1]), name, with[2]});
    return 0;
};
constexpr Call query = [](auto& to, auto& name, auto& with) {
    featureData data;
    return to.getData(name, data, with[0]) + data.value;
};

class FeatureTest : public testing::Test {
protected:
    void SetUp() override { start("Tessary"); }
    void TearDown() override { EXPECT_EQ(device.takeLog(), Lines{}) << "no line that the test did not expect"; }
    void start(const std::string& name) {
        feature.reset();
        feature = std::make_unique<FeatureProbe>(called(name));
    }
    int call(Call operation, std::string name, const Values& values) { return operation(*feature, name, values); }

    /// Starts again on new files: "a 5 1 b 6 0 | a 1000 0 0" has two classifications and the peaks of one application,
    /// "! |" leaves the feature without its classifier database.
    void store(const std::string& state) {
        feature.reset();
        std::filesystem::remove_all(device.file());
        std::filesystem::create_directory(device.file());
        start("Tessary");
        std::istringstream words(state);
        for (std::size_t table = 0; table < 2; ++table) {
            std::string statements = "SELECT ('";
            for (std::string word; words >> word && word != "|";) {
                if (word == "!") {
                    table == 0 ? feature->appDb.reset() : feature->heavyGameDb.reset();
                } else if (char digits[9]; std::isdigit(word.back()) != 0) { // as the bytes of a little-endian integer
                    std::snprintf(digits, sizeof(digits), "%08X", __builtin_bswap32(static_cast<unsigned>(stol(word))));
                    statements += digits;
                } else {
                    statements += "'); INSERT INTO "s + tables[table] + "(appName, blob) VALUES ('" + word + "', X'";
                }
            }
            Sql(device.file(files[table])).run(statements + "')");
        }
    }
    /// What both tables hold, in the same form, by name and with a blank at the end.
    std::string stored() const {
        std::string state;
        for (std::size_t table = 0; table < 2; ++table) {
            state += table == 0 ? "" : "| ";
            const std::string select = "SELECT appName, intcol1, rsvdName, blob FROM "s + tables[table];
            for (const std::string& row : Sql(device.file(files[table])).run(select + " ORDER BY appName, rowid")) {
                std::size_t digits = row.rfind("',NULL,NULL,X'");
                state += row.substr(1, digits - 1) + " ";
                for (digits += 14; digits + 8 < row.size(); digits += 8) {
                    const unsigned long word = std::stoul(row.substr(digits, 8), nullptr, 16);
                    state += std::to_string(static_cast<int>(__builtin_bswap32(static_cast<unsigned>(word)))) + " ";
                }
            }
        }
        return state;
    }

    Device device;
    StatementTrace trace;
    std::unique_ptr<FeatureProbe> feature;
};

Lines noDatabase(const std::string& name) { return {"E Tessary: " + name + "() #: No Classifier Database Available"}; }

TEST_F(FeatureTest, EachCallHasThisOutcome) {
    const Lines weightRefused{"E Tessary: updateWeightToTessary" + noEntry};
    const Lines reportRefused{"E Tessary: updateWeightToClassifier" + noEntry};
    const std::tuple<std::string, Call, Values, int, std::string, Lines> outcomes[] = {
        {"b 1 1 |", classify, {3, 17}, 1, "a 17 0 b 1 1 |", {}},
        {"a 5 7 | a 1 2 3", classify, {255, 9}, 1, "a 9 7 | a 1 2 3", {}},
        {"a 5 7 a 6 0 b 1 1 | a 1 2 3", classify, {1, 9}, 0, "b 1 1 | a 1 2 3", {}},
        {"a 5 7 a 6 0 b 1 1 | a 1 2 3 a 4 5 6 b 1 2 3", classify, {0, 9}, 1, "b 1 1 | b 1 2 3", {}},
        {"b 1 1 |", weigh, {5}, 0, "b 1 1 |", weightRefused},
        {"a 5 7 a 6 0 |", weigh, {5}, 0, "a 5 7 a 6 0 |", weightRefused},
        {"a 5 7 | a 1 2 3", weigh, {INT_MIN}, 1, "a 5 -2147483648 | a 1 2 3", {}},
        {"b 1 1 | a 1 2 3", report, {1000, 0, 0}, 0, "b 1 1 | a 1 2 3", reportRefused},
        {"a 5 7 a 6 0 |", report, {1000, 0, 0}, 0, "a 5 7 a 6 0 |", reportRefused},
        {"a 5 7 | b 9 9 9", report, {1000, 0, 0}, 1, "a 5 1 | a 1000 0 0 b 9 9 9", {}},
        {"a 5 0 | a 100 100 100", tell, {400, 500, 300}, 0, "a 5 1 | a 400 500 300", {}},
        {"a 5 7 |", report, {0, 1899, 0}, 1, "a 5 0 | a 0 1899 0", {}},
        {"a 5 7 | a 1 2 3 a 4 5 6", report, {1000, 0, 0}, 0, "a 5 7 | a 1 2 3 a 4 5 6", {}},
        {"a 5 7 |", trigger, {4166, 7, 1}, 0, "a 5 7 |", {}},
        {"a 5 7 a 6 8 |", query, {2}, 5, "a 5 7 a 6 8 |", {}},
        {"a 5 7 |", report, {1000, 0}, 0, "a 5 7 |", {}},
        {"a 5 7 | !", classify, {0, 9}, 1, "|", {}},
        {"a 5 7 | !", weigh, {5}, 1, "a 5 5 |", {}},
        {"a 5 7 | !", report, {1}, 0, "a 5 7 |", noDatabase("updateWeightToClassifier")},
        {"a 5 7 | !", trigger, {4165, 0, 2}, 0, "a 5 2 |", {}},
        {"! | a 1 2 3", classify, {0, 9}, 0, "| a 1 2 3", noDatabase("updateToClassifierDataBase")},
        {"! | a 1 2 3", weigh, {5}, 0, "| a 1 2 3", noDatabase("updateWeightToTessary")},
        {"! | a 1 2 3", tell, {5, 6, 7}, 0, "| a 1 2 3", noDatabase("updateWeightToClassifier")},
        {"! | a 1 2 3", trigger, {4166, 0, 0}, 0, "| a 1 2 3", noDatabase("runAsync")},
        {"! | a 1 2 3", query, {0}, 0, "| a 1 2 3", {}},
    };
    for (const auto& [before, operation, values, result, after, log] : outcomes) {
        store(before);
        device.dropLog();
        EXPECT_EQ(call(operation, "a", values), result) << before;
        EXPECT_EQ(stored(), after + " ") << before;
        EXPECT_EQ(device.takeLog(), log) << before;
    }
}

TEST_F(FeatureTest, LeavesOutDatabasesThatDoNotOpen) {
    start("no/Tessary");
    EXPECT_TRUE(feature->appDb == nullptr && feature->heavyGameDb == nullptr);
    const std::string open = "E VELDB: openVeldb() #: ERROR:Db=/data/vendor/vel/no/";
    const std::string failed = "() #: Error in DB initialization - createFeatureInputDb  -1";
    EXPECT_EQ(device.takeLog(),
              (Lines{open + "Tessary.db sql open failed, err=14\n", "E Tessary: createFeatureInputDb" + failed,
                     open + "TessaryHeavyGame.db sql open failed, err=14\n", "E Tessary: createHeavyGameDb" + failed}));
    std::filesystem::create_directory(device.file("no"));
    feature->createFeatureInputDb();
    EXPECT_EQ(call(classify, "a", {1, 9}), 1) << "tried again";
}

TEST_F(FeatureTest, ReadsItsPropertiesOnce) {
    for (const std::string value : {"true", "True", "TRUE", "1", "", "false", "true "}) {
        property_set(heavyGame, value.c_str());
        property_set("vendor.debug.trace.perf", value.c_str());
        start("Tessary");
        EXPECT_EQ(feature->tracePerf, value == "true" || value == "1");
        property_set(heavyGame, "true");
        call(classify, "a", {1, 5});
        call(weigh, "a", {7});
        call(trigger, "a", {4165, 0, 250});
        EXPECT_EQ(call(query, "a", {1}), value == "true" ? 7 : 250) << value;
    }
    property_set(heavyGame, ""); // the process may go on with another test
}

TEST_F(FeatureTest, ReportsWritePeaksFirstAndRemovalsDeleteThemLast) {
    store("a 5 7 | a 1 2 3");
    for (const auto& [operation, first, second] : {std::tuple(report, "UPDATE HeavyGame", "UPDATE Tessary"),
                                                   {classify, "DELETE FROM Tessary", "DELETE FROM HeavyGame"}}) {
        trace.take();
        call(operation, "a", {0, 500, 900});
        const std::string statements = trace.take();
        EXPECT_LT(statements.find(first), statements.find(second));
        EXPECT_NE(statements.find(second), std::string::npos);
    }
}

std::string deletions;
struct Owned : FeatureOwnedObject {
    Owned(const Device& on, const char* called) : device(on), name(called) {}
    ~Owned() override {
        deletions += name + std::string(std::filesystem::exists(device.file(".db-wal")) ? " open " : "");
    }
    const Device& device;
    const char* name;
};

TEST_F(FeatureTest, WritesItsQueueAndClosesWhenDeleted) {
    start("");
    feature->ownedObjectA = new Owned(device, "A");
    feature->ownedObjectB = new Owned(device, "B");
    auto queued = feature->appDb->getRow(1);
    queued[0]->appName = "queued";
    feature->appDb->cacheRow(queued);
    std::unique_ptr<Feature>(std::move(feature)).reset();
    EXPECT_EQ(deletions, "A open B open ");
    EXPECT_FALSE(std::filesystem::exists(device.file(".db-wal"))) << "closed";
    EXPECT_EQ(Sql(device.file(".db")).table("Tessary"), Lines{"1,NULL,'queued',NULL,X'0000000000000000'"});
    EXPECT_EQ(Sql(device.file("HeavyGame.db")).table("HeavyGame"), Lines{});
}

struct Application {
    int type = 0, weight = 0;
    Values peaks;
};

class AgainstAModel : public FeatureTest {
protected:
    int pick(std::initializer_list<int> choices) { return choices.begin()[random() % choices.size()]; }

    /// Makes a random call, and does in the model what it should do.
    void play(const std::string& name) {
        const int kind = pick({4164, 4165, 0, 0}), op = pick({0, 1, 127, -128}), type = pick({0, 1, 0xFFFFFF});
        Values values{kind, op * 0x1000000 | type, pick({INT_MIN, 0, 1, 250})};
        if (kind == 0) {
            values.resize(static_cast<std::size_t>(pick({2, 3, 3, 4})));
            std::generate(values.begin(), values.end(), [this] {
                return pick({INT_MIN, -1, 0, 380, 500, 950, 1900, INT_MAX});
            });
        }
        call(kind == 0 ? tell : trigger, name, values);
        if (kind == 4164) {
            op == 0 ? void(model.erase(name)) : void(model[name].type = type);
        } else if (const auto known = model.find(name); known != model.end()) {
            if (kind == 4165 && !weightsIgnored) {
                known->second.weight = values[2];
            } else if (kind == 0 && values.size() >= 3) {
                Values& peaks = known->second.peaks;
                peaks.resize(3, INT_MIN);
                std::transform(peaks.begin(), peaks.end(), values.begin(), peaks.begin(),
                               [](int one, int other) { return std::max(one, other); });
                known->second.weight = static_cast<int>(2LL * peaks[0] + peaks[1] + 2LL * peaks[2] - 1700) > 199;
            }
        }
    }
    std::string modelled() const {
        std::ostringstream types, peaks;
        for (const auto& [name, app] : model) {
            types << name << " " << app.type << " " << app.weight << " ";
            peaks << (app.peaks.empty() ? "" : name + " ");
            std::copy(app.peaks.begin(), app.peaks.end(), std::ostream_iterator<int>(peaks, " "));
        }
        return types.str() + "| " + peaks.str();
    }

    std::mt19937 random;
    std::map<std::string, Application> model;
    bool weightsIgnored = false;
};

TEST_F(AgainstAModel, RandomCallsLeaveTheSameRowsWhateverTheNames) {
    const Lines names{"a",   "A",    "a ",           "a'",         "''", "' OR '1'='1", "a') OR ('a') = ('a",    "a'--",
                      "a\\", "%",    "\xC3\x28\xFF", "\x01\n\x7F", "\"", "?1",          std::string(5000, '\''), "",
                      "\0"s, "a\0"s, "\0a"s,         "a\0'a"s};
    for (const unsigned seed : {1U, 2U, 3U, std::random_device{}()}) {
        random.seed(seed);
        for (int count = 0; count < 400 && !HasFailure(); ++count) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", call " + std::to_string(count));
            if (count % 40 == 0) {
                weightsIgnored = random() % 2 == 0;
                property_set(heavyGame, weightsIgnored ? "true" : "false");
                start("Tessary");
            }
            const std::string& name = names[random() % names.size()];
            trace.take();
            play(name);
            const bool refused = name.empty() || name.find('\0') != std::string::npos;
            if (refused) {
                model.erase(name);
            }
            const Application expected = model.count(name) == 0 ? Application{} : model.at(name);
            EXPECT_EQ(call(query, name, {0}), expected.type);
            EXPECT_EQ(call(query, name, {1}), expected.weight);
            EXPECT_EQ(trace.take().empty(), refused) << "a row is read, unless the name is refused";
            EXPECT_EQ(stored(), modelled());
            device.dropLog();
        }
    }
}

} // namespace
