#include <cstdio>
#include <iostream>

#include <CLI/CLI.hpp>

#include "workstation/velhost/Commands.h"
#include "workstation/velhost/Failure.h"

extern const char tessaryVersion[]; // feature/Version.cpp, the one place that has it

namespace fs = std::filesystem;

namespace velhost {

namespace {

// What the help adds to the list of options. The tables in it are what the examples really print.
constexpr const char* mainFooter = R"(Example:
  velhost replay examples/day.triggers

Exit status: 0 done; 1 failed on the way; 2 refused, nothing was played.)";

constexpr const char* replayFooter = R"(The script has one call a line; '#' begins a comment:
  classify APP TYPE [OP]     classification trigger (TYPE 0..16777215, OP 0..255, 1 when left out)
  remove APP                 classification trigger with operation 0
  weight APP VALUE           weight trigger
  report APP [M0 M1 M2 ...]  measurements
  query APP [type|weight]    prints "APP type 17"
  trigger ID ARG APP VALUE   any trigger
Numbers are decimal or 0x.... APP may be quoted: "a b", with \" \\ \n \r \t \0 \xHH.
A script with a mistake is refused as FILE:LINE: what is wrong, and nothing of it is played.

Example:
  printf 'classify com.example.game 17\nreport com.example.game 500 400 300\n' | velhost replay --data /tmp/vel -

Prints the answers to the queries and then a table, one line an application:
  APPLICATION       TYPE  WEIGHT  PEAK0  PEAK1  PEAK2       VERDICT
  com.example.game    17       1    500    400    300  2000 >= 1900
The verdict is 2 * peak 0 + peak 1 + 2 * peak 2 against the heavy-game threshold.)";

constexpr const char* dumpFooter =
    R"(Example, with NAME.db and NAMEHeavyGame.db, and their -wal files if any, pulled into a folder:
  velhost dump --data pulled

Prints a table, one line an application:
  APPLICATION       TYPE  WEIGHT  PEAK0  PEAK1  PEAK2       VERDICT
  com.example.game    17       1    500    400    300  2000 >= 1900
The files and their folder are not changed: a private copy is read.)";

/// The build tree that this program lies in, wherever that was moved.
fs::path buildTree() { return fs::read_symlink("/proc/self/exe").parent_path().parent_path(); }

/// The options that say which files are meant and how they are printed.
void addCommonOptions(CLI::App& command, DumpOptions& options) {
    command.add_option("--data", options.data, "Directory of the database files (build tree's data)")->type_name("DIR");
    command.add_option("--name", options.name, "Name of the feature and its files (Tessary)")->type_name("NAME");
    command
        .add_option_function<std::string>(
            "--format",
            [&options](const std::string& word) { options.format = word == "json" ? Format::json : Format::text; },
            "text (default) or json")
        // Without a description of its own: the option's names the words.
        ->check(CLI::IsMember({"text", "json"}).description(""))
        ->type_name("FORMAT");
}

CLI::App* addReplay(CLI::App& app, ReplayOptions& options) {
    CLI::App* command = app.add_subcommand("replay", "Play a script into the plug-in and print the classification");
    command->add_option("FILE", options.script, "Script to play; - (default) is standard input")->type_name("");
    addCommonOptions(*command, options);
    command->add_option("--plugin", options.plugin, "Plug-in to load (build tree's libtessary.so)")->type_name("PATH");
    // One value for each --prop, or the script behind it would be taken for another.
    command->add_option("--prop", options.properties, "Set a system property before the load (repeatable)")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    command->add_flag("--quiet", options.quiet, "Drop the log lines");
    command->footer(replayFooter);
    return command;
}

CLI::App* addDump(CLI::App& app, DumpOptions& options) {
    CLI::App* command = app.add_subcommand("dump", "Print the classification that lies in database files");
    addCommonOptions(*command, options);
    command->footer(dumpFooter);
    return command;
}

} // namespace

int run(int argc, char** argv) {
    // The options must outlive the parser, which fills them through references.
    ReplayOptions replayOptions;
    DumpOptions dumpOptions;
    replayOptions.data = dumpOptions.data = buildTree() / "data";
    replayOptions.plugin = buildTree() / "lib" / "libtessary.so";
    CLI::App app("Loads the classifier plug-in as its host does and drives it from a script.", "velhost");
    app.set_version_flag("--version", std::string("velhost, ") + tessaryVersion);
    app.footer(mainFooter);
    app.require_subcommand(0, 1); // none is refused below, where a misspelt one has been named already
    const CLI::App* replayCommand = addReplay(app, replayOptions);
    const CLI::App* dumpCommand = addDump(app, dumpOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) { // or the version
        app.exit(help, std::cout, std::cerr);
        Output(stdout).finish();
        return 0;
    } catch (const CLI::ParseError& error) {
        // Not in CLI11's own form, which takes several lines and has statuses of its own.
        throw Refusal(std::string(error.what()) + " (velhost --help says more)");
    }
    if (replayCommand->parsed()) {
        replay(replayOptions);
    } else if (dumpCommand->parsed()) {
        dump(dumpOptions);
    } else {
        throw Refusal("expects replay or dump (velhost --help says more)");
    }
    return 0;
}

} // namespace velhost
