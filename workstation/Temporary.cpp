#include "workstation/Temporary.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace velhost {

TemporaryDirectory::TemporaryDirectory() {
    std::string path = std::filesystem::absolute(std::filesystem::temp_directory_path()) / "velhost-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    directory = path;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

} // namespace velhost
