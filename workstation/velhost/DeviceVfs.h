#ifndef WORKSTATION_VELHOST_DEVICEVFS_H
#define WORKSTATION_VELHOST_DEVICEVFS_H

#include <cstddef>
#include <filesystem>

#include <sqlite3.h>

// Maps the plug-in's fixed directory to a real one, without a hook in the plug-in: the plug-in asks SQLite for a path
// below the device's directory, and SQLite asks its default VFS which file that is.

namespace velhost {

/// While it lives, SQLite opens files below "/data/vendor/vel/" in a real directory instead. It copies the default VFS,
/// replaces xFullPathname and registers the copy as the new default. All other paths stay as they are.
/// Close the connections that were opened meanwhile before it is destroyed. Create and destroy it while no other thread
/// opens a database.
class DeviceVfs {
public:
    /// The directory that a device has and a workstation lacks.
    static constexpr const char* deviceDirectory = "/data/vendor/vel/";

    /// `directory` should be absolute; it need not exist yet. Throws std::runtime_error when its path is too long.
    explicit DeviceVfs(const std::filesystem::path& directory);
    ~DeviceVfs();

    // SQLite holds its address.
    DeviceVfs(const DeviceVfs&) = delete;
    DeviceVfs& operator=(const DeviceVfs&) = delete;

    /// The longest path, in bytes, that SQLite opens here.
    static std::size_t longestPath();

private:
    // Used inside SQLite's C frames: nothing that allocates or throws.
    struct Mapping : sqlite3_vfs {
        sqlite3_vfs* base;
        char directory[1024];
    };

    /// xFullPathname: the real path for a path below the device's directory, the base's answer for any other. A path
    /// that does not fit is SQLITE_CANTOPEN.
    static int fullPathname(sqlite3_vfs* vfs, const char* name, int size, char* path) noexcept;

    Mapping mapping{};
};

} // namespace velhost

#endif
