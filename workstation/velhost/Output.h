#ifndef WORKSTATION_VELHOST_OUTPUT_H
#define WORKSTATION_VELHOST_OUTPUT_H

#include <cstddef>
#include <string_view>

// The two standard streams. A command whose output was lost must not end as if it had succeeded.

namespace velhost {

/// Writes `text` as it is to standard output. A full disk may show only when the buffer is written: pass `isLast` with
/// the last text. Throws Error when writing fails.
void writeOutput(std::string_view text, bool isLast = false);

/// Writes one line to standard error, escaped.
void writeMessage(std::string_view text);

/// Returns 0 when standard output is no terminal; else COLUMNS, if positive, else the terminal's width, 80 if unknown.
std::size_t terminalWidth();

} // namespace velhost

#endif
