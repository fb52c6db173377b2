#ifndef BENCH_COUNTERS_H
#define BENCH_COUNTERS_H

#include <cstdint>

namespace bench {

/// What the process has done since it began, SQLite's work included.
struct Counters {
    std::uint64_t heap;  ///< calls of `operator new`; SQLite's own memory does not come from there
    std::uint64_t syncs; ///< calls of fdatasync and fsync
    std::uint64_t bytes; ///< bytes that files took by write and pwrite
};

/// Returns the counts so far. The cost of a call is the difference between two answers. For one thread at a time.
Counters counters();

} // namespace bench

#endif
