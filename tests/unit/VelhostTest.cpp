#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/support/Device.h"
#include "tests/support/Sql.h"

// velhost as its users run it: as a process, in a folder of its own.

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const std::string createTessary = "CREATE TABLE Tessary(intcol1 INTEGER, appName TEXT, rsvdName TEXT, blob BLOB);";
const std::string createHeavyGame = "CREATE TABLE HeavyGame(intcol1 INTEGER, appName TEXT, rsvdName TEXT, blob BLOB);";
const std::string classified = "INSERT INTO Tessary VALUES (NULL, 'a', NULL, X'1100000001000000');";
const std::string measured = "INSERT INTO HeavyGame VALUES (NULL, 'a', NULL, X'E80300000000000000000000');";

class Velhost : public testing::Test {
protected:
    /// Runs a shell command in the folder. "velhost" is the program, "s" a file with the script.
    int shell(const std::string& command, const std::string& script = "") {
        std::ofstream(device.file("s"), std::ios::binary) << script;
        const std::string begin = "cd '" + device.file().string() + "'; velhost() { " VELHOST " \"$@\"; }; ";
        const int status = std::system((begin + "{ :; " + command + "\n} <s >out 2>err").c_str());
        out = contentOf(device.file("out"));
        err = contentOf(device.file("err"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    /// Makes the folder's two databases anew, in the journal mode of a foreign maker.
    void makeFiles(const std::string& folder, const std::string& classifier, const std::string& peaks) const {
        fs::remove_all(device.file(folder));
        fs::create_directories(device.file(folder));
        Sql(device.file(folder + "/Tessary.db")).run(classifier);
        Sql(device.file(folder + "/TessaryHeavyGame.db")).run(peaks);
    }

    Lines namesIn(const std::string& folder) const {
        Lines names;
        for (const auto& entry : fs::directory_iterator(device.file(folder))) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    Device device;
    std::string out, err;
};

const std::string tableOfTwo = "APPLICATION  TYPE  WEIGHT  PEAK0  PEAK1  PEAK2       VERDICT\n"
                               "com.a          17       1    500    400    300  2000 >= 1900\n"
                               "com.b           5      -3      -      -      -             -\n";

TEST_F(Velhost, PlaysAScriptAndPrintsWhatIsStored) {
    const std::string script = "classify com.a 0x11 # a game\nreport com.a 500 400 300\nclassify com.b 5 255\r\n\n"
                               "weight com.b -3\nclassify com.c 1\nremove com.c\nquery com.a weight\nquery com.a\n"
                               "trigger 4164 0x01000005 com.b 0\nclassify \"\" 9";
    EXPECT_EQ(shell("velhost replay --data d s", script), 0);
    EXPECT_EQ(out, "com.a weight 1\ncom.a type 17\n\n" + tableOfTwo);
    EXPECT_EQ(err, "");
    EXPECT_EQ(shell("velhost dump d"), 0);
    EXPECT_EQ(out, tableOfTwo);
    EXPECT_EQ(err, "");
    EXPECT_EQ(namesIn("d"), (Lines{"Tessary.db", "TessaryHeavyGame.db"}));
    EXPECT_EQ(shell("velhost replay --data d --name Other --prop ro.vendor.perf.wlc.heavygame=true -",
                    "classify x 1\nweight x 9\nquery x weight\n"),
              0);
    EXPECT_EQ(out.substr(0, 11), "x weight 0\n") << "weights are ignored";
    EXPECT_TRUE(fs::exists(device.file("d/Other.db")));
}

TEST_F(Velhost, SaysWhatItDoesOnStandardError) {
    const std::string log = "[0-9.: -]+ E ANDR-PERF-VEL: Tessary: updateWeightToTessary\\(\\) \\d+: No entry found.*\n";
    const struct {
        const char* name;
        std::string options;
        std::string said; ///< as a pattern
    } cases[] = {
        {"the plug-in's log lines", "", log},
        {"nothing", "--quiet", ""},
        {"each call before its log lines", "--trace", "s:1: classify a 1 # one\n\ns:3: weight \"b\"  2\n\n" + log},
        {"each call alone", "--quiet --trace", "s:1: classify a 1 # one\n\ns:3: weight \"b\"  2\n\n"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell("velhost replay --data d " + row.options + " s", "classify a 1 # one\n\nweight \"b\"  2\n"), 0);
        const std::string pattern = std::regex_replace(row.said, std::regex("\n\n"), "\n");
        EXPECT_TRUE(std::regex_match(err, std::regex(pattern))) << row.name << "\n" << err;
    }
}

TEST_F(Velhost, RefusesAScriptWithAMistake) {
    const struct {
        std::string line;
        std::string message;
    } cases[] = {
        {"classify", "classify: expects APP TYPE [OP]"},
        {"classify a 1 2 3", "classify: expects APP TYPE [OP]"},
        {"classify a 16777216", "classify: '16777216' is not in 0..16777215"},
        {"classify a -1", "classify: '-1' is not in 0..16777215"},
        {"classify a 1 256", "classify: '256' is not in 0..255"},
        {"classify a 0x", "classify: '0x' is not a number"},
        {"classify a 1x", "classify: '1x' is not a number"},
        {"classify a \"\"", "classify: '' is not a number"},
        {"remove a b", "remove: expects APP"},
        {"weight a 2147483648", "weight: '2147483648' is not in -2147483648..2147483647"},
        {"weight a --1", "weight: '--1' is not a number"},
        {"weight a 18446744073709551616", "weight: '18446744073709551616' is not in -2147483648..2147483647"},
        {"report", "report: expects APP [M0 M1 M2 ...]"},
        {"report a 1 -", "report: '-' is not a number"},
        {"query a size", "query: 'size' is neither type nor weight"},
        {"trigger 1 4294967296 a 0", "trigger: '4294967296' is not in 0..4294967295"},
        {"Query a", "unknown command 'Query'"},
        {"query \"a", "the closing quote is missing"},
        {R"(query "a\")", "the closing quote is missing"},
        {"query \"a\"b", "no blank after the closing quote of 'a'"},
        {R"(query "a\q")", R"(unknown escape '\q')"},
        {R"(query "a\x4")", R"(\x needs two hexadecimal digits)"},
        {R"(query "a\x-1")", R"(\x needs two hexadecimal digits)"},
        {"query \"a\tb\"", "a control character in quotes must be written as an escape"},
        {"query a\\b", "'a\\\\b' must stand in quotes"},
        {"query a\x1B[2J", "'a\\x1B[2J' must stand in quotes"},
        {"query com.example.a.name.that.is.longer.than.forty.columns\"",
         "'com.example.a...ger.than.forty.columns\\\"' must stand in quotes"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell("velhost replay --data d s", "classify fine 1\n\n" + row.line + "\nclassify fine 2\n"), 2);
        EXPECT_EQ(err, "s:3: " + row.message + "\n");
        EXPECT_EQ(out, "");
        EXPECT_FALSE(fs::exists(device.file("d"))) << row.line;
    }
    EXPECT_EQ(shell("velhost replay --data d", "nope"), 2);
    EXPECT_EQ(err, "<stdin>:1: unknown command 'nope'\n");
}

TEST_F(Velhost, KeepsEveryNameApartAndHarmless) {
    const struct {
        std::string word; ///< in the script
        std::string shown;
        std::string application; ///< in JSON
        std::string bytes;       ///< in JSON; empty: null
        std::size_t columns;     ///< that `shown` takes
    } names[] = {
        // In the byte order of the names.
        {R"("\n\r\t\x01\\")", R"("\x0A\x0D\x09\x01\\")", "\n\r\t\x01\\", "", 20},
        {"\" #\"", "\" #\"", " #", "", 4},
        {"\"#\"", "\"#\"", "#", "", 3},
        {R"("A\x42C\"")", R"("ABC\"")", R"(ABC")", "", 7},
        {"e\xCC\x81", "e\xCC\x81", "e\xCC\x81", "", 1},
        {R"("\x7F")", R"("\x7F")", "\x7F", "", 6},
        {R"("\xC0\xAF")", R"("\xC0\xAF")", "\uFFFD\uFFFD", "C0AF", 10},
        {"\xC2\x9B", R"("\xC2\x9B")", "\xC2\x9B", "", 10},
        {"\xC3\xA9t\xC3\xA9", "\xC3\xA9t\xC3\xA9", "\xC3\xA9t\xC3\xA9", "", 3},
        {"\xE2\x80\x8Btxt", R"("\xE2\x80\x8Btxt")", "\xE2\x80\x8Btxt", "", 17},
        {"\xE6\x97\xA5\xE6\x9C\xAC", "\xE6\x97\xA5\xE6\x9C\xAC", "\xE6\x97\xA5\xE6\x9C\xAC", "", 4},
        {R"("\xED\xA0\x80")", R"("\xED\xA0\x80")", "\uFFFD\uFFFD\uFFFD", "EDA080", 14},
        {"\xF0\x9F\x8E\xAE", "\xF0\x9F\x8E\xAE", "\xF0\x9F\x8E\xAE", "", 2},
        {R"("\xF5")", R"("\xF5")", "\uFFFD", "F5", 6},
        {R"("\xFF")", R"("\xFF")", "\uFFFD", "FF", 6},
    };
    std::string script, table = "APPLICATION           TYPE  WEIGHT  PEAK0  PEAK1  PEAK2  VERDICT\n";
    for (const auto& row : names) {
        script += "classify " + row.word + " 1\n";
        table += row.shown + std::string(20 - row.columns, ' ') + "     1       0      -      -      -        -\n";
    }
    EXPECT_EQ(shell("velhost replay --data d s", script), 0) << err;
    EXPECT_EQ(out, table);
    EXPECT_EQ(shell("velhost dump --format json d"), 0);
    const auto applications = nlohmann::json::parse(out).at("applications");
    ASSERT_EQ(applications.size(), std::size(names));
    for (std::size_t i = 0; i < std::size(names); ++i) {
        EXPECT_EQ(applications[i].at("application"), names[i].application);
        EXPECT_EQ(applications[i].at("bytes"),
                  names[i].bytes.empty() ? nlohmann::json() : nlohmann::json(names[i].bytes));
    }
}

TEST_F(Velhost, PrintsJsonWithEveryField) {
    EXPECT_EQ(shell("velhost replay --format json --data d", "classify a 1\nclassify b 2\nreport b 500 400 300\n"
                                                             "query b\nquery b weight\n"),
              0);
    const auto answered = nlohmann::json::parse(R"([
        {"line": 4, "application": "b", "bytes": null, "field": "type", "value": 2},
        {"line": 5, "application": "b", "bytes": null, "field": "weight", "value": 1}])");
    const auto stored = nlohmann::json::parse(R"([
        {"application": "a", "bytes": null, "type": 1, "weight": 0, "peaks": null, "sum": null, "wrapped": null,
         "threshold": null, "heavyGame": null},
        {"application": "b", "bytes": null, "type": 2, "weight": 1, "peaks": [500, 400, 300], "sum": 2000,
         "wrapped": false, "threshold": 1900, "heavyGame": true}])");
    EXPECT_EQ(nlohmann::json::parse(out), nlohmann::json({{"answers", answered}, {"applications", stored}}));
    EXPECT_EQ(shell("velhost dump --format json d"), 0);
    EXPECT_EQ(nlohmann::json::parse(out), nlohmann::json({{"applications", stored}}));
    makeFiles("d", createTessary, createHeavyGame);
    EXPECT_EQ(shell("velhost dump --format json d"), 0);
    EXPECT_EQ(out, "{\"applications\": []}\n");
}

TEST_F(Velhost, ShowsTheVerdictAsTheFeatureComputesIt) {
    const struct {
        const char* peaks;
        const char* verdict;
    } cases[] = {
        {"0 1899 0", " 1899 < 1900\n"},
        {"0 1900 0", " 1900 >= 1900\n"},
        {"-1 -1 -1", " -5 < 1900\n"},
        {"1073741824 0 0", " wrapped -2147483648 >= 1900\n"}, // the sum wraps, and then the difference
        {"0 -2147483648 0", " wrapped -2147483648 >= 1900\n"},
        {"0 -2147481948 0", " -2147481948 < 1900\n"},
        {"0 2147483647 0", " 2147483647 >= 1900\n"},
        {"1073741824 0 1073741824", " wrapped 0 < 1900\n"},
    };
    for (const auto& row : cases) {
        fs::remove_all(device.file("d"));
        shell("velhost replay --data d s", "classify a 1\nreport a "s + row.peaks + "\n");
        EXPECT_NE(out.find(row.verdict), std::string::npos) << row.peaks << "\n" << out;
        shell("velhost dump --format json d");
        const auto application = nlohmann::json::parse(out).at("applications").at(0);
        EXPECT_EQ(application.at("weight"), application.at("heavyGame") ? 1 : 0) << "stored and computed " << row.peaks;
        EXPECT_EQ(application.at("wrapped"), std::string(row.verdict).find("wrapped") != std::string::npos);
    }
}

TEST_F(Velhost, NotesWhatIsWrongAndShowsEveryRow) {
    const struct {
        std::string note;
        std::string classifier; ///< statements, besides a sound application "a"
        std::string peaks;
        int rows;
    } cases[] = {
        {"", "", "", 1},
        {"d/Tessary.db: a has 2 rows", classified, "", 2},
        {"d/TessaryHeavyGame.db: a has 3 rows", "", measured + measured, 3},
        {"d/TessaryHeavyGame.db: b has peaks but no classification", "",
         "INSERT INTO HeavyGame SELECT NULL, 'b', NULL, blob FROM HeavyGame", 2},
        {"d/Tessary.db: the record of b has 7 bytes instead of 8",
         "INSERT INTO Tessary VALUES (NULL, 'b', NULL, zeroblob(7))", "", 2},
        {"d/Tessary.db: the record of b has 0 bytes instead of 8", "INSERT INTO Tessary VALUES (NULL, 'b', NULL, NULL)",
         "", 2},
        {"d/TessaryHeavyGame.db: the record of a has 13 bytes instead of 12", "",
         "UPDATE HeavyGame SET blob = zeroblob(13)", 1},
        {"d/Tessary.db: a row has an empty name", "INSERT INTO Tessary VALUES (NULL, NULL, NULL, zeroblob(8))", "", 2},
        {R"(d/Tessary.db: the name "b\x00" holds a NUL byte)",
         "INSERT INTO Tessary VALUES (NULL, CAST(X'6200' AS TEXT), NULL, zeroblob(8))", "", 2},
        {R"(d/Tessary.db: the name "\x1B[2J" is not text)",
         "INSERT INTO Tessary VALUES (NULL, X'1B5B324A', NULL, zeroblob(8))", "", 2},
        {"d/Tessary.db: damaged: NULL value in Tessary.rsvdName (and 1 more)",
         "INSERT INTO Tessary VALUES (NULL, 'b', NULL, zeroblob(8)); PRAGMA writable_schema = ON; UPDATE sqlite_master "
         "SET sql = replace(sql, 'rsvdName TEXT', 'rsvdName TEXT NOT NULL')",
         "", 2},
    };
    for (const auto& row : cases) {
        makeFiles("d", createTessary + classified + row.classifier, createHeavyGame + measured + row.peaks);
        EXPECT_EQ(shell("velhost dump d"), row.note.empty() ? 0 : 3) << row.note;
        EXPECT_EQ(err, row.note.empty() ? "" : "velhost: note: " + row.note + "\n");
        EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1 + row.rows) << out;
    }
    makeFiles("d", createTessary + classified, "");
    fs::remove(device.file("d/TessaryHeavyGame.db"));
    EXPECT_EQ(shell("velhost dump d"), 3);
    EXPECT_EQ(err, "velhost: note: d/TessaryHeavyGame.db is missing, so no peaks are shown\n");
}

TEST_F(Velhost, ShowsWhatItCanReadAndFails) {
    const std::string manyRows = "INSERT INTO Tessary WITH RECURSIVE n(i) AS (VALUES (0) UNION ALL SELECT i + 1 FROM n "
                                 "WHERE i < 300) SELECT NULL, 'b' || i, NULL, zeroblob(8) FROM n";
    const struct {
        std::string why;
        std::string statements;
        bool isDamaged; ///< the last page is overwritten
    } cases[] = {
        {"string or blob too big", "INSERT INTO Tessary VALUES (NULL, 'b', NULL, zeroblob(1100000))", false},
        {"database disk image is malformed", manyRows, true},
    };
    for (const auto& row : cases) {
        makeFiles("d", createTessary + classified + row.statements, createHeavyGame);
        if (row.isDamaged) {
            std::fstream file(device.file("d/Tessary.db"), std::ios::in | std::ios::out | std::ios::binary);
            file.seekp(-4096, std::ios::end) << std::string(4096, 'x');
        }
        EXPECT_EQ(shell("velhost dump d"), 1) << row.why;
        EXPECT_TRUE(std::regex_search(
            err, std::regex("velhost: d/Tessary.db: reading stopped after [1-9]\\d* rows: " + row.why + "\n$")))
            << err;
        EXPECT_NE(out.find("\na "), std::string::npos) << out;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), row.isDamaged ? 2 : 1) << err;
        EXPECT_EQ(err.rfind("velhost: note: d/Tessary.db: damaged: ", 0) == 0, row.isDamaged) << err;
    }
}

