#ifndef WORKSTATION_VELHOST_COMMANDS_H
#define WORKSTATION_VELHOST_COMMANDS_H

#include <filesystem>
#include <string>
#include <vector>

#include "workstation/velhost/Error.h"
#include "workstation/velhost/Printer.h"

// What velhost does once its command line is understood. Everything prints on standard output and throws Error.

namespace velhost {

/// What `dump` is asked to do.
struct DumpOptions {
    /// The directory of the database files; empty for the default.
    std::filesystem::path data;
    /// The feature's name, from which the files have theirs.
    std::string name = "Tessary";
    Format format = Format::text;
};

/// What `replay` is asked to do: the files are those that it plays into.
struct ReplayOptions : DumpOptions {
    /// "-" is standard input.
    std::string script = "-";
    /// The library to load; empty for the default.
    std::filesystem::path plugin;
    /// System properties to set before the load, in this order; "KEY=VALUE" each.
    std::vector<std::string> properties;
    /// Drops the log lines of the plug-in, at every priority.
    bool quiet = false;
    /// Announces each call on standard error.
    bool trace = false;
};

/// Prints the classification that lies in the files, which are left as they are, and then what is wrong with it.
Exit dump(const DumpOptions& options);

/// Checks the script, loads the plug-in, plays the script into a new feature, deletes it and prints as `dump` does.
/// Nothing is loaded or made on disk before the whole script was found good.
Exit replay(const ReplayOptions& options);

/// Prints what both databases hold, and their notes on standard error.
Exit show(const DatabaseFiles& files, Printer& printer);

/// Reads the command line and runs the command that it asks for.
Exit run(int argc, char** argv);

} // namespace velhost

#endif
