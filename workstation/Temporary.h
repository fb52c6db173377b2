#ifndef WORKSTATION_TEMPORARY_H
#define WORKSTATION_TEMPORARY_H

#include <filesystem>

namespace velhost {

/// A new directory. The destructor removes it with all it holds.
class TemporaryDirectory {
public:
    /// Throws std::system_error when it cannot be made.
    TemporaryDirectory();
    /// Leaves behind what it cannot remove.
    ~TemporaryDirectory();

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    /// The absolute path.
    const std::filesystem::path& path() const { return directory; }

private:
    std::filesystem::path directory;
};

} // namespace velhost

#endif