TEST_F(Velhost, RefusesWhatItCannotReadOrPlay) {
    const std::string play = "velhost replay --data d s";
    const struct {
        const char* name;
        std::string setUp; ///< in the shell
        std::string command;
        std::string message;
    } cases[] = {
        {"no such folder", "", "velhost dump none", "none/Tessary.db: no such file"},
        {"a folder too high", "mkdir -p p/vel q; cp -r d p/vel", "velhost dump p/vel",
         "p/vel/Tessary.db: no such file; there is one in p/vel/d"},
        {"an empty file", ": >d/Tessary.db", "velhost dump d", "d/Tessary.db: no such table: Tessary"},
        {"garbage", "seq 9999 >d/Tessary.db", "velhost dump d", "d/Tessary.db: file is not a database"},
        {"garbage in place of the peaks", "seq 9999 >d/TessaryHeavyGame.db", "velhost dump d",
         "d/TessaryHeavyGame.db: file is not a database"},
        {"a folder in place of the file", "rm d/Tessary.db; mkdir d/Tessary.db", "velhost dump d",
         "d/Tessary.db: Is a directory"},
        {"a pipe in place of the log", "mkfifo d/Tessary.db-wal", "velhost dump d", "d/Tessary.db: "},
        {"a journal", "echo j >d/Tessary.db-journal", "velhost dump d",
         "d/Tessary.db: its -journal is not empty, so it was left in mid-change. Start and stop the device's host, "
         "then pull the files again"},
        {"a journal of the peaks", "echo j >d/TessaryHeavyGame.db-journal", play,
         "d/TessaryHeavyGame.db: its -journal is not"},
        {"a path too long", "", "velhost replay --data /$(printf %0600d) s", "/000"},
        {"a name too long", "", "velhost dump --name $(printf %0250d) d", "/"},
        {"a name that leads elsewhere", "", "velhost dump --name ../d d", "the name '../d' must not hold a '/'"},
        {"a path that steers the terminal", "", "velhost dump $(printf '\\033[2J')",
         "\\x1B[2J/Tessary.db: no such file"},
        {"no script", "", "velhost replay --data d none", "none: No such file or directory"},
        {"a folder as the script", "", "velhost replay --data d d", "d: Is a directory"},
        {"no plug-in", "", "velhost replay --data n --plugin none.so s", "the plug-in cannot be loaded: "},
        {"an empty plug-in", "", "velhost replay --data n --plugin '' s", "the plug-in cannot be loaded: "},
        {"a library that registers nothing", "", "velhost replay --data n --plugin " LIBLOG " s",
         LIBLOG ": registers no feature named 'Tessary'"},
        {"a file as the data folder", "", "velhost replay --data s s", "s: the data directory is not writable: "},
        {"a property without a value", "", play + " --prop x", "--prop: 'x' is not KEY=VALUE"},
        {"a property without a key", "", play + " --prop =x", "--prop: '=x' is not KEY=VALUE"},
        {"a property too long", "", play + " --prop x=$(printf %092d)", "--prop: the value in 'x=00000000000"},
        {"an unknown option", "", play + " --bogus",
         "The following argument was not expected: --bogus (velhost --help"},
        {"an unknown form", "", play + " --format xml", "--format: xml not in {text,json} (velhost --help"},
        {"an unknown command", "", "velhost bogus", "The following argument was not expected: bogus (velhost --help"},
        {"no command", "", "velhost", "expects replay or dump (velhost --help"},
    };
    for (const auto& row : cases) {
        makeFiles("d", createTessary + classified, createHeavyGame + measured);
        ASSERT_EQ(shell(row.setUp), 0) << row.name;
        EXPECT_EQ(shell(row.command, "classify a 1\n"), 2) << row.name;
        EXPECT_EQ(out, "") << row.name;
        EXPECT_EQ(err.rfind("velhost: " + row.message, 0), 0U) << row.name << "\n" << err;
        EXPECT_EQ(err.find('\n'), err.size() - 1) << row.name << "\n" << err;
        EXPECT_FALSE(fs::exists(device.file("n"))) << row.name;
    }
}

