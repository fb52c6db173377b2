#ifndef TESTS_SUPPORT_DEVICE_H
#define TESTS_SUPPORT_DEVICE_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "workstation/velhost/DeviceVfs.h"

/// One log call as the product made it. Fixed buffers, so that lines are kept also while allocations fail; a longer
/// text is cut.
struct LogLine {
    int priority = 0;
    char tag[24] = {};
    char format[96] = {};
    char text[512] = {};
};

/// A device for one test: "/data/vendor/vel/" is a fresh temporary folder, no system property is set and the log is
/// empty. The executable's log and property functions are this device's. One device at a time; it must outlive every
/// connection that was opened on it.
class Device {
public:
    Device();
    ~Device();

    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// The real place of a file below "/data/vendor/vel/"; the folder itself without a name.
    std::filesystem::path file(const std::string& name = "") const { return folder / name; }

    /// Takes the folder away, as on a device whose data partition is not there.
    void loseFolder() { std::filesystem::remove_all(folder); }

    static void setProperty(const std::string& key, const std::string& value);

    /// Removes the lines logged so far and returns them as "E VELDB: openVeldb() #: message\n": the priority's letter
    /// and the text, with # for the source line. A line that is not of the common form is marked. Callable from any
    /// thread, as logging is.
    static std::vector<std::string> takeLog();

    /// As takeLog, without needing memory: drops the lines and returns how many there were, those beyond the 512 that
    /// are kept included.
    static std::size_t dropLog();

private:
    std::filesystem::path folder;
    std::optional<velhost::DeviceVfs> vfs;
};

#endif
