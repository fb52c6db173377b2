#ifndef WORKSTATION_VELHOST_DATABASEFILES_H
#define WORKSTATION_VELHOST_DATABASEFILES_H

#include <filesystem>
#include <string>

// The names and the place of a feature's two databases, NAME.db and NAMEHeavyGame.db, on a workstation.

namespace velhost {

/// Where a feature's two databases lie. The heavy-game file may be missing.
/// Only names: nothing is opened, and nothing need exist.
struct DatabaseFiles {
    /// The database of types and weights.
    std::filesystem::path classifier;
    /// The database of peaks.
    std::filesystem::path heavyGame;

    /// The files of the feature called `name` in `directory`. Throws Refusal for a name that would lead out of the
    /// directory or makes a path that is too long for SQLite.
    DatabaseFiles(const std::filesystem::path& directory, const std::string& name);

    /// False when the heavy-game file is known to be missing.
    bool hasHeavyGame() const;
};

/// Says on standard error that the heavy-game file is missing, if it is.
void noteMissingPeaks(const DatabaseFiles& files);

/// Returns the absolute path of the directory, which is created when it is missing. Throws Refusal unless files can be
/// made in it.
std::filesystem::path prepareDataDirectory(const std::filesystem::path& directory);

} // namespace velhost

#endif