TEST_F(Velhost, ReadsNothingButOrdinaryTables) {
    const struct {
        const char* name;
        std::string statements;
        std::string message;
    } cases[] = {
        {"another table", "CREATE TABLE Other(appName, blob)", "no such table: Tessary"},
        {"other columns", "CREATE TABLE Tessary(name, blob)", "no such column: appName"},
        {"a view", "CREATE VIEW Tessary AS SELECT 'a' AS appName, zeroblob(8) AS blob",
         "access to view \"Tessary\" prohibited"},
        {"a virtual table", "CREATE VIRTUAL TABLE Tessary USING fts5(appName, blob)", "no such module: fts5"},
        {"a computed column",
         "CREATE TABLE Tessary(intcol1, blob, appName AS (hex(zeroblob(100000000)))); INSERT INTO Tessary VALUES (1, "
         "2)",
         "a column of Tessary is computed"},
        {"a schema whose names steer the terminal",
         "CREATE TABLE \"\x1B[2J\nvelhost: ok\"(x); PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = "
         "'CREATE "
         "TABLE'",
         "malformed database schema (\\x1B[2J\\x0Avelhost: ok) - incomplete input"},
    };
    for (const auto& row : cases) {
        makeFiles("d", row.statements, createHeavyGame);
        EXPECT_EQ(shell("velhost dump d"), 2) << row.name;
        EXPECT_EQ(out + err, "velhost: d/Tessary.db: " + row.message + "\n") << row.name;
    }
}

