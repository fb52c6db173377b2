#ifndef WORKSTATION_VELHOST_COMMANDS_H
#define WORKSTATION_VELHOST_COMMANDS_H

#include <filesystem>
#include <string>
#include <vector>

#include "workstation/velhost/Printer.h"

// What velhost does once its command line is understood. Both commands print on standard output and throw Refusal or
// Failure.

namespace velhost {

struct DumpOptions {
    std::filesystem::path data; ///< the directory of the database files
    std::string name = "Tessary";
    Format format = Format::text;
};

struct ReplayOptions : DumpOptions {
    std::string script = "-"; ///< "-" is standard input
    std::filesystem::path plugin;
    std::vector<std::string> properties; ///< "KEY=VALUE" each
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
