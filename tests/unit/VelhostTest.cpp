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
const std::string insertClassification = insert("Tessary", "'a'", "X'1100000001000000'");  // type 17, weight 1
const std::string insertPeaks = insert("HeavyGame", "'a'", "X'E80300000000000000000000'"); // peaks 1000, 0 and 0
const std::string insertManyRows = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 4000) "
                                   "INSERT INTO Tessary SELECT NULL, 'b' || i, NULL, zeroblob(8) FROM n;";

class Velhost : public testing::Test {
protected:
    /// Runs a shell command in the test's folder, fills `out` and `err`, and returns the exit status, or the negative
    /// number of the signal. "velhost" is the program. The file "s" holds the script, which is also standard input.
    int shell(const std::string& command, const std::string& script = "") {
        std::ofstream(device.file("s"), std::ios::binary) << script;
        const std::string begin = "cd '" + device.file().string() + "'; velhost() { " VELHOST " \"$@\"; }; ";
        const int status = std::system((begin + "{ " + command + "\n} <s >out 2>err").c_str());
        out = contentOf(device.file("out"));
        err = contentOf(device.file("err"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    /// Expects exit status 2, no output, and one line on standard error that begins with "velhost: " and the message.
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
    EXPECT_EQ(out, "com.a weight 1\ncom.a type 17\n\n" + table);
    EXPECT_EQ(err, "");
    EXPECT_EQ(shell("velhost dump --data d && ls d"), 0);
    EXPECT_EQ(out, table + "Tessary.db\nTessaryHeavyGame.db\n");
}

TEST_F(Velhost, OptionsChooseNameAndProperties) {
    const std::string options = "--name Other --prop ro.vendor.perf.wlc.heavygame=true";
    EXPECT_EQ(shell("velhost replay --data d " + options + " -", "classify x 1\nweight x 9\nquery x weight\n"), 0);
    EXPECT_TRUE(isPrinted("x weight 0\n")) << "with this property weights are ignored\n" << out;
    EXPECT_TRUE(fs::exists(device.file("d/Other.db")));
}

TEST_F(Velhost, TraceShowsCallsAndQuietDropsLogLines) {
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
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell("velhost replay --data d s", "classify fine 1\n\n" + row.line + "\n"), 2) << row.line;
        EXPECT_EQ(err, "s:3: " + row.message + "\n");
        EXPECT_FALSE(fs::exists(device.file("d"))) << row.line;
    }
}

TEST_F(Velhost, KeepsEveryNameApartAndHarmless) {
    const struct {
        std::string name, word, cell; ///< `word` in the script, `cell` in the table, where a name takes 19 columns
        std::string application;      ///< in JSON
        nlohmann::json bytes = nullptr;
    } rows[] = {
        {"controls, quote and backslash", R"("\n\r\t\\\"\x42")", R"("\x0A\x0D\x09\\\"B")", "\n\r\t\\\"B"},
        {"a blank", R"(" #")", R"(" #"               )", " #"},
        {"a comment sign in front", R"("#")", R"("#"                )", "#"},
        {"a mark that takes no column", "e\u0301", "e\u0301                  ", "e\u0301"},
        {"overlong and cut UTF-8", R"("\xC0\xAF\xC3(")", R"("\xC0\xAF\xC3("    )", "\uFFFD\uFFFD\uFFFD(", "C0AFC328"},
        {"a control of two bytes", "\u009B", R"("\xC2\x9B"         )", "\u009B"},
        {"letters of two columns", "\u65E5\u672C", "\u65E5\u672C               ", "\u65E5\u672C"},
        {"a surrogate", R"("\xED\xA0\x80")", R"("\xED\xA0\x80"     )", "\uFFFD\uFFFD\uFFFD", "EDA080"},
        {"private use", "\uE000", R"("\xEE\x80\x80"     )", "\uE000"},
        {"a picture of four bytes", "\U0001F3AE", "\U0001F3AE                 ", "\U0001F3AE"},
        {"a byte beyond UTF-8", R"("\xF5")", R"("\xF5"             )", "\uFFFD", "F5"},
    };
    std::string script;
    for (const auto& row : rows) {
        script += "classify " + row.word + " 1\n";
    }
    EXPECT_EQ(shell("velhost replay --data d s", script), 0) << err;
    const std::string table = out;
    const auto applications = applicationsAsJson();
    for (std::size_t i = 0; i < std::size(rows); ++i) { // both lists are in the byte order of the names
        EXPECT_NE(table.find("\n" + rows[i].cell + "     1       0 "), std::string::npos) << rows[i].name;
        EXPECT_EQ(applications.at(i)["application"], rows[i].application) << rows[i].name;
        EXPECT_EQ(applications.at(i)["bytes"], rows[i].bytes) << rows[i].name;
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
        {"0 -2147481948 0", " -2147481948 < 1900\n", false},         // the lowest sum from which 1700 can be subtracted
        {"0 -2147483648 0", " wrapped -2147483648 >= 1900\n", true}, // the difference wraps
        {"1073741824 0 0", " wrapped -2147483648 >= 1900\n", true},  // the sum and the difference wrap
    };
    for (const auto& row : cases) {
        fs::remove_all(device.file("d"));
        shell("velhost replay --data d s", "classify a 1\nreport a " + row.peaks + "\n");
        EXPECT_TRUE(isPrinted(row.verdict)) << row.peaks << "\n" << out;
        const auto application = applicationsAsJson().at(0);
        EXPECT_EQ(application["weight"], application["heavyGame"] ? 1 : 0) << "the feature agrees for " << row.peaks;
        EXPECT_EQ(application["wrapped"], row.wrapped) << row.peaks;
    }
}

TEST_F(Velhost, NotesWhatIsWrongAndShowsEveryRow) {
    const std::string eightBytes = "zeroblob(8)", insertB = insert("Tessary", "'b'", eightBytes);
    const std::string forbidNull = "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = "
                                   "replace(sql, 'rsvdName TEXT', 'rsvdName TEXT NOT NULL')";
    const struct {
        std::string note, statements; ///< the statements add one row beside the sound application "a"
    } cases[] = {
        {"Tessary.db: a has 2 rows", insertClassification},
        {"TessaryHeavyGame.db: a has 2 rows", insertPeaks},
        {"TessaryHeavyGame.db: b has peaks but no classification", insert("HeavyGame", "'b'", "zeroblob(12)")},
        {"Tessary.db: the record of b has 7 bytes instead of 8", insert("Tessary", "'b'", "zeroblob(7)")},
        {"TessaryHeavyGame.db: the record of b has 13 bytes instead of 12",
         insertB + insert("HeavyGame", "'b'", "zeroblob(13)")},
        {"Tessary.db: a row has an empty name", insert("Tessary", "NULL", eightBytes)},
        {R"(Tessary.db: the name "b\x00" holds a NUL byte)", insert("Tessary", "CAST(X'6200' AS TEXT)", eightBytes)},
        {R"(Tessary.db: the name "\x1B[2J" is not text)", insert("Tessary", "X'1B5B324A'", eightBytes)},
        {"Tessary.db: damaged: NULL value in Tessary.rsvdName (and 1 more)", insertB + forbidNull},
    };
    for (const auto& row : cases) {
        makeFiles(insertClassification + insertPeaks + row.statements);
        EXPECT_EQ(shell("velhost dump d"), 3) << row.note;
        EXPECT_EQ(err, "velhost: note: d/" + row.note + "\n");
        EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3) << "the heading and two rows:\n" << out;
    }
    makeFiles("");
    EXPECT_EQ(shell("rm d/TessaryHeavyGame.db; velhost dump d"), 3);
    EXPECT_EQ(err, "velhost: note: d/TessaryHeavyGame.db is missing, so no peaks are shown\n");
}

TEST_F(Velhost, DamagedFileIsShownAsFarAsItCanBeRead) {
    makeFiles(insertClassification + insert("Tessary", "'b'", "zeroblob(1100000)"));
    EXPECT_EQ(shell("velhost dump d"), 1);
    EXPECT_EQ(err, "velhost: d/Tessary.db: reading stopped after 1 rows: string or blob too big\n");
    EXPECT_TRUE(isPrinted("\na ")) << out;
    makeFiles(insertClassification + insertManyRows);
    const std::string garbleLastPage = "truncate -s -4096 d/Tessary.db; seq 2000 | head -c 4096 >>d/Tessary.db; ";
    EXPECT_EQ(shell(garbleLastPage + "velhost dump d"), 1);
    const std::regex noteAndFailure("velhost: note: d/Tessary.db: damaged: .*\nvelhost: d/Tessary.db: reading stopped "
                                    "after [1-9]\\d* rows: database disk image is malformed\n");
    EXPECT_TRUE(std::regex_match(err, noteAndFailure)) << err;
    EXPECT_TRUE(isPrinted("\na ")) << out;
}

TEST_F(Velhost, ReplayIntoGarbageFails) {
    EXPECT_EQ(shell("mkdir d; echo garbage >d/Tessary.db; velhost replay --data d", "classify a 1\n"), 1);
    EXPECT_NE(err.find("d/Tessary.db: file is not a database"), std::string::npos) << err;
}

TEST_F(Velhost, RefusesWhatItCannotReadOrPlay) {
    const std::string helpHint = " (velhost --help";
    const std::string play = "velhost replay --data new ";
    const struct {
        std::string name, command, message;
    } cases[] = {
        {"the folder above", "mkdir p; mv d p; velhost dump p", "p/Tessary.db: no such file; there is one in p/d"},
        {"garbage", "echo garbage >d/Tessary.db; velhost dump d", "d/Tessary.db: file is not a database"},
        {"a link to itself", "ln -sf Tessary.db d/Tessary.db; velhost dump d", "d/Tessary.db: Too many levels"},
        {"a pipe as the -wal file", "mkfifo d/Tessary.db-wal; velhost dump d", "d/Tessary.db: Operation not supported"},
        {"a journal", "echo j >d/Tessary.db-journal; velhost dump d", "d/Tessary.db: its -journal is not empty"},
        {"a journal, replayed", "echo j >d/Tessary.db-journal; velhost replay --data d", "d/Tessary.db: its -journal"},
        {"a path too long", "velhost replay --data /" + std::string(600, 'x') + " s", "/xxx"},
        {"a name that leads elsewhere", "velhost dump --name ../d d", "the name '../d' must not hold a '/'"},
        {"a path that steers the terminal", "velhost dump '\x1B[2J'", R"(\x1B[2J/Tessary.db: no such file)"},
        {"no script", play + "none", "none: No such file or directory"},
        {"no plug-in", play + "--plugin none.so s", "the plug-in cannot be loaded: "},
        {"an empty plug-in", play + "--plugin '' s", "the plug-in cannot be loaded: "},
        {"another library", play + "--plugin " LIBLOG " s", LIBLOG ": registers no feature named 'Tessary'"},
        {"a file as the data folder", "velhost replay --data s s", "s: the data directory is not writable: "},
        {"a property without a value", play + "--prop x s", "--prop: 'x' is not KEY=VALUE"},
        {"a property too long", play + "--prop x=" + std::string(92, 'x'), "--prop: the value in 'x=xxxxxxxxxxx..."},
        {"an unknown form", "velhost dump d --format xml", "--format: xml not in {text,json}" + helpHint},
        {"no command", "velhost", "expects replay or dump" + helpHint},
    };
    for (const auto& row : cases) {
        makeFiles(insertClassification + insertPeaks);
        expectRefusal(row.name, row.command, row.message);
        EXPECT_FALSE(fs::exists(device.file("new"))) << row.name;
    }
}

TEST_F(Velhost, ReadsNothingButOrdinaryTables) {
    const struct {
        std::string name, statements, message;
    } cases[] = {
        {"no table", "", "no such table: Tessary"},
        {"a view", "CREATE VIEW Tessary AS SELECT 1 AS appName, 2 AS blob", "access to view \"Tessary\" prohibited"},
        {"a virtual table", // whether or not this process's SQLite has the module
         "CREATE TABLE Tessary(appName, blob); PRAGMA writable_schema = ON; UPDATE sqlite_master SET rootpage = 0, "
         "sql = 'CREATE VIRTUAL TABLE Tessary USING fts5(appName, blob)' WHERE name = 'Tessary'",
         "no such module: fts5"},
        {"a computed column", "CREATE TABLE Tessary(blob, appName AS ('a'))", "a column of Tessary is computed"},
    };
    for (const auto& row : cases) {
        makeFiles("DROP TABLE Tessary;" + row.statements);
        expectRefusal(row.name, "velhost dump d", "d/Tessary.db: " + row.message);
    }
}

TEST_F(Velhost, DumpsWithoutTouchingAnything) {
    makeFiles("PRAGMA main.journal_mode = WAL;" + insertClassification + insertPeaks);
    Sql phone(device.file("d/Tessary.db")); // while it is open, the next row stays in the -wal file
    phone.run(insert("Tessary", "'inWal'", "zeroblob(8)"));
    ASSERT_EQ(shell("cp -r d pulled; rm pulled/*-shm; touch pulled/Tessary.db-journal; cp -r pulled before"), 0);
    // It needs no folder for temporary files, and an empty journal is no obstacle.
    EXPECT_EQ(shell("export TMPDIR=/nonexistent; velhost dump pulled && diff -r before pulled"), 0) << out << err;
    EXPECT_TRUE(isPrinted("\ninWal ")) << out;
    EXPECT_EQ(shell("rm before/*-wal pulled/*-wal; velhost dump pulled && diff -r before pulled"), 0) << out << err;
    EXPECT_FALSE(isPrinted("inWal")) << out;
}

TEST_F(Velhost, ExitStatusTellsThatAStreamFailed) {
    makeFiles(insertManyRows);
    // The parent ignores SIGPIPE, and "head" ends after one line. velhost ends by the signal: 128 + 13.
    const std::string endEarly = "trap '' PIPE; (velhost dump d; echo $? >status) | head -n 1; exit $(cat status)";
    const std::string lost = "velhost: the output could not be written: ";
    const struct {
        std::string name, command, message;
        int status;
    } cases[] = {
        {"a reader that ends early", endEarly, "", 141},
        {"a full disk", "velhost dump d >/dev/full", lost + "No space left on device\n", 1},
        {"a full disk for the version", "velhost --version >/dev/full", lost + "No space left on device\n", 1},
        {"no standard output", "velhost dump d >&-", lost + "Bad file descriptor\n", 1},
        {"no streams at all", "velhost dump d <&- >&- 2>&-", "", 1},
        {"no standard input", "velhost replay --data d <&-", "velhost: <stdin>: Bad file descriptor\n", 2},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell(row.command), row.status) << row.name;
        EXPECT_EQ(err, row.message) << row.name;
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
        {"stty cols 86", "com.example...." + std::string(21, 'e') + ".game "}, // no half of a wide character
        {"stty cols 200; export COLUMNS=60", "com.exa...eeeeeeeee.game"},
        {"stty cols 0", "com.example..." + std::string(17, 'e') + ".game"}, // as if 80
    };
    for (const auto& row : cases) {
        EXPECT_EQ(shell("script -qec \"" + row.terminal + "; " VELHOST " dump d\" /dev/null"), 0);
        EXPECT_TRUE(isPrinted("\n" + row.shown + "     1")) << row.terminal << "\n" << out;
    }
}

TEST_F(Velhost, EscapesForeignBytesInLogLines) {
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
