#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include "tests/support/Device.h"
#include "tests/support/Sql.h"

// velhost as its users run it: as a process, in a folder of its own.

namespace {

namespace fs = std::filesystem;

const std::string columns = "(intcol1 INTEGER, appName TEXT, rsvdName TEXT, blob BLOB);";
const std::string createTessary = "CREATE TABLE Tessary" + columns;

/// The statement that stores a row; name and record as SQL writes them.
std::string insert(const std::string& table, const std::string& name, const std::string& record) {
    return "INSERT INTO " + table + " VALUES (NULL, " + name + ", NULL, " + record + ");";
}
const std::string classified = insert("Tessary", "'a'", "X'1100000001000000'");
const std::string measured = insert("HeavyGame", "'a'", "X'E80300000000000000000000'");
const std::string thousands = "INSERT INTO Tessary WITH RECURSIVE n(i) AS (VALUES (0) UNION ALL SELECT i + 1 FROM n "
                              "WHERE i < 4000) SELECT NULL, 'b' || i, NULL, zeroblob(8) FROM n;";

struct Case {
    std::string given, expected;
};

struct NamedCase {
    std::string name, given, expected;
};

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

    /// Expects the command to do nothing but say why, in one line that begins as expected.
    void expectRefusal(const NamedCase& refusal) {
        EXPECT_EQ(shell(refusal.given, "classify a 1\n"), 2) << refusal.name;
        EXPECT_EQ(out, "") << refusal.name;
        EXPECT_EQ(err.rfind("velhost: " + refusal.expected, 0), 0U) << refusal.name << "\n" << err;
        EXPECT_EQ(err.find('\n'), err.size() - 1) << refusal.name << "\n" << err;
    }

    /// Makes the two databases of the folder "d" anew, in the journal mode of a foreign maker. The statements see both;
    /// HeavyGame is there, Tessary is theirs to create.
    void makeFiles(const std::string& statements) const {
        fs::remove_all(device.file("d"));
        fs::create_directories(device.file("d"));
        Sql files(device.file("d/Tessary.db"));
        files.run("ATTACH '" + device.file("d/TessaryHeavyGame.db").string() + "' AS peaks");
        files.run("CREATE TABLE peaks.HeavyGame" + columns + statements);
    }

    nlohmann::json applicationsAsJson() {
        EXPECT_EQ(shell("velhost dump --format json d"), 0) << err;
        return nlohmann::json::parse(out).at("applications");
    }

    Device device;
    std::string out, err;
};

TEST_F(Velhost, PlaysAScriptAndPrintsWhatIsStored) {
    const std::string script = "classify com.a 0x11 # a game\nreport com.a 500 400 300\nclassify com.b 5 255\r\n\n"
                               "weight com.b -3\nclassify com.c 1\nremove com.c\nquery com.a weight\nquery com.a\n"
                               "trigger 4164 0x01000005 com.b 0\nclassify \"\" 9";
    const std::string table = "APPLICATION  TYPE  WEIGHT  PEAK0  PEAK1  PEAK2       VERDICT\n"
                              "com.a          17       1    500    400    300  2000 >= 1900\n"
                              "com.b           5      -3      -      -      -             -\n";
    EXPECT_EQ(shell("velhost replay --data d s", script), 0);
    EXPECT_EQ(out + err, "com.a weight 1\ncom.a type 17\n\n" + table);
    EXPECT_EQ(shell("velhost dump d"), 0);
    EXPECT_EQ(out + err, table);
    EXPECT_EQ(shell("ls d"), 0);
    EXPECT_EQ(out, "Tessary.db\nTessaryHeavyGame.db\n");
    const std::string options = "--name Other --prop ro.vendor.perf.wlc.heavygame=true";
    EXPECT_EQ(shell("velhost replay --data d " + options + " -", "classify x 1\nweight x 9\nquery x weight\n"), 0);
    EXPECT_EQ(out.substr(0, 11), "x weight 0\n") << "weights are ignored";
    EXPECT_TRUE(fs::exists(device.file("d/Other.db")));
}

TEST_F(Velhost, SaysWhatItDoesOnStandardError) {
    const std::string calls = "s:1: classify a 1 # one\ns:3: weight \"b\"  2\n";
    const std::string log = "[0-9.: -]+ E ANDR-PERF-VEL: Tessary: updateWeightToTessary\\(\\) \\d+: No entry found.*\n";
    const Case cases[] = {{"", log}, {"--quiet", ""}, {"--trace", calls + log}, {"--quiet --trace", calls}};
    for (const auto& row : cases) {
        EXPECT_EQ(shell("velhost replay --data d " + row.given + " s", "classify a 1 # one\n\nweight \"b\"  2\n"), 0);
        EXPECT_TRUE(std::regex_match(err, std::regex(row.expected))) << row.given << "\n" << err;
    }
}

