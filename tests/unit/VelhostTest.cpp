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

/// The statement that stores a row; name and record as SQL writes them.
std::string insert(const std::string& table, const std::string& name, const std::string& record) {
    return "INSERT INTO " + table + " VALUES (NULL, " + name + ", NULL, " + record + ");";
}
const std::string classified = insert("Tessary", "'a'", "X'1100000001000000'");         // type 17, weight 1
const std::string measured = insert("HeavyGame", "'a'", "X'E80300000000000000000000'"); // peaks 1000, 0 and 0
const std::string thousands = "INSERT INTO Tessary WITH RECURSIVE n(i) AS (VALUES (0) UNION ALL SELECT i + 1 FROM n "
                              "WHERE i < 4000) SELECT NULL, 'b' || i, NULL, zeroblob(8) FROM n;";

class Velhost : public testing::Test {
protected:
    /// Runs a shell command in the folder. "velhost" is the program, "s" a file with the script, which is also standard
    /// input. Returns the exit status, or the negative number of the signal.
    int shell(const std::string& command, const std::string& script = "") {
        std::ofstream(device.file("s"), std::ios::binary) << script;
        const std::string begin = "cd '" + device.file().string() + "'; velhost() { " VELHOST " \"$@\"; }; ";
        const int status = std::system((begin + "{ :; " + command + "\n} <s >out 2>err").c_str());
        out = contentOf(device.file("out"));
        err = contentOf(device.file("err"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    /// Expects the command to do nothing but say why, in one line that begins with the message.
    void expectRefusal(const std::string& name, const std::string& command, const std::string& message) {
        EXPECT_EQ(shell(command, "classify a 1\n"), 2) << name;
        EXPECT_EQ(out, "") << name;
        EXPECT_EQ(err.rfind("velhost: " + message, 0), 0U) << name << "\n" << err;
        EXPECT_EQ(err.find('\n'), err.size() - 1) << name << "\n" << err;
    }

    /// Makes the two databases of the folder "d" anew, with empty tables, and runs statements that see both.
    void makeFiles(const std::string& statements) const {
        fs::remove_all(device.file("d"));
        fs::create_directories(device.file("d"));
        Sql files(device.file("d/Tessary.db"));
        files.run("ATTACH '" + device.file("d/TessaryHeavyGame.db").string() + "' AS peaks");
        files.run("CREATE TABLE Tessary" + columns + "CREATE TABLE peaks.HeavyGame" + columns + statements);
    }

    nlohmann::json applicationsAsJson() {
        EXPECT_EQ(shell("velhost dump --format json d"), 0) << err;
        return nlohmann::json::parse(out).at("applications");
    }

    bool isPrinted(const std::string& text) const { return out.find(text) != std::string::npos; }

    Device device;
    std::string out, err;
};

TEST_F(Velhost, PlaysAScriptAndPrintsWhatIsStored) {
    const std::string script = "classify com.a 0x11 # a game\n"
                               "report com.a 500 400 300\n"
                               "classify com.b 5 255\r\n" // a line may end like this, or not at all
                               "\n"
                               "weight com.b -3\n"
                               "trigger 4164 0x01000005 com.b 0\n"
                               "classify com.c 1\n"
                               "remove com.c\n"
                               "query com.a weight\n"
                               "query com.a";
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
    const std::string script = "classify a 1 # one\n\nweight \"b\"  2\n";
    EXPECT_EQ(shell("velhost replay --data d --trace --quiet s", script), 0);
    EXPECT_EQ(err, "s:1: classify a 1 # one\ns:3: weight \"b\"  2\n");
    EXPECT_EQ(shell("velhost replay --data d s", script), 0);
    const std::string log = "[0-9.: -]+ E ANDR-PERF-VEL: Tessary: updateWeightToTessary\\(\\) \\d+: No entry found.*\n";
    EXPECT_TRUE(std::regex_match(err, std::regex(log))) << err;
}

TEST_F(Velhost, RefusesAScriptWithAMistake) {
    const struct {
        std::string line, message;
    } cases[] = {
        {"report", "report: expects APP [M0 M1 M2 ...]"},
        {"classify a 1 2 3", "classify: expects APP TYPE [OP]"},
        {"classify a 16777216", "classify: '16777216' is not in 0..16777215"},
        {"classify a -1", "classify: '-1' is not in 0..16777215"},
        {"classify a 1 256", "classify: '256' is not in 0..255"},
        {"classify a 0x", "classify: '0x' is not a number"},
        {"weight a 18446744073709551616", "weight: '18446744073709551616' is not in -2147483648..2147483647"},
        {"query a size", "query: 'size' is neither type nor weight"},
        {"Query a", "unknown command 'Query'"},
        {R"(query "a\")", "the closing quote is missing"},
        {R"(query "a"b)", "no blank after the closing quote of 'a'"},
        {R"(query "a\q")", R"(unknown escape '\q')"},
        {R"(query "a\x4)", R"(\x needs two hexadecimal digits)"},
        {"query \"a\tb\"", "a control character in quotes must be written as an escape"},
        {"query a\x7F", R"('a\x7F' must stand in quotes)"},
        {R"(query com.example.a.name.that.is.longer.than.forty.columns")",
         R"('com.example.a...ger.than.forty.columns\"' must stand in quotes)"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell("velhost replay --data d s", "classify fine 1\n\n" + row.line + "\nclassify fine 2\n"), 2);
        EXPECT_EQ(out + err, "s:3: " + row.message + "\n");
        EXPECT_FALSE(fs::exists(device.file("d"))) << row.line;
    }
    EXPECT_EQ(shell("velhost replay --data d", "nope"), 2);
    EXPECT_EQ(err, "<stdin>:1: unknown command 'nope'\n");
}

TEST_F(Velhost, KeepsEveryNameApartAndHarmless) {
    const struct {
        std::string word, cell;  ///< in the script and in the table, where a name takes 19 columns
        std::string application; ///< in JSON
        nlohmann::json bytes;
    } names[] = {
        {R"("\n\r\t\\\"\x42")", R"("\x0A\x0D\x09\\\"B")", "\n\r\t\\\"B", nullptr},
        {R"(" #")", R"(" #"               )", " #", nullptr},
        {R"("#")", R"("#"                )", "#", nullptr},
        {"e\u0301", "e\u0301                  ", "e\u0301", nullptr},
        {R"("\xC0\xAF\xC3(")", R"("\xC0\xAF\xC3("    )", "\uFFFD\uFFFD\uFFFD(", "C0AFC328"},
        {"\u009B", R"("\xC2\x9B"         )", "\u009B", nullptr},
        {"\u65E5\u672C", "\u65E5\u672C               ", "\u65E5\u672C", nullptr},
        {R"("\xED\xA0\x80\xF5")", R"("\xED\xA0\x80\xF5" )", "\uFFFD\uFFFD\uFFFD\uFFFD", "EDA080F5"},
        {"\uE000", R"("\xEE\x80\x80"     )", "\uE000", nullptr},
        {"\U0001F3AE", "\U0001F3AE                 ", "\U0001F3AE", nullptr},
    };
    std::string script;
    for (const auto& row : names) {
        script += "classify " + row.word + " 1\n";
    }
    EXPECT_EQ(shell("velhost replay --data d s", script), 0) << err;
    const std::string table = out;
    const auto applications = applicationsAsJson();
    ASSERT_EQ(applications.size(), std::size(names)) << applications;
    for (std::size_t i = 0; i < std::size(names); ++i) {
        EXPECT_NE(table.find("\n" + names[i].cell + "     1       0 "), std::string::npos) << table;
        EXPECT_EQ(applications[i]["application"], names[i].application);
        EXPECT_EQ(applications[i]["bytes"], names[i].bytes) << names[i].word;
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
    makeFiles("");
    EXPECT_EQ(shell("velhost dump --format json d"), 0);
    EXPECT_EQ(out, "{\"applications\": []}\n");
}

TEST_F(Velhost, ShowsTheVerdictAsTheFeatureComputesIt) {
    const struct {
        std::string peaks, verdict;
        bool wrapped;
    } cases[] = {
        {"0 1899 0", " 1899 < 1900\n", false},
        {"0 1900 0", " 1900 >= 1900\n", false},
        {"0 -2147481948 0", " -2147481948 < 1900\n", false},
        {"0 -2147483648 0", " wrapped -2147483648 >= 1900\n", true}, // the difference to the threshold wraps
        {"1073741824 0 0", " wrapped -2147483648 >= 1900\n", true},  // so does the sum
    };
    for (const auto& row : cases) {
        fs::remove_all(device.file("d"));
        shell("velhost replay --data d s", "classify a 1\nreport a " + row.peaks + "\n");
        EXPECT_TRUE(isPrinted(row.verdict)) << row.peaks << "\n" << out;
        const auto application = applicationsAsJson().at(0);
        EXPECT_EQ(application["weight"], application["heavyGame"] ? 1 : 0) << "stored and computed " << row.peaks;
        EXPECT_EQ(application["wrapped"], row.wrapped) << row.peaks;
    }
}

TEST_F(Velhost, NotesWhatIsWrongAndShowsEveryRow) {
    const std::string record = "zeroblob(8)", another = insert("Tessary", "'b'", record);
    const std::string forbidNull = "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = "
                                   "replace(sql, 'rsvdName TEXT', 'rsvdName TEXT NOT NULL')";
    const struct {
        std::string note, statements; // that add a row to a sound application "a"
    } cases[] = {
        {"Tessary.db: a has 2 rows", classified},
        {"TessaryHeavyGame.db: a has 2 rows", measured},
        {"TessaryHeavyGame.db: b has peaks but no classification", insert("HeavyGame", "'b'", "zeroblob(12)")},
        {"Tessary.db: the record of b has 7 bytes instead of 8", insert("Tessary", "'b'", "zeroblob(7)")},
        {"TessaryHeavyGame.db: the record of b has 13 bytes instead of 12",
         another + insert("HeavyGame", "'b'", "zeroblob(13)")},
        {"Tessary.db: a row has an empty name", insert("Tessary", "NULL", record)},
        {R"(Tessary.db: the name "b\x00" holds a NUL byte)", insert("Tessary", "CAST(X'6200' AS TEXT)", record)},
        {R"(Tessary.db: the name "\x1B[2J" is not text)", insert("Tessary", "X'1B5B324A'", record)},
        {"Tessary.db: damaged: NULL value in Tessary.rsvdName (and 1 more)", another + forbidNull},
    };
    for (const auto& row : cases) {
        makeFiles(classified + measured + row.statements);
        EXPECT_EQ(shell("velhost dump d"), 3) << row.note;
        EXPECT_EQ(err, "velhost: note: d/" + row.note + "\n");
        EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3) << "the heading and two rows:\n" << out;
    }
    makeFiles("");
    EXPECT_EQ(shell("rm d/TessaryHeavyGame.db; velhost dump d"), 3);
    EXPECT_EQ(err, "velhost: note: d/TessaryHeavyGame.db is missing, so no peaks are shown\n");
}

TEST_F(Velhost, ShowsWhatItCanReadAndFails) {
    const std::string stopped = "velhost: d/Tessary.db: reading stopped after [1-9]\\d* rows: ";
    makeFiles(classified + insert("Tessary", "'b'", "zeroblob(1100000)"));
    EXPECT_EQ(shell("velhost dump d"), 1);
    EXPECT_TRUE(std::regex_match(err, std::regex(stopped + sqlite3_errstr(SQLITE_TOOBIG) + "\n"))) << err;
    EXPECT_TRUE(isPrinted("\na ")) << out;
    makeFiles(classified + thousands);
    ASSERT_EQ(shell("truncate -s -4096 d/Tessary.db; seq 2000 | head -c 4096 >>d/Tessary.db"), 0) << "a garbled page";
    EXPECT_EQ(shell("velhost dump d"), 1);
    const std::string damaged = "velhost: note: d/Tessary.db: damaged: .*\n" + stopped;
    EXPECT_TRUE(std::regex_match(err, std::regex(damaged + sqlite3_errstr(SQLITE_CORRUPT) + "\n"))) << err;
    EXPECT_TRUE(isPrinted("\na ")) << out;
    EXPECT_EQ(shell("echo garbage >d/Tessary.db; velhost replay --data d", "classify a 1\n"), 1) << "and plays it";
    EXPECT_NE(err.find(std::string("d/Tessary.db: ") + sqlite3_errstr(SQLITE_NOTADB)), std::string::npos) << err;
}

TEST_F(Velhost, RefusesWhatItCannotReadOrPlay) {
    const std::string notADatabase = sqlite3_errstr(SQLITE_NOTADB);
    const std::string more = " (velhost --help";
    const std::string play = "velhost replay --data n ";
    const struct {
        std::string name, command, message;
    } cases[] = {
        {"a folder too high", "mkdir p; mv d p; velhost dump p", "p/Tessary.db: no such file; there is one in p/d"},
        {"garbage", "echo garbage >d/Tessary.db; velhost dump d", "d/Tessary.db: " + notADatabase},
        {"a folder as the file", "rm d/Tessary.db; mkdir d/Tessary.db; velhost dump d", "d/Tessary.db: Is a directory"},
        {"a link to itself", "ln -sf Tessary.db d/Tessary.db; velhost dump d", "d/Tessary.db: Too many levels"},
        {"a pipe as the log", "mkfifo d/Tessary.db-wal; velhost dump d", "d/Tessary.db: "},
        {"a journal", "echo j >d/Tessary.db-journal; velhost dump d", "d/Tessary.db: its -journal is not empty"},
        {"the same", "echo j >d/Tessary.db-journal; velhost replay --data d s",
         "d/Tessary.db: its -journal is not empty"},
        {"a path too long", "velhost replay --data /" + std::string(600, 'x') + " s", "/xxx"},
        {"a name that leads elsewhere", "velhost dump --name ../d d", "the name '../d' must not hold a '/'"},
        {"a path that steers the terminal", "velhost dump '\x1B[2J'", R"(\x1B[2J/Tessary.db: no such file)"},
        {"no script", play + "none", "none: No such file or directory"},
        {"no plug-in", play + "--plugin none.so s", "the plug-in cannot be loaded: "},
        {"an empty plug-in", play + "--plugin '' s", "the plug-in cannot be loaded: "},
        {"another library", play + "--plugin " LIBLOG " s", LIBLOG ": registers no feature named 'Tessary'"},
        {"a file as the data folder", "velhost replay --data s s", "s: the data directory is not writable: "},
        {"a property without a value", play + "--prop x s", "--prop: 'x' is not KEY=VALUE"},
        {"a property too long", play + "--prop x=" + std::string(92, 'x') + " s", "--prop: the value in 'x=xxx"},
        {"an unknown form", "velhost dump d --format xml", "--format: xml not in {text,json}" + more},
        {"an unknown command", "velhost bad", "The following argument was not expected: bad" + more},
        {"no command", "velhost", "expects replay or dump" + more},
    };
    for (const auto& row : cases) {
        makeFiles(classified + measured);
        expectRefusal(row.name, row.command, row.message);
        EXPECT_FALSE(fs::exists(device.file("n"))) << row.name;
    }
}

TEST_F(Velhost, ReadsNothingButOrdinaryTables) {
    const struct {
        std::string name, statements, message;
    } cases[] = {
        {"another table", "", "no such table: Tessary"},
        {"a view", "CREATE VIEW Tessary AS SELECT 'a' AS appName, zeroblob(8) AS blob",
         "access to view \"Tessary\" prohibited"},
        {"a virtual table", // whether or not this process's SQLite has the module
         "CREATE TABLE Tessary(appName, blob); PRAGMA writable_schema = ON; UPDATE sqlite_master SET rootpage = 0, "
         "sql = 'CREATE VIRTUAL TABLE Tessary USING fts5(appName, blob)' WHERE name = 'Tessary'",
         "no such module: fts5"},
        {"a computed column", "CREATE TABLE Tessary(intcol1, blob, appName AS (hex(zeroblob(100000000))))",
         "a column of Tessary is computed"},
    };
    for (const auto& row : cases) {
        makeFiles("DROP TABLE Tessary;" + row.statements);
        expectRefusal(row.name, "velhost dump d", "d/Tessary.db: " + row.message);
    }
}

TEST_F(Velhost, DumpsWithoutTouchingAnything) {
    makeFiles("PRAGMA main.journal_mode = WAL;" + classified + measured);
    Sql phone(device.file("d/Tessary.db")); // keeps what follows in the log
    phone.run(insert("Tessary", "'logged'", "zeroblob(8)"));
    ASSERT_EQ(shell("cp -r d pulled; rm pulled/*-shm; touch pulled/Tessary.db-journal; cp -r pulled before"), 0);
    EXPECT_EQ(shell("export TMPDIR=/nonexistent; velhost dump pulled"), 0) << err;
    EXPECT_TRUE(isPrinted("\nlogged ")) << out;
    EXPECT_EQ(shell("diff -r before pulled"), 0) << out;
    ASSERT_EQ(shell("rm before/*-wal pulled/*-wal"), 0);
    EXPECT_EQ(shell("velhost dump --data pulled"), 0) << err;
    EXPECT_FALSE(isPrinted("logged")) << "only the log held it";
    EXPECT_EQ(shell("diff -r before pulled"), 0) << out;
}

TEST_F(Velhost, EndsAsTheShellExpectsWhateverBecomesOfItsStreams) {
    makeFiles(thousands);
    // "head" ends after one line; the status is velhost's.
    const std::string enough = "trap '' PIPE; (velhost dump d; echo $? >status) | head -n 1 >first; exit $(cat status)";
    const std::string lost = "velhost: the output could not be written: ";
    const struct {
        std::string name, command;
        int status;
        std::string said;
    } cases[] = {
        {"a reader that has enough, with the signal ignored by the parent", enough, 141, ""},
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
}

TEST_F(Velhost, FitsTheTerminal) {
    if (shell("script -qec true /dev/null") != 0) {
        GTEST_SKIP() << "no pseudo terminals here";
    }
    const std::string name = "com.example.\u65E5\u672C" + std::string(40, 'e') + ".game";
    ASSERT_EQ(shell("velhost replay --data d s", "classify " + name + " 1\n"), 0);
    EXPECT_TRUE(isPrinted("\n" + name + "     1")) << out;
    const struct {
        std::string terminal, shown;
    } cases[] = {
        {"stty cols 86", "com.example...." + std::string(21, 'e') + ".game "}, // half of a character is left out
        {"stty cols 200; export COLUMNS=60", "com.exa...eeeeeeeee.game"},
        {"stty cols 0", "com.example..." + std::string(17, 'e') + ".game"}, // as if 80
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell("script -qec \"" + row.terminal + "; " VELHOST " dump d\" /dev/null"), 0);
        EXPECT_TRUE(isPrinted("\n" + row.shown + "     1")) << row.terminal << "\n" << out;
    }
}

TEST_F(Velhost, KeepsForeignBytesOutOfTheLog) {
    makeFiles("CREATE TRIGGER t BEFORE INSERT ON Tessary BEGIN DELETE FROM \"\x1B[2J\n\xFF\"; END");
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
    EXPECT_TRUE(isPrinted("\na               1       0")) << out;
    EXPECT_TRUE(std::regex_search(err, std::regex("velhost: reads .*/moved/data\n"))) << err;
    for (const std::string library : {"vel", "log", "cutils", "ozr-perfd-client"}) {
        EXPECT_NE(err.find("moved/bin/../lib/lib" + library + ".so"), std::string::npos) << library;
    }
}

} // namespace
