#ifndef WORKSTATION_VELHOST_OUTPUT_H
#define WORKSTATION_VELHOST_OUTPUT_H

#include <cstddef>
#include <string_view>

// The two standard streams. A command whose output was lost must not end as if it had succeeded.

namespace velhost {

/// Writes `text` as it is to standard output. Only when the last one is written is the output known to be complete.
/// Throws Error when that fails, a full disk for instance.
void put(std::string_view text, bool isLast = false);

/// Writes one line to standard error, escaped.
void say(std::string_view text);

/// The width of the terminal that standard output is, COLUMNS first; 0 when it is no terminal.
std::size_t terminalWidth();

} // namespace velhost

#endif
