#ifndef WORKSTATION_VELHOST_TEMPORARY_H
#define WORKSTATION_VELHOST_TEMPORARY_H

#include <cstdio>
#include <filesystem>
#include <memory>

// Files that exist for the time of one command, in the system's directory for them.

namespace velhost {

/// Closes a file without asking how that went: for files that were read, or that go with the process.
struct FileCloser {
    /// A file that was written and must be whole is flushed, and that checked, before.
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// An open file of the C library, closed with its owner.
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a new empty file without a name, for writing and reading; it takes no room any more once it is closed.
/// Throws Refusal when the system's directory for temporary files (TMPDIR) does not take it.
FileHandle openNamelessFile();

/// A new directory that only this user can enter. It is removed with all it holds when its owner goes.
class TemporaryDirectory {
public:
    /// Throws Refusal when it cannot be made.
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
