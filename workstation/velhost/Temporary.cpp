#include "workstation/velhost/Temporary.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include <unistd.h>

#include "workstation/velhost/Failure.h"

namespace velhost {

namespace {

/// A pattern for mkstemp and mkdtemp, absolute so that nothing in it is taken for an option or a URI.
std::string temporaryTemplate() {
    std::error_code error;
    const auto directory = std::filesystem::temp_directory_path(error);
    if (error) {
        throw Refusal("no directory for temporary files (TMPDIR): " + error.message());
    }
    return std::filesystem::absolute(directory) / "velhost-XXXXXX";
}

/// Refuses for the reason in errno, before anything else can change it.
[[noreturn]] void refuse(const std::string& path) { throw Refusal(path + ": " + std::strerror(errno)); }

} // namespace

FileHandle openNamelessFile() {
    std::string path = temporaryTemplate();
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0) {
        refuse(path);
    }
    // Nothing is left behind, however the process ends.
    unlink(path.c_str());
    FileHandle file(fdopen(descriptor, "w+"));
    if (!file) {
        close(descriptor);
        refuse(path);
    }
    return file;
}

TemporaryDirectory::TemporaryDirectory() {
    std::string path = temporaryTemplate();
    if (mkdtemp(path.data()) == nullptr) {
        refuse(path);
    }
    directory = path;
}

TemporaryDirectory::~TemporaryDirectory() {
    // A destructor has nobody to tell; what cannot be removed stays in the directory for temporary files.
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

} // namespace velhost
