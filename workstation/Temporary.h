#ifndef WORKSTATION_TEMPORARY_H
#define WORKSTATION_TEMPORARY_H

#include <filesystem>

namespace velhost {

/// A new directory for a test or a benchmark. It is removed with all it holds when its owner goes.
class TemporaryDirectory {
public:
    /// Throws std::system_error when it cannot be made.
    TemporaryDirectory();
    /// What cannot be removed stays.
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
