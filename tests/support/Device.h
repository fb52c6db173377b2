#ifndef TESTS_SUPPORT_DEVICE_H
#define TESTS_SUPPORT_DEVICE_H

#include <filesystem>
#include <string>
#include <vector>

#include "workstation/Temporary.h"
#include "workstation/velhost/DeviceVfs.h"

using Lines = std::vector<std::string>;

/// All bytes of a file; none if it cannot be read.
std::string contentOf(const std::filesystem::path& file);

/// A device for one test: "/data/vendor/vel/" is a fresh temporary folder and the log is empty. All devices share one
/// log. The path leads to the folder of the latest device. Close all connections before the device is destroyed.
class Device {
public:
    Device() { takeLog(); }

    /// The real place of a file below "/data/vendor/vel/"; the folder itself without a name.
    std::filesystem::path file(const std::string& name = "") const { return directory.path() / name; }

    /// Removes the lines logged so far and returns them as "E VELDB: openVeldb() #: message\n": the priority's letter
    /// and the text, with # for the source line. A line that is not of the common form is marked. Any thread may log.
    static Lines takeLog();

private:
    const velhost::TemporaryDirectory directory;
    const velhost::DeviceVfs vfs{directory.path()};
};

#endif