TEST_F(Velhost, DumpsWithoutTouchingAnything) {
    makeFiles("phone", "PRAGMA journal_mode = WAL;" + createTessary + classified, createHeavyGame + measured);
    Sql phone(device.file("phone/Tessary.db"));
    phone.run("INSERT INTO Tessary VALUES (NULL, 'logged', NULL, zeroblob(8))");
    const Lines pulled{"Tessary.db", "Tessary.db-wal", "TessaryHeavyGame.db"};
    ASSERT_EQ(shell("cp -r phone before; rm before/*-shm; touch before/Tessary.db-journal; cp -r before d"), 0);
    EXPECT_EQ(shell("export TMPDIR=/nonexistent; velhost dump d"), 0) << err;
    EXPECT_NE(out.find("\nlogged "), std::string::npos) << out;
    EXPECT_EQ(shell("diff -r before d"), 0) << out;
    ASSERT_EQ(shell("rm d/*-wal"), 0);
    EXPECT_EQ(shell("velhost dump --data d"), 0) << err;
    EXPECT_EQ(out.find("logged"), std::string::npos) << "only the log held it";
    EXPECT_EQ(namesIn("d"), (Lines{"Tessary.db", "Tessary.db-journal", "TessaryHeavyGame.db"}));
}

TEST_F(Velhost, EndsAsTheShellExpectsWhateverBecomesOfItsStreams) {
    makeFiles("d",
              createTessary + "INSERT INTO Tessary WITH RECURSIVE n(i) AS (VALUES (0) UNION ALL SELECT i + 1 "
                              "FROM n WHERE i < 4000) SELECT NULL, i || 'x', NULL, zeroblob(8) FROM n",
              createHeavyGame);
    const std::string lost = "velhost: the output could not be written: ";
    const struct {
        const char* name;
        const char* command;
        int status;
        std::string said;
    } cases[] = {
        {"a reader that has enough", "(velhost dump d; echo $? >status) | head -n 1 >first; exit $(cat status)", 141,
         ""},
        {"the same, where the parent ignores the signal",
         "trap '' PIPE; (velhost dump d; echo $? >status) | head -n 1 >first; exit $(cat status)", 141, ""},
        {"a full disk", "velhost dump d >/dev/full", 1, lost + "No space left on device\n"},
        {"a full disk at the end", "velhost --version >/dev/full", 1, lost + "No space left on device\n"},
        {"no standard output", "velhost dump d >&-", 1, lost + "Bad file descriptor\n"},
        {"no streams at all", "velhost dump d <&- >&- 2>&-", 1, ""},
        {"no script", "velhost replay --data d <&-", 2, "velhost: <stdin>: Bad file descriptor\n"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell(row.command), row.status) << row.name;
        EXPECT_EQ(err, row.said) << row.name;
    }
    EXPECT_EQ(shell("velhost dump d"), 0) << "the files are whole: " << err;
}

