#ifndef WORKSTATION_VELHOST_DATABASECOPY_H
#define WORKSTATION_VELHOST_DATABASECOPY_H

#include "workstation/velhost/DatabaseFiles.h"
#include "workstation/velhost/Temporary.h"

namespace velhost {

/// A private copy of a feature's database files with the logs and journals beside them, which hold committed rows that
/// the files lack. Reading a database writes into its folder; reading the copy leaves the originals alone.
class DatabaseCopy {
public:
    /// Throws Refusal when a file cannot be copied or the classifier's is missing. The files should not be in use.
    explicit DatabaseCopy(const DatabaseFiles& originals);

    /// The copies, there for as long as this object.
    const DatabaseFiles& files() const { return copies; }

private:
    TemporaryDirectory directory;
    DatabaseFiles copies;
};

} // namespace velhost

#endif
