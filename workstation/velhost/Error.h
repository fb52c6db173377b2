#ifndef WORKSTATION_VELHOST_ERROR_H
#define WORKSTATION_VELHOST_ERROR_H

#include <stdexcept>
#include <string>

namespace velhost {

/// How a command ends: the exit statuses of the process.
enum class Exit {
    sound = 0,   ///< done, and the files are as the feature leaves them
    failed = 1,  ///< stopped on the way; calls that were played stay on disk
    refused = 2, ///< the request cannot be met; nothing was played or printed
    noted = 3,   ///< done, and a note on standard error says what is wrong with the files
};

/// Ends the command with a status. `what()` is the one line for the user. It begins with `place`: the program, or
/// FILE:LINE of a script, where editors look for it.
class Error : public std::runtime_error {
public:
    Error(Exit exitStatus, const std::string& message, const std::string& place = "velhost")
        : std::runtime_error(place + ": " + message), status(exitStatus) {}

    /// The same message with another status.
    Error(Exit exitStatus, const Error& other) : std::runtime_error(other.what()), status(exitStatus) {}

    const Exit status;
};

} // namespace velhost

#endif
