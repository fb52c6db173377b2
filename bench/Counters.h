#ifndef BENCH_COUNTERS_H
#define BENCH_COUNTERS_H

#include <cstdint>

namespace bench {

/// What the process has done since it began, SQLite's work for it included: Counters.cpp stands in for the C++ heap's
/// `operator new` (which SQLite does not use) and for the calls by which SQLite reaches the disk.
struct Counters {
    /// Calls of `operator new`, those that failed included. Freed memory is not subtracted.
    std::uint64_t allocations;
    /// Calls of fdatasync and fsync.
    std::uint64_t syncs;
    /// Bytes that files have taken by write and pwrite; the C library's own streams pass these by.
    std::uint64_t bytes;
};

/// Returns the counts so far; what a call costs is the difference of two answers, one before it and one after. Nothing
/// is guarded: only for processes in which one thread at a time works.
Counters counters();

} // namespace bench

#endif
