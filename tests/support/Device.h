#ifndef TESTS_SUPPORT_DEVICE_H
#define TESTS_SUPPORT_DEVICE_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "workstation/velhost/DeviceVfs.h"

/// A device for one test: "/data/vendor/vel/" is a fresh temporary folder, no system property is set and the log is
/// empty. The executable's log and property functions are this device's. One at a time; outlives its connections.
class Device {
public:
    Device();
    ~Device();
    Device(const Device&) = delete;

    /// The real place of a file below "/data/vendor/vel/"; the folder itself without a name.
    std::filesystem::path file(const std::string& name = "") const { return folder / name; }

    static void setProperty(const std::string& key, const std::string& value);

    /// Removes the lines logged so far and returns them as "E VELDB: openVeldb() #: message\n": the priority's letter
    /// and the text, with # for the source line. A line that is not of the common form is marked. Any thread may log.
    static std::vector<std::string> takeLog();

    /// As takeLog, without needing memory: returns how many lines there were, also beyond the 512 that are kept.
    static std::size_t dropLog();

private:
    std::filesystem::path folder;
    std::optional<velhost::DeviceVfs> vfs;
};

#endif
