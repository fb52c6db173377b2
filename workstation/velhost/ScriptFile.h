#ifndef WORKSTATION_VELHOST_SCRIPTFILE_H
#define WORKSTATION_VELHOST_SCRIPTFILE_H

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

#include "workstation/velhost/Script.h"
#include "workstation/velhost/Temporary.h"

// A script from the outside: read once, held against the language, and kept for playing. Its size is limited by the
// room for temporary files, not by memory.

namespace velhost {

/// A script that was found good as a whole. While it is checked it is copied into a temporary file, so that what is
/// played is what was checked, whether it came from a file, a pipe or a terminal. Only one line is in memory at a time.
class ScriptFile {
public:
    /// The longest line, in bytes without its line end.
    static constexpr std::size_t longestLine = 1U << 20U;

    /// Reads and checks the whole script; "-" is standard input. Throws Refusal, which for a bad line reads
    /// "FILE:LINE: what is wrong" and for standard input calls the file "<stdin>".
    explicit ScriptFile(const std::string& path);

    /// Returns the next call, or nothing after the last one. Throws Failure when the copy cannot be read.
    std::optional<Call> next();

    /// The number of calls in the whole script.
    std::size_t callCount() const { return calls; }

    /// The number, from 1, of the line that `next` read last.
    std::size_t lineNumber() const { return line; }

    /// "FILE:LINE" of that line.
    std::string position() const;

private:
    /// Reads `source` to its end, line by line, into `copy`.
    void checkAndCopy(std::FILE* source);
    /// Appends one line to the copy.
    void keep(const std::string& text);

    // As messages call the script.
    std::string name;
    // Without a name, so that nothing is left behind however the process ends.
    FileHandle copy;
    // Of the whole script, known once it was checked.
    std::size_t calls = 0;
    // Of the source while it is checked, of the copy afterwards; the two have the same lines.
    std::size_t line = 0;
};

} // namespace velhost

#endif
