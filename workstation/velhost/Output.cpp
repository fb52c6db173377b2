#include "workstation/velhost/Output.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "workstation/velhost/Failure.h"

namespace velhost {

namespace {

[[noreturn]] void fail() { throw Failure(std::string("the output could not be written: ") + std::strerror(errno)); }

} // namespace

void Output::write(std::string_view text) {
    // Checked at each write: a long table must not be made for a pipe that is closed.
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) {
        fail();
    }
}

void Output::finish() {
    // A full disk may show only here.
    if (std::fflush(file) != 0) {
        fail();
    }
}

} // namespace velhost