TEST_F(Velhost, RefusesAScriptWithAMistake) {
    const Case cases[] = {
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
        {"query a size", "query: 'size' is neither type nor weight"},
        {"trigger 1 4294967296 a 0", "trigger: '4294967296' is not in 0..4294967295"},
        {"Query a", "unknown command 'Query'"},
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
        EXPECT_EQ(shell("velhost replay --data d s", "classify fine 1\n\n" + row.given + "\nclassify fine 2\n"), 2);
        EXPECT_EQ(out + err, "s:3: " + row.expected + "\n");
        EXPECT_FALSE(fs::exists(device.file("d"))) << row.given;
    }
    EXPECT_EQ(shell("velhost replay --data d", "nope"), 2);
    EXPECT_EQ(err, "<stdin>:1: unknown command 'nope'\n");
}

TEST_F(Velhost, KeepsEveryNameApartAndHarmless) {
    const struct {
        std::string word, shown;        ///< in the script and in the table
        std::string application, bytes; ///< in JSON; no bytes: null
        std::size_t columns;            ///< that `shown` takes
    } names[] = {
        {R"("\n\r\t\x01\\")", R"("\x0A\x0D\x09\x01\\")", "\n\r\t\x01\\", "", 20},
        {"\" #\"", "\" #\"", " #", "", 4},
        {"\"#\"", "\"#\"", "#", "", 3},
        {R"("A\x42C\"")", R"("ABC\"")", R"(ABC")", "", 7},
        {"e\xCC\x81", "e\xCC\x81", "e\xCC\x81", "", 1},
        {R"("\xC0\xAF")", R"("\xC0\xAF")", "\uFFFD\uFFFD", "C0AF", 10},
        {"\xC2\x9B", R"("\xC2\x9B")", "\xC2\x9B", "", 10},
        {"\xE2\x80\x8Btxt", R"("\xE2\x80\x8Btxt")", "\xE2\x80\x8Btxt", "", 17},
        {"\xE6\x97\xA5\xE6\x9C\xAC", "\xE6\x97\xA5\xE6\x9C\xAC", "\xE6\x97\xA5\xE6\x9C\xAC", "", 4},
        {R"("\xED\xA0\x80")", R"("\xED\xA0\x80")", "\uFFFD\uFFFD\uFFFD", "EDA080", 14},
        {"\xF0\x9F\x8E\xAE", "\xF0\x9F\x8E\xAE", "\xF0\x9F\x8E\xAE", "", 2},
        {R"("\xF5")", R"("\xF5")", "\uFFFD", "F5", 6},
    };
    std::string script, table = "APPLICATION           TYPE  WEIGHT  PEAK0  PEAK1  PEAK2  VERDICT\n";
    for (const auto& row : names) {
        script += "classify " + row.word + " 1\n";
        table += row.shown + std::string(20 - row.columns, ' ') + "     1       0      -      -      -        -\n";
    }
    EXPECT_EQ(shell("velhost replay --data d s", script), 0) << err;
    EXPECT_EQ(out, table);
    const auto applications = applicationsAsJson();
    ASSERT_EQ(applications.size(), std::size(names));
    for (std::size_t i = 0; i < std::size(names); ++i) {
        EXPECT_EQ(applications[i]["application"], names[i].application);
        EXPECT_EQ(applications[i]["bytes"], names[i].bytes.empty() ? nlohmann::json() : nlohmann::json(names[i].bytes));
    }
}

TEST_F(Velhost, PrintsJsonWithEveryField) {
    const std::string script = "classify a 1\nclassify b 2\nreport b 500 400 300\nquery b\nquery b weight\n";
    EXPECT_EQ(shell("velhost replay --format json --data d", script), 0);
    const auto expected = nlohmann::json::parse(R"({"answers": [
        {"line": 4, "application": "b", "bytes": null, "field": "type", "value": 2},
        {"line": 5, "application": "b", "bytes": null, "field": "weight", "value": 1}], "applications": [
        {"application": "a", "bytes": null, "type": 1, "weight": 0, "peaks": null, "sum": null, "wrapped": null,
         "threshold": null, "heavyGame": null},
        {"application": "b", "bytes": null, "type": 2, "weight": 1, "peaks": [500, 400, 300], "sum": 2000,
         "wrapped": false, "threshold": 1900, "heavyGame": true}]})");
    EXPECT_EQ(nlohmann::json::parse(out), expected);
    EXPECT_EQ(applicationsAsJson(), expected["applications"]);
    makeFiles(createTessary);
    EXPECT_EQ(shell("velhost dump --format json d"), 0);
    EXPECT_EQ(out, "{\"applications\": []}\n");
}

