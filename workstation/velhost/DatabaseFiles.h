#ifndef WORKSTATION_VELHOST_DATABASEFILES_H
#define WORKSTATION_VELHOST_DATABASEFILES_H

#include <filesystem>
#include <string>

namespace velhost {

/// Where a feature's two databases lie, NAME.db and NAMEHeavyGame.db. Only names: nothing need exist.
struct DatabaseFiles {
    /// The database of types and weights.
    std::filesystem::path classifier;
    /// The database of peaks.
    std::filesystem::path heavyGame;

    /// The files of the feature called `name` in `directory`. Throws Error for a name that would lead out of the
    /// directory or makes a path that is too long for SQLite.
    DatabaseFiles(const std::filesystem::path& directory, const std::string& name);

    /// False when the heavy-game file is known to be missing.
    bool hasHeavyGame() const;
};

/// Throws Error when `directory` lacks the classifier's file. The message names the folders inside that have one.
void requireClassifier(const std::filesystem::path& directory, const std::string& name);

/// Returns the absolute path of the directory, which is created when it is missing. Throws Error unless files can be
/// made in it.
std::filesystem::path prepareDataDirectory(const std::filesystem::path& directory);

} // namespace velhost

#endif
