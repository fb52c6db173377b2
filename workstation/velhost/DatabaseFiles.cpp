#include "workstation/velhost/DatabaseFiles.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <unistd.h>

#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Failure.h"
#include "workstation/velhost/Text.h"

namespace fs = std::filesystem;

namespace velhost {

namespace {

fs::path heavyGamePath(const fs::path& directory, const std::string& name) {
    return directory / (name + "HeavyGame.db");
}

/// SQLite would only say that it cannot open the file, and the feature would go on without it.
void refuseLongPath(const fs::path& directory, const std::string& name) {
    std::error_code error;
    const std::string longest = heavyGamePath(fs::absolute(directory, error), name).native() + "-journal";
    // File systems end at 255 bytes for a name, with its ending.
    if (name.size() > 200 || longest.size() > DeviceVfs::longestPath()) {
        throw Refusal(directory.string() + ": the path or the name " + named(name) + " is too long for SQLite");
    }
}

/// Permission bits do not tell (root, read-only mounts), so a file is made and removed.
void refuseUnwritable(const fs::path& directory) {
    std::string probe = directory / ".velhost-XXXXXX";
    const int descriptor = mkstemp(probe.data());
    if (descriptor < 0) {
        throw Refusal(directory.string() + ": the data directory is not writable: " + std::strerror(errno));
    }
    close(descriptor);
    unlink(probe.c_str());
}

} // namespace

DatabaseFiles::DatabaseFiles(const fs::path& directory, const std::string& name)
    : classifier(directory / (name + ".db")), heavyGame(heavyGamePath(directory, name)) {
    if (directory.empty()) {
        throw Refusal("the data directory has no name");
    }
    // The name goes into a path as it is.
    if (name.find('/') != std::string::npos) {
        throw Refusal("the name " + named(name) + " must not hold a '/'");
    }
    refuseLongPath(directory, name);
}

bool DatabaseFiles::hasHeavyGame() const {
    std::error_code error;
    // When that cannot be told, opening it will say why.
    return fs::exists(heavyGame, error) || error;
}

void noteMissingPeaks(const DatabaseFiles& files) {
    if (!files.hasHeavyGame()) {
        std::fprintf(stderr, "velhost: note: %s is missing, so no peaks are shown\n", files.heavyGame.c_str());
    }
}

fs::path prepareDataDirectory(const fs::path& directory) {
    std::error_code error;
    fs::create_directories(directory, error);
    // Links resolved: SQLite is given this path for as long as the feature lives.
    fs::path whole = error ? fs::path() : fs::canonical(directory, error);
    if (error) {
        throw Refusal(directory.string() + ": no data directory: " + error.message());
    }
    refuseUnwritable(whole);
    return whole;
}

} // namespace velhost