TEST_F(Velhost, FitsTheTerminal) {
    const std::string name = "com.example.\xE6\x97\xA5\xE6\x9C\xAC" + std::string(40, 'e') + ".game";
    ASSERT_EQ(shell("velhost replay --data d s", "classify " + name + " 1\n"), 0);
    EXPECT_NE(out.find("\n" + name + "     1"), std::string::npos) << "no terminal: " << out;
    const struct {
        const char* set;
        std::string shown;
    } cases[] = {
        {"stty cols 200", name},
        {"stty cols 86", "com.example...." + std::string(21, 'e') + ".game "}, // half of a character is left out
        {"stty cols 89", "com.example.\xE6\x97\xA5..." + std::string(23, 'e') + ".game"},
        {"stty cols 20", "com.exa...eeeeeeeee.game"},
        {"stty cols 200; export COLUMNS=60", "com.exa...eeeeeeeee.game"},
        {"stty cols 0", "com.example..." + std::string(17, 'e') + ".game"}, // as if 80,
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell("script -qec \""s + row.set + "; " VELHOST " dump d\" /dev/null"), 0);
        EXPECT_NE(out.find("\n" + row.shown + "     1"), std::string::npos) << row.set << "\n" << out;
    }
}

TEST_F(Velhost, HelpFitsEightyColumns) {
    for (const std::string command : {"", "dump", "replay"}) {
        EXPECT_EQ(shell("velhost " + command + " --help"), 0);
        EXPECT_GT(out.size(), 500U);
        EXPECT_FALSE(std::regex_search(out, std::regex("[^\n]{81}"))) << out;
    }
}

