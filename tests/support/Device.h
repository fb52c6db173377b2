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

/// A device for one test: "/data/vendor/vel/" is a fresh temporary folder and the log is empty. If two devices exist,
/// the path leads to the folder of the newer one, and they share the log. Destroy a device after its connections.
class Device {
public:
    Device() { takeLog(); }

    /// The real path of a file below "/data/vendor/vel/". Without an argument, the folder.
    std::filesystem::path file(const std::string& name = "") const { return directory.path() / name; }

    /// Removes the lines logged so far and returns them as "E VELDB: openVeldb() #: message\n": the priority's letter
    /// and the text, with # for the source line. Marks a line that is not of the common form. Keeps at most 512 lines
    /// of 511 characters and drops the rest. Any thread may log.
    static Lines takeLog();

private:
    const velhost::TemporaryDirectory directory;
    const velhost::DeviceVfs vfs{directory.path()};
};

#endif
