#include "workstation/velhost/Output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

#include "workstation/velhost/Error.h"
#include "workstation/velhost/Text.h"

namespace velhost {

void writeOutput(std::string_view text, bool isLast) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || (isLast && std::fflush(stdout) != 0)) {
        throw Error(Exit::failed, std::string("the output could not be written: ") + std::strerror(errno));
    }
}

void writeMessage(std::string_view text) { std::fprintf(stderr, "%s\n", escaped(text).c_str()); }

std::size_t terminalWidth() {
    if (isatty(STDOUT_FILENO) != 1) {
        return 0;
    }
    const char* columns = std::getenv("COLUMNS");
    if (const int wanted = columns == nullptr ? 0 : std::atoi(columns); wanted > 0) { // NOLINT(cert-err34-c)
        return static_cast<std::size_t>(wanted);
    }
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace velhost
