#include <csignal>
#include <cstdio>
#include <exception>

#include <fcntl.h>

#include "workstation/velhost/Commands.h"
#include "workstation/velhost/Failure.h"

namespace {

/// Fills closed standard streams with files that fail, lest a database or the script's copy take their number.
void occupyStandardStreams() {
    for (const int stream : {0, 1, 2}) {
        if (fcntl(stream, F_GETFD) == -1) {
            open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY);
        }
    }
}

/// One line for the user, whatever went wrong.
int complain(const std::exception& error, int status) {
    std::fprintf(stderr, "velhost: %s\n", error.what());
    return status;
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardStreams();
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is then a failed write, after which everything is still put away
    try {
        return velhost::run(argc, argv);
    } catch (const velhost::ScriptRefusal& refusal) {
        // The place of the mistake stands first, where editors look for it.
        std::fprintf(stderr, "%s\n", refusal.what());
        return 2;
    } catch (const velhost::Refusal& refusal) {
        return complain(refusal, 2);
    } catch (const std::exception& failure) {
        return complain(failure, 1);
    }
}