TEST_F(Velhost, ShowsTheVerdictAsTheFeatureComputesIt) {
    const Case cases[] = {
        {"0 1899 0", " 1899 < 1900\n"},
        {"0 1900 0", " 1900 >= 1900\n"},
        {"1073741824 0 0", " wrapped -2147483648 >= 1900\n"}, // the sum wraps, and then the difference
        {"0 -2147483648 0", " wrapped -2147483648 >= 1900\n"},
        {"0 -2147481948 0", " -2147481948 < 1900\n"},
        {"0 2147483647 0", " 2147483647 >= 1900\n"},
        {"1073741824 0 1073741824", " wrapped 0 < 1900\n"},
    };
    for (const auto& row : cases) {
        fs::remove_all(device.file("d"));
        shell("velhost replay --data d s", "classify a 1\nreport a " + row.given + "\n");
        EXPECT_NE(out.find(row.expected), std::string::npos) << row.given << "\n" << out;
        const auto application = applicationsAsJson().at(0);
        EXPECT_EQ(application["weight"], application["heavyGame"] ? 1 : 0) << "stored and computed " << row.given;
        EXPECT_EQ(application["wrapped"], row.expected.find("wrapped") != std::string::npos);
    }
}

TEST_F(Velhost, NotesWhatIsWrongAndShowsEveryRow) {
    const std::string notNull = "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = "
                                "replace(sql, 'rsvdName TEXT', 'rsvdName TEXT NOT NULL')";
    const std::string record = "zeroblob(8)", another = insert("Tessary", "'b'", record);
    const struct {
        std::string note, statements; // besides those for a sound application "a"
        int rows;
    } cases[] = {
        {"Tessary.db: a has 2 rows", classified, 2},
        {"TessaryHeavyGame.db: a has 3 rows", measured + measured, 3},
        {"TessaryHeavyGame.db: b has peaks but no classification", insert("HeavyGame", "'b'", "zeroblob(12)"), 2},
        {"Tessary.db: the record of b has 7 bytes instead of 8", insert("Tessary", "'b'", "zeroblob(7)"), 2},
        {"Tessary.db: the record of b has 0 bytes instead of 8", insert("Tessary", "'b'", "NULL"), 2},
        {"TessaryHeavyGame.db: the record of a has 13 bytes instead of 12", "UPDATE HeavyGame SET blob = zeroblob(13)",
         1},
        {"Tessary.db: a row has an empty name", insert("Tessary", "NULL", record), 2},
        {R"(Tessary.db: the name "b\x00" holds a NUL byte)", insert("Tessary", "CAST(X'6200' AS TEXT)", record), 2},
        {R"(Tessary.db: the name "\x1B[2J" is not text)", insert("Tessary", "X'1B5B324A'", record), 2},
        {"Tessary.db: damaged: NULL value in Tessary.rsvdName (and 1 more)", another + notNull, 2},
    };
    for (const auto& row : cases) {
        makeFiles(createTessary + classified + measured + row.statements);
        EXPECT_EQ(shell("velhost dump d"), 3) << row.note;
        EXPECT_EQ(err, "velhost: note: d/" + row.note + "\n");
        EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1 + row.rows) << out;
    }
    makeFiles(createTessary);
    EXPECT_EQ(shell("rm d/TessaryHeavyGame.db; velhost dump d"), 3);
    EXPECT_EQ(err, "velhost: note: d/TessaryHeavyGame.db is missing, so no peaks are shown\n");
}

TEST_F(Velhost, ShowsWhatItCanReadAndFails) {
    const std::string stopped = "velhost: d/Tessary.db: reading stopped after [1-9]\\d* rows: ";
    makeFiles(createTessary + classified + insert("Tessary", "'b'", "zeroblob(1100000)"));
    EXPECT_EQ(shell("velhost dump d"), 1);
    EXPECT_TRUE(std::regex_match(err, std::regex(stopped + sqlite3_errstr(SQLITE_TOOBIG) + "\n"))) << err;
    EXPECT_NE(out.find("\na "), std::string::npos) << out;
    makeFiles(createTessary + classified + thousands);
    EXPECT_EQ(shell("truncate -s -4096 d/Tessary.db; seq 2000 | head -c 4096 >>d/Tessary.db; velhost dump d"), 1);
    const std::string damaged = "velhost: note: d/Tessary.db: damaged: .*\n" + stopped;
    EXPECT_TRUE(std::regex_match(err, std::regex(damaged + sqlite3_errstr(SQLITE_CORRUPT) + "\n"))) << err;
    EXPECT_NE(out.find("\na "), std::string::npos) << out;
}

