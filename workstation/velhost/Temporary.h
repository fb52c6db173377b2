#ifndef WORKSTATION_VELHOST_TEMPORARY_H
#define WORKSTATION_VELHOST_TEMPORARY_H

#include <filesystem>

namespace velhost {

/// A new directory that only this user can enter. It is removed with all it holds when its owner goes.
class TemporaryDirectory {
public:
    /// Throws Error when it cannot be made.
    TemporaryDirectory();
    /// What cannot be removed stays, without a word.
    ~TemporaryDirectory();

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    /// The absolute path; there for as long as this object.
    const std::filesystem::path& path() const { return directory; }

private:
    // Absolute, so that a change of the working directory cannot lead the removal elsewhere.
    std::filesystem::path directory;
};

} // namespace velhost

#endif
