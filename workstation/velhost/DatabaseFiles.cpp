#include "workstation/velhost/DatabaseFiles.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Error.h"
#include "workstation/velhost/Text.h"

namespace fs = std::filesystem;

namespace velhost {

DatabaseFiles::DatabaseFiles(const fs::path& directory, const std::string& name)
    : classifier(directory / (name + ".db")), heavyGame(directory / (name + "HeavyGame.db")) {
    if (name.find('/') != std::string::npos) {
        throw Error(Exit::refused, "the name " + inQuotes(name) + " must not hold a '/'");
    }
    // SQLite would only say that it cannot open the file. File names end at 255 bytes; 240 leaves room for "-journal".
    const std::string longest = fs::absolute(heavyGame).native();
    if (longest.size() + sizeof("-journal") > DeviceVfs::longestPath() || heavyGame.filename().native().size() > 240) {
        throw Error(Exit::refused, longest + ": the path is too long");
    }
}

bool DatabaseFiles::hasHeavyGame() const {
    std::error_code error;
    return fs::exists(heavyGame, error) || error; // opening it will say why
}

void requireClassifier(const fs::path& directory, const std::string& name) {
    std::error_code error;
    const fs::path missing = DatabaseFiles(directory, name).classifier;
    if (fs::exists(missing, error) || error) {
        return; // opening it will say what is wrong
    }
    std::string message = missing.string() + ": no such file";
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, error)) {
        if (fs::exists(entry.path() / missing.filename(), error)) {
            message += "; there is one in " + entry.path().string();
        }
    }
    throw Error(Exit::refused, message);
}

fs::path prepareDataDirectory(const fs::path& directory) {
    std::error_code error;
    fs::create_directories(directory, error);
    // Resolves symbolic links now: SQLite uses this path until the feature is deleted.
    fs::path canonical = error ? fs::path() : fs::canonical(directory, error);
    if (!error && access(canonical.c_str(), W_OK | X_OK) != 0) {
        error.assign(errno, std::generic_category());
    }
    if (error) {
        throw Error(Exit::refused, directory.string() + ": the data directory is not writable: " + error.message());
    }
    return canonical;
}

} // namespace velhost
