#include "workstation/velhost/DatabaseCopy.h"

#include <filesystem>
#include <system_error>

#include "workstation/velhost/Failure.h"

namespace fs = std::filesystem;

namespace velhost {

namespace {

/// "NAME.db" and a suffix make the file that SQLite keeps beside the database.
fs::path beside(const fs::path& file, const char* suffix) { return file.native() + suffix; }

/// Copies an ordinary file; a directory, pipe or device is refused and not waited for.
void copyFile(const fs::path& from, const fs::path& to) {
    std::error_code error;
    fs::copy_file(from, to, error);
    if (!error) {
        // The copy must be writable although the original may not be.
        fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, error);
    }
    if (error) {
        throw Refusal(from.string() + ": " + error.message());
    }
}

void copyWithLogs(const fs::path& from, const fs::path& to) {
    copyFile(from, to);
    // Not "-shm", an index of the log that SQLite makes again. A journal is there when the device could not switch to
    // write-ahead logging and was stopped in mid-transaction.
    for (const char* suffix : {"-wal", "-journal"}) {
        std::error_code ignored;
        if (fs::exists(beside(from, suffix), ignored)) {
            copyFile(beside(from, suffix), beside(to, suffix));
        }
    }
}

} // namespace

DatabaseCopy::DatabaseCopy(const DatabaseFiles& originals) : copies(directory.path(), "copy") {
    copyWithLogs(originals.classifier, copies.classifier);
    if (originals.hasHeavyGame()) {
        copyWithLogs(originals.heavyGame, copies.heavyGame);
    }
}

} // namespace velhost
