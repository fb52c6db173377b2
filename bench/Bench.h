#ifndef BENCH_BENCH_H
#define BENCH_BENCH_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// What the process has done since it began. The difference of two is what a call costs.
struct Counters {
    std::uint64_t heap;  ///< calls of `operator new`, which SQLite does not use
    std::uint64_t syncs; ///< calls of fdatasync
    std::uint64_t bytes; ///< bytes written with pwrite64
};

Counters counters();

/// One thing to measure, with all that it needs. Both steps throw when a result is wrong.
struct Job {
    std::function<void()> prepare; ///< not measured: undoes the last run and prepares the next one
    std::function<void()> run;     ///< measured: only what the job is about
};

/// A job that can be started any number of times.
struct JobKind {
    std::string name; ///< "what/rows/by whom"
    unsigned runs;    ///< how many times to run it
    /// Makes the job and fills its tables. `directory` is where the device's files lie, and must outlive the job.
    std::function<Job(const std::filesystem::path& directory)> start;
};

/// With few rows, enough runs to show rare work such as checkpoints. With many, fewer runs to save time.
constexpr unsigned runsFor(unsigned rows) { return rows <= 200 ? 2000 : 400000 / rows; }

/// Returns the row store's jobs. Every layer (see Rows.h) does each job; the layers of one job follow each other.
std::vector<JobKind> storeJobs();

/// The feature's calls as a host makes them, and its start and end.
std::vector<JobKind> featureJobs();

/// Throws unless all layers have the same settings and leave the same rows after the same changes.
void requireSameWork();

/// Returns the name of application `number`. The length is a usual one, and the same for all numbers below 100,000.
std::string applicationName(unsigned number);

/// A name that applicationName never returns, of the same length.
constexpr const char* addedName = "com.example.added00000";

/// Creates a table as the row store does, with `count` applications. `payload`, in hexadecimal, is the same for all.
void storeApplications(const std::string& fileName, const std::string& table, const std::string& payload,
                       unsigned count);

} // namespace bench

#endif
