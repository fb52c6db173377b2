#ifndef WORKSTATION_VELHOST_DATABASECOPY_H
#define WORKSTATION_VELHOST_DATABASECOPY_H

#include "workstation/velhost/DatabaseFiles.h"
#include "workstation/velhost/Temporary.h"

// How the files of a device are read without touching them: not even SQLite's reading of a database is free of writes,
// since the write-ahead log beside it has to be recovered, indexed and in the end removed.

namespace velhost {

/// A private copy of a feature's database files with the logs and journals beside them, which hold committed rows that
/// the files lack. Reading a database writes into its folder; reading the copy leaves the originals alone.
class DatabaseCopy {
public:
    /// Throws Refusal when a file cannot be copied or the classifier's is missing. The files should not be in use:
    /// a file and its log are copied one after the other and would not fit each other after a write in between.
    explicit DatabaseCopy(const DatabaseFiles& originals);

    /// The copies. They may be written to and are removed with this object.
    const DatabaseFiles& files() const { return copies; }

private:
    // In this order: the names of the copies begin with the directory's.
    TemporaryDirectory directory;
    DatabaseFiles copies;
};

} // namespace velhost

#endif
