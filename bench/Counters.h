#ifndef BENCH_COUNTERS_H
#define BENCH_COUNTERS_H

#include <cstdint>

namespace bench {

/// What the process has done since it began, SQLite's work for it included: Counters.cpp stands in for the C++ heap's
/// `operator new` (which SQLite does not use) and for the calls by which SQLite reaches the disk.
struct Counters {
    std::uint64_t allocations; ///< by `operator new`
    std::uint64_t syncs;       ///< fdatasync and fsync
    std::uint64_t bytes;       ///< given to write and pwrite
};

Counters counters();

} // namespace bench

#endif
