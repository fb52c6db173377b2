#ifndef WORKSTATION_VELHOST_PROGRESS_H
#define WORKSTATION_VELHOST_PROGRESS_H

#include <chrono>
#include <cstddef>

// A replay commits every change to disk before the next call, so a long script takes its time.

namespace velhost {

/// A line on standard error that says how far a long replay has come. Only on a terminal, and not before the replay has
/// taken a moment; cleared when the owner goes.
class Progress {
public:
    /// `callCount` calls lie ahead. Whether standard error is a terminal is asked here, once.
    explicit Progress(std::size_t callCount);
    /// Clears the line, if one was shown.
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// `done` calls were made, of those announced. Cheap enough for every call: it writes a few times a second at most.
    void update(std::size_t done);

private:
    using Clock = std::chrono::steady_clock;

    // What the line counts up to.
    std::size_t total;
    bool onTerminal;
    // Whether there is a line to clear.
    bool shown = false;
    // Nothing is written before this moment.
    Clock::time_point due;
};

} // namespace velhost

#endif