TEST_F(Velhost, ReplayThatCannotShowItsFilesHasFailed) {
    EXPECT_EQ(shell("mkdir d; seq 9999 >d/Tessary.db; velhost replay --quiet --data d", "classify a 1\n"), 1);
    EXPECT_NE(err.find(std::string("d/Tessary.db: ") + sqlite3_errstr(SQLITE_NOTADB)), std::string::npos) << err;
}

TEST_F(Velhost, RefusesWhatItCannotReadOrPlay) {
    const std::string notADatabase = sqlite3_errstr(SQLITE_NOTADB);
    const std::string more = " (velhost --help";
    const std::string play = "velhost replay --data n ";
    const NamedCase cases[] = {
        {"no such folder", "velhost dump none", "none/Tessary.db: no such file"},
        {"a folder too high", "mkdir p; cp -r d p; velhost dump p", "p/Tessary.db: no such file; there is one in p/d"},
        {"an empty file", ": >d/Tessary.db; velhost dump d", "d/Tessary.db: no such table: Tessary"},
        {"garbage", "seq 9999 >d/Tessary.db; velhost dump d", "d/Tessary.db: " + notADatabase},
        {"garbage as peaks", "seq 9999 >d/TessaryHeavyGame.db; velhost dump d",
         "d/TessaryHeavyGame.db: " + notADatabase},
        {"a folder as the file", "rm d/*y.db; mkdir d/Tessary.db; velhost dump d", "d/Tessary.db: Is a directory"},
        {"a pipe as the log", "mkfifo d/Tessary.db-wal; velhost dump d", "d/Tessary.db: "},
        {"a journal", "echo j >d/Tessary.db-journal; velhost dump d",
         "d/Tessary.db: its -journal is not empty, so it was left in mid-change. Start and stop the device's host"},
        {"a journal of the peaks", "echo j >d/TessaryHeavyGame.db-journal; velhost replay --data d s",
         "d/TessaryHeavyGame.db: its"},
        {"a path too long", "velhost replay --data /$(printf %0600d) s", "/000"},
        {"a name too long", "velhost dump --name $(printf %0250d) d", "/"},
        {"a name that leads elsewhere", "velhost dump --name ../d d", "the name '../d' must not hold a '/'"},
        {"a path that steers the terminal", "velhost dump $(printf '\\033[2J')", "\\x1B[2J/Tessary.db: no such file"},
        {"no script", play + "none", "none: No such file or directory"},
        {"a folder as the script", play + "d", "d: Is a directory"},
        {"no plug-in", play + "--plugin none.so s", "the plug-in cannot be loaded: "},
        {"an empty plug-in", play + "--plugin '' s", "the plug-in cannot be loaded: "},
        {"another library", play + "--plugin " LIBLOG " s", LIBLOG ": registers no feature named 'Tessary'"},
        {"a file as the data folder", "velhost replay --data s s", "s: the data directory is not writable: "},
        {"a property without a value", play + "--prop x s", "--prop: 'x' is not KEY=VALUE"},
        {"a property without a key", play + "--prop =x s", "--prop: '=x' is not KEY=VALUE"},
        {"a property too long", play + "--prop x=$(printf %092d) s", "--prop: the value in 'x=000"},
        {"an unknown option", "velhost dump d --bad", "The following argument was not expected: --bad" + more},
        {"an unknown form", "velhost dump d --format xml", "--format: xml not in {text,json}" + more},
        {"an unknown command", "velhost bad", "The following argument was not expected: bad" + more},
        {"no command", "velhost", "expects replay or dump" + more},
    };
    for (const auto& row : cases) {
        makeFiles(createTessary + classified + measured);
        expectRefusal(row);
        EXPECT_FALSE(fs::exists(device.file("n"))) << row.name;
    }
}

