#ifndef WORKSTATION_VELHOST_OUTPUT_H
#define WORKSTATION_VELHOST_OUTPUT_H

#include <cstdio>
#include <string_view>

// A command whose output was lost must not end as if it had succeeded, so no write goes unchecked, and none is tried
// after one that failed: who writes is stopped by the exception.

namespace velhost {

/// Standard output, or another open file, with no write left unchecked. One thread at a time.
/// Its end flushes nothing: a failure could not be reported from there.
class Output {
public:
    /// `target` stays the caller's and must outlive this object.
    explicit Output(std::FILE* target) : file(target) {}

    /// Throws Failure when the text could not be written, a closed pipe or a full disk for instance.
    void write(std::string_view text);

    /// Writes out what is still buffered. Throws Failure. Only after it is the output known to be complete.
    void finish();

private:
    // Not owned: standard output is the C library's, and closes with the process.
    std::FILE* file;
};

} // namespace velhost

#endif
