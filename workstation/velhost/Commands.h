#ifndef WORKSTATION_VELHOST_COMMANDS_H
#define WORKSTATION_VELHOST_COMMANDS_H

#include <filesystem>
#include <string>
#include <vector>

#include "workstation/velhost/Error.h"
#include "workstation/velhost/Printer.h"

// The commands of velhost. Results go to standard output, notes to standard error. A command that fails throws Error.

namespace velhost {

/// Which database files a command works on, and how it prints them.
struct FileOptions {
    std::filesystem::path data;   ///< the directory of the database files
    std::string name = "Tessary"; ///< the feature's name, with which the file names begin
    Format format = Format::text;
};

/// What `replay` is asked to do.
struct ReplayOptions : FileOptions {
    std::string script = "-";            ///< "-" is standard input
    std::filesystem::path plugin;        ///< the library to load
    std::vector<std::string> properties; ///< system properties to set before the load; "KEY=VALUE" each
    bool quiet = false;                  ///< drops the log lines of the plug-in, at every priority
    bool trace = false;                  ///< announces each call on standard error
};

/// Prints what the files hold, then what is wrong with it. Leaves the files as they are.
Exit dump(const FileOptions& options);

/// Checks the script, loads the plug-in, plays the script into a new feature, deletes it and prints as `dump` does.
/// Nothing is loaded or made on disk before the whole script was found good.
Exit replay(const ReplayOptions& options);

/// Reads the command line and runs the command that it asks for. Defined in CommandLine.cpp.
Exit run(int argc, char** argv);

} // namespace velhost

#endif