TEST_F(Velhost, ReadsNothingButOrdinaryTables) {
    const NamedCase cases[] = {
        {"another table", "CREATE TABLE Other(appName, blob)", "no such table: Tessary"},
        {"other columns", "CREATE TABLE Tessary(name, blob)", "no such column: appName"},
        {"a view", "CREATE VIEW Tessary AS SELECT 'a' AS appName, zeroblob(8) AS blob",
         "access to view \"Tessary\" prohibited"},
        {"a virtual table", // whether or not this process's SQLite has the module
         "CREATE TABLE Tessary(appName, blob); PRAGMA writable_schema = ON; UPDATE sqlite_master SET rootpage = 0, "
         "sql = 'CREATE VIRTUAL TABLE Tessary USING fts5(appName, blob)' WHERE name = 'Tessary'",
         "no such module: fts5"},
        {"a computed column", "CREATE TABLE Tessary(intcol1, blob, appName AS (hex(zeroblob(100000000))))",
         "a column of Tessary is computed"},
        {"a schema whose names steer the terminal",
         "CREATE TABLE \"\x1B[2J\nvelhost: ok\"(x); PRAGMA writable_schema = ON; "
         "UPDATE sqlite_master SET sql = 'CREATE TABLE'",
         "malformed database schema (\\x1B[2J\\x0Avelhost: ok)"},
    };
    for (const auto& row : cases) {
        makeFiles(row.given);
        expectRefusal({row.name, "velhost dump d", "d/Tessary.db: " + row.expected});
    }
}

TEST_F(Velhost, DumpsWithoutTouchingAnything) {
    makeFiles("PRAGMA main.journal_mode = WAL;" + createTessary + classified + measured);
    Sql phone(device.file("d/Tessary.db"));
    phone.run(insert("Tessary", "'logged'", "zeroblob(8)"));
    ASSERT_EQ(shell("cp -r d pulled; rm pulled/*-shm; touch pulled/Tessary.db-journal; cp -r pulled before"), 0);
    EXPECT_EQ(shell("export TMPDIR=/nonexistent; velhost dump pulled"), 0) << err;
    EXPECT_NE(out.find("\nlogged "), std::string::npos) << out;
    EXPECT_EQ(shell("diff -r before pulled"), 0) << out;
    EXPECT_EQ(shell("rm */*-wal; velhost dump --data pulled && diff -r before pulled"), 0) << out << err;
    EXPECT_EQ(out.find("logged"), std::string::npos) << "only the log held it";
}

TEST_F(Velhost, EndsAsTheShellExpectsWhateverBecomesOfItsStreams) {
    makeFiles(createTessary + thousands);
    const std::string enough = "(velhost dump d; echo $? >status) | head -n 1 >first; exit $(cat status)";
    const std::string lost = "velhost: the output could not be written: ";
    const struct {
        std::string name, command;
        int status;
        std::string said;
    } cases[] = {
        {"a reader that has enough", enough, 141, ""},
        {"the same, where the parent ignores the signal", "trap '' PIPE; " + enough, 141, ""},
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
    if (shell("script -qec true /dev/null") != 0) {
        GTEST_SKIP() << "no pseudo terminals here";
    }
    const std::string name = "com.example.\xE6\x97\xA5\xE6\x9C\xAC" + std::string(40, 'e') + ".game";
    ASSERT_EQ(shell("velhost replay --data d s", "classify " + name + " 1\n"), 0);
    EXPECT_NE(out.find("\n" + name + "     1"), std::string::npos) << out;
    const Case cases[] = {
        {"stty cols 200", name},
        {"stty cols 86", "com.example...." + std::string(21, 'e') + ".game "}, // half of a character is left out
        {"stty cols 20", "com.exa...eeeeeeeee.game"},
        {"stty cols 200; export COLUMNS=60", "com.exa...eeeeeeeee.game"},
        {"stty cols 0", "com.example..." + std::string(17, 'e') + ".game"}, // as if 80,
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell("script -qec \"" + row.given + "; " VELHOST " dump d\" /dev/null"), 0);
        EXPECT_NE(out.find("\n" + row.expected + "     1"), std::string::npos) << row.given << "\n" << out;
    }
}

TEST_F(Velhost, KeepsForeignBytesOutOfTheLog) {
    makeFiles(createTessary + "CREATE TRIGGER t BEFORE INSERT ON Tessary BEGIN DELETE FROM \"\x1B[2J\n\xFF\"; END");
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
    EXPECT_NE(out.find("\na               1       0"), std::string::npos) << out;
    EXPECT_TRUE(std::regex_search(err, std::regex("velhost: reads .*/moved/data\n"))) << err;
    for (const std::string library : {"vel", "log", "cutils", "ozr-perfd-client"}) {
        EXPECT_NE(err.find("moved/bin/../lib/lib" + library + ".so"), std::string::npos) << library;
    }
    EXPECT_TRUE(fs::exists(device.file("moved/data/Tessary.db")));
}

} // namespace
