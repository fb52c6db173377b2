#include <csignal>

#include <fcntl.h>

#include "workstation/velhost/Commands.h"
#include "workstation/velhost/Error.h"
#include "workstation/velhost/Output.h"

namespace {

/// Opens /dev/null for each closed standard stream. Otherwise a database could get its descriptor and be printed into.
void occupyStandardStreams() {
    for (const int stream : {0, 1, 2}) {
        if (fcntl(stream, F_GETFD) == -1) {
            // The wrong way round, so that reading or writing the closed stream still fails.
            open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardStreams();
    std::signal(SIGPIPE, SIG_DFL); // a parent may ignore it, and then "velhost dump | head -1" would complain
    try {
        return static_cast<int>(velhost::run(argc, argv));
    } catch (const velhost::Error& error) {
        velhost::writeMessage(error.what());
        return static_cast<int>(error.status);
    } catch (const std::exception& error) {
        velhost::writeMessage(std::string("velhost: ") + error.what());
        return static_cast<int>(velhost::Exit::failed);
    }
}
