#include <sstream>

#include <CLI/CLI.hpp>

#include "workstation/velhost/Commands.h"
#include "workstation/velhost/Output.h"

extern const char tessaryVersion[]; // feature/Version.cpp, the one place that has it

namespace fs = std::filesystem;

namespace velhost {

namespace {

// What the help adds to the list of options. The tables in it are what the examples really print.
constexpr const char* mainFooter = R"(Example; both commands print the same table:
  velhost replay --data try examples/day.triggers
  velhost dump try

Exit status:
  0  done, and nothing is wrong with the files
  1  failed on the way; calls that were played stay on disk
  2  refused; nothing was played or printed
  3  done, and notes on standard error say what is wrong with the files)";

constexpr const char* replayFooter = R"(The script has one call a line; '#' begins a comment:
  classify APP TYPE [OP]     classification trigger
                             (TYPE 0..16777215, OP 0..255, 1 when left out)
  remove APP                 classification trigger with operation 0
  weight APP VALUE           weight trigger
  report APP [M0 M1 M2 ...]  measurements
  query APP [type|weight]    prints "APP type 17"
  trigger ID ARG APP VALUE   any trigger
Numbers are decimal (17, -3) or hexadecimal (0x11). APP may be quoted: "a b",
with \" \\ \n \r \t \0 \xHH. A script with a mistake is refused as FILE:LINE:
what is wrong, and nothing of it is played.

Example:
  printf 'classify com.example.game 17\nreport com.example.game 500 400 300\n' |
    velhost replay --data try

Prints the answers to the queries and then a table, one line an application:
  APPLICATION       TYPE  WEIGHT  PEAK0  PEAK1  PEAK2       VERDICT
  com.example.game    17       1    500    400    300  2000 >= 1900
The verdict compares 2 * peak 0 + peak 1 + 2 * peak 2 with the heavy-game
threshold. "wrapped" marks a line where that arithmetic wrapped at 32 bits:
">=" or "<" is then what the feature decides, whatever the numbers say.

Every change waits for the disk. With --data in a file system in memory, such
as /dev/shm/try, a script plays many times faster.)";

constexpr const char* dumpFooter = R"(Example; stop the device's host first, and pull each -wal as well:
  adb pull /data/vendor/vel/ pulled
  velhost dump pulled

Prints a table, one line an application:
  APPLICATION       TYPE  WEIGHT  PEAK0  PEAK1  PEAK2       VERDICT
  com.example.game    17       1    500    400    300  2000 >= 1900
"-": there is no such row. Notes on standard error say what is wrong with the
files. These and their folder are only read, never changed.

JSON: {"applications": [...]}, of each application
  application  the name, with U+FFFD for what is not UTF-8
  bytes        the name in hexadecimal if it is not UTF-8, else null
  type, weight null without a classification
  peaks, sum, wrapped, threshold, heavyGame
               null without peaks; heavyGame is the verdict
and before it, from replay, "answers": [...] with line, application, bytes,
field and value.)";

/// Returns the parent of the folder that holds this program: the build folder, or the installed copy wherever it lies.
fs::path programRoot() { return fs::read_symlink("/proc/self/exe").parent_path().parent_path(); }

void addFileOptions(CLI::App& command, FileOptions& options, const char* data) {
    command.add_option(data, options.data, "Folder of the database files")->type_name("DIR");
    command.add_option("--name", options.name, "Name of the feature and its files")->type_name("NAME=Tessary");
    command
        .add_option_function<std::string>(
            "--format",
            [&options](const std::string& word) { options.format = word == "json" ? Format::json : Format::text; },
            "text (default) or json")
        // An empty description: the option's own lists the words.
        ->check(CLI::IsMember({"text", "json"}).description(""))
        ->type_name("FORMAT");
}

CLI::App* addReplay(CLI::App& app, ReplayOptions& options) {
    CLI::App* command = app.add_subcommand("replay", "Play a script into the plug-in");
    command->add_option("FILE", options.script, "Script to play; - (default) is standard input")->type_name("");
    addFileOptions(*command, options, "--data");
    command->add_option("--plugin", options.plugin, "Plug-in to load, in place of velhost's own")->type_name("PATH");
    // One value for each --prop. Otherwise the parser would take the FILE after it for a second one.
    command->add_option("--prop", options.properties, "Set a system property first (repeatable)")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    command->add_flag("--trace", options.trace, "Announce each call on standard error");
    command->add_flag("--quiet", options.quiet, "Drop the log lines");
    command->footer(replayFooter);
    return command;
}

CLI::App* addDump(CLI::App& app, FileOptions& options) {
    CLI::App* command = app.add_subcommand("dump", "Print what database files hold");
    addFileOptions(*command, options, "DIR,--data");
    command->footer(dumpFooter);
    return command;
}

} // namespace

Exit run(int argc, char** argv) {
    // The options must outlive the parser, which fills them through references.
    ReplayOptions replayOptions;
    FileOptions dumpOptions;
    replayOptions.data = programRoot() / "data";
    replayOptions.plugin = programRoot() / "lib" / "libtessary.so";
    CLI::App app("Loads the classifier plug-in as its host does and drives it from a script.", "velhost");
    app.set_version_flag("--version", std::string("velhost, ") + tessaryVersion);
    app.footer(mainFooter);
    app.require_subcommand(0, 1); // a missing one is refused below: (1, 1) would call a misspelt one missing
    const CLI::App* replayCommand = addReplay(app, replayOptions);
    const CLI::App* dumpCommand = addDump(app, dumpOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) { // or the version
        std::ostringstream text;
        app.exit(help, text, text);
        writeOutput(text.str(), true);
        return Exit::sound;
    } catch (const CLI::ParseError& error) {
        // Not in CLI11's own form, which takes several lines and has statuses of its own.
        throw Error(Exit::refused, std::string(error.what()) + " (velhost --help says more)");
    }
    if (replayCommand->parsed()) {
        return replay(replayOptions);
    }
    if (!dumpCommand->parsed()) {
        throw Error(Exit::refused, "expects replay or dump (velhost --help says more)");
    }
    if (dumpOptions.data.empty()) {
        dumpOptions.data = replayOptions.data;
        writeMessage("velhost: reads " + dumpOptions.data.string());
    }
    return dump(dumpOptions);
}

} // namespace velhost
