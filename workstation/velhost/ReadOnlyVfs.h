#ifndef WORKSTATION_VELHOST_READONLYVFS_H
#define WORKSTATION_VELHOST_READONLYVFS_H

namespace velhost {

/// Registers, once, a VFS that only reads, and returns its name. It opens a database and the "-wal" beside it, both for
/// reading, and nothing else: no journal is played back, no file is made, changed, locked or deleted.
///
/// It has no shared memory: before the first read switch to `PRAGMA locking_mode = EXCLUSIVE`, with which SQLite keeps
/// the index of the "-wal" on its heap. Nobody may write the files meanwhile. One thread at a time.
const char* readOnlyVfs();

} // namespace velhost

#endif
