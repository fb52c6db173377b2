#include "workstation/velhost/Progress.h"

#include <cstdio>

#include <unistd.h>

namespace velhost {

namespace {

// Also the time that a replay must take before it shows anything.
constexpr std::chrono::milliseconds interval{250};

} // namespace

// Into a file or a pipe nothing is shown: it would stand between the log lines for good.
Progress::Progress(std::size_t callCount)
    : total(callCount), onTerminal(isatty(STDERR_FILENO) == 1), due(Clock::now() + interval) {}

Progress::~Progress() {
    // What comes next, a table or a message, begins on a clean line.
    if (shown) {
        std::fputs("\033[K", stderr);
    }
}

void Progress::update(std::size_t done) {
    if (!onTerminal || Clock::now() < due) {
        return;
    }
    due = Clock::now() + interval;
    shown = true;
    // The cursor stays at the beginning, so that a log line overwrites the progress and does not follow it.
    std::fprintf(stderr, "%zu of %zu calls\033[K\r", done, total);
}

} // namespace velhost