TEST_F(Velhost, KeepsForeignBytesOutOfTheLog) {
    makeFiles("d", createTessary + "CREATE TRIGGER t BEFORE INSERT ON Tessary BEGIN DELETE FROM \"\x1B[2J\n\xFF\"; END",
              createHeavyGame);
    EXPECT_EQ(shell("velhost replay --data d", "classify a 1\n"), 0);
    EXPECT_NE(err.find("info=no such table: main.\\x1B[2J\\x0A\\xFF\n"), std::string::npos) << err;
}

TEST_F(Velhost, RunsInstalledWhereverItsFolderIs) {
    if (EMULATED) {
        GTEST_SKIP() << "the emulator would have to be told where the device's libraries are";
    }
    ASSERT_EQ(shell("'" CMAKE "' --install '" BUILD "' --prefix \"$PWD/prefix\" && mv prefix moved"), 0) << err;
    EXPECT_EQ(shell("moved/bin/velhost replay", "classify a 1\n"), 0) << err;
    EXPECT_EQ(shell("LD_DEBUG=libs moved/bin/velhost dump"), 0);
    EXPECT_EQ(out, "APPLICATION  TYPE  WEIGHT  PEAK0  PEAK1  PEAK2  VERDICT\na               1       0      -      -   "
                   "   -        -\n");
    EXPECT_TRUE(std::regex_search(err, std::regex("velhost: reads .*/moved/data\n"))) << err;
    for (const std::string library : {"vel", "log", "cutils", "ozr-perfd-client"}) {
        EXPECT_NE(err.find("moved/bin/../lib/lib" + library + ".so"), std::string::npos) << library;
    }
    EXPECT_EQ(namesIn("moved/data"), (Lines{"Tessary.db", "TessaryHeavyGame.db"}));
}

} // namespace
