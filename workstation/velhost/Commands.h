#ifndef WORKSTATION_VELHOST_COMMANDS_H
#define WORKSTATION_VELHOST_COMMANDS_H

#include <filesystem>
#include <string>
#include <vector>

#include "workstation/velhost/Printer.h"

// What velhost does once its command line is understood. Both commands print on standard output and throw Refusal or
// Failure.

namespace velhost {

/// What `dump` is asked to do.
struct DumpOptions {
    /// The directory of the database files.
    std::filesystem::path data;
    /// The feature's name, from which the files have theirs.
    std::string name = "Tessary";
    Format format = Format::text;
};

/// What `replay` is asked to do: the files are those that it plays into.
struct ReplayOptions : DumpOptions {
    /// "-" is standard input.
    std::string script = "-";
    /// The library to load.
    std::filesystem::path plugin;
    /// System properties to set before the load, in this order; "KEY=VALUE" each.
    std::vector<std::string> properties;
    /// Drops the log lines of the plug-in, at every priority.
    bool quiet = false;
};

/// Prints the classification that lies in the files, which are left as they are.
void dump(const DumpOptions& options);

/// Checks the script, loads the plug-in, plays the script into a new feature, deletes it and prints the classification.
/// Nothing is loaded or made on disk before the whole script was found good.
void replay(const ReplayOptions& options);

/// Reads the command line, runs the command that it asks for and returns the exit status.
int run(int argc, char** argv);

} // namespace velhost

#endif
