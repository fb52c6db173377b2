#include "workstation/velhost/Temporary.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include "workstation/velhost/Error.h"

namespace velhost {

TemporaryDirectory::TemporaryDirectory() {
    std::string path = std::filesystem::absolute(std::filesystem::temp_directory_path()) / "velhost-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        throw Error(Exit::refused, path + ": " + std::strerror(errno));
    }
    directory = path;
}

TemporaryDirectory::~TemporaryDirectory() {
    // A destructor has nobody to tell; what cannot be removed stays in the directory for temporary files.
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

} // namespace velhost
