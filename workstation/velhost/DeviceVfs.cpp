#include "workstation/velhost/DeviceVfs.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

namespace velhost {

DeviceVfs::DeviceVfs(const std::filesystem::path& directory) {
    const std::string& path = directory.native();
    sqlite3_vfs* base = sqlite3_vfs_find(nullptr);
    if (base == nullptr || path.size() >= sizeof(mapping.directory)) {
        throw std::runtime_error(path + ": no directory that SQLite can use");
    }
    // Copies the base whole, its private data included. Only the name and this one step are ours.
    static_cast<sqlite3_vfs&>(mapping) = *base;
    mapping.base = base;
    std::memcpy(mapping.directory, path.c_str(), path.size() + 1);
    mapping.zName = "velhost-device";
    mapping.xFullPathname = fullPathname;
    sqlite3_vfs_register(&mapping, 1); // which fails only where there was no default either
}

DeviceVfs::~DeviceVfs() { sqlite3_vfs_unregister(&mapping); }

std::size_t DeviceVfs::longestPath() {
    const sqlite3_vfs* base = sqlite3_vfs_find(nullptr);
    return base == nullptr ? 0 : static_cast<std::size_t>(base->mxPathname);
}

int DeviceVfs::fullPathname(sqlite3_vfs* vfs, const char* name, int size, char* path) noexcept {
    // SQLite hands back the pointer that was registered.
    const auto* mapping = static_cast<const Mapping*>(vfs);
    const std::size_t prefix = std::strlen(deviceDirectory);
    if (std::strncmp(name, deviceDirectory, prefix) != 0) {
        return mapping->base->xFullPathname(mapping->base, name, size, path);
    }
    // Room for the directory and for a name as long again.
    char mapped[2 * sizeof(mapping->directory)];
    const int length = std::snprintf(mapped, sizeof(mapped), "%s/%s", mapping->directory, name + prefix);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof(mapped)) {
        return SQLITE_CANTOPEN;
    }
    return mapping->base->xFullPathname(mapping->base, mapped, size, path);
}

} // namespace velhost
