#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <optional>
#include <random>

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include "bench/Counters.h"
#include "bench/Job.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Temporary.h"

// Measures each job in the directory for temporary files: time, and as counters what a run costs in calls of the heap,
// syncs and bytes. Under callgrind, started with --collect-atstart=no, it also leaves one profile a job.

namespace {

using bench::Counters;

/// A job with a device of its own. The first runs also pay for what later ones find done, so two have passed.
class RunningJob {
public:
    explicit RunningJob(const bench::JobKind& kind) : device(directory.path()), job(kind.start(directory.path())) {
        for (int warmUp = 0; warmUp < 2; ++warmUp) {
            job->prepare();
            job->run();
        }
    }

    /// Returns the seconds.
    double run() {
        job->prepare();
        before = bench::counters();
        const auto begin = std::chrono::steady_clock::now();
        CALLGRIND_TOGGLE_COLLECT; // does nothing outside callgrind
        job->run();
        CALLGRIND_TOGGLE_COLLECT;
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        after = bench::counters();
        return taken.count();
    }

    Counters cost() const { return {after.heap - before.heap, after.syncs - before.syncs, after.bytes - before.bytes}; }

private:
    velhost::TemporaryDirectory directory;
    velhost::DeviceVfs device;
    std::unique_ptr<bench::Job> job;
    Counters before{};
    Counters after{};
};

/// The middle value is what a run usually costs. Rare work, such as a checkpoint, shows in the other two.
void report(benchmark::State& state, const std::string& name, std::vector<Counters>& costs,
            std::uint64_t Counters::*count) {
    const auto less = [count](const Counters& one, const Counters& other) { return one.*count < other.*count; };
    std::sort(costs.begin(), costs.end(), less);
    double sum = 0;
    for (const Counters& cost : costs) {
        sum += static_cast<double>(cost.*count);
    }
    state.counters[name] = static_cast<double>(costs[costs.size() / 2].*count);
    state.counters[name + " mean"] = sum / static_cast<double>(costs.size());
    state.counters[name + " most"] = static_cast<double>(costs.back().*count);
}

double residentKiB() {
    std::ifstream statm("/proc/self/statm");
    double total = 0;
    double resident = 0;
    statm >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

/// Leaves blocks of many sizes in use and free between them, as in a process that has been running for a while.
class UsedHeap {
public:
    explicit UsedHeap(std::size_t seed) {
        std::mt19937 random(static_cast<std::mt19937::result_type>(seed));
        for (auto& block : blocks) {
            block.reset(new char[16U << (random() % 8U)]);
        }
        for (std::size_t freed = 0; freed < blocks.size() / 2; ++freed) {
            blocks[random() % blocks.size()].reset();
        }
    }

private:
    std::vector<std::unique_ptr<char[]>> blocks = std::vector<std::unique_ptr<char[]>>(400);
};

void measure(benchmark::State& state, const bench::JobKind& kind) {
    try {
        std::vector<Counters> costs(static_cast<std::size_t>(state.max_iterations));
        std::size_t runs = 0;
        std::optional<RunningJob> job;
        UsedHeap heap(0);
        double resident = 0;
        for (auto unused : state) {
            static_cast<void>(unused);
            // What the heap was used for before changes a call's instructions by some percent. Where these are counted,
            // each run therefore has a heap of its own.
            if (!job || RUNNING_ON_VALGRIND != 0) {
                job.reset();
                heap = UsedHeap(runs);
                job.emplace(kind);
            }
            // Caches and tables reach their size in the first tenth.
            if (runs == costs.size() / 10) {
                resident = residentKiB();
            }
            state.SetIterationTime(job->run());
            costs[runs++] = job->cost();
        }
        state.counters["growth KiB"] = residentKiB() - resident;
        report(state, "heap", costs, &Counters::heap);
        report(state, "syncs", costs, &Counters::syncs);
        report(state, "bytes", costs, &Counters::bytes);
        // Also sets the profile back to zero, for the next job.
        CALLGRIND_DUMP_STATS_AT(kind.name.c_str());
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}

/// Enough for two checkpoints of the write-ahead log where that is quick.
unsigned roundsFor(unsigned rows) {
    if (RUNNING_ON_VALGRIND != 0) {
        return rows <= 200 ? 32 : rows <= 1000 ? 8 : 2;
    }
    return std::min(2000U, 400000 / rows);
}

void add(const bench::JobKind& kind, unsigned rounds) {
    benchmark::RegisterBenchmark(kind.name.c_str(), measure, kind)
        ->Iterations(rounds)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

} // namespace

int main(int argc, char** argv) {
    try {
        bench::requireSameWork();
        benchmark::AddCustomContext("sqlite", sqlite3_libversion());
        for (const auto& jobs : {bench::storeJobs(), bench::featureJobs()}) {
            for (const bench::JobKind& kind : jobs) {
                add(kind, roundsFor(kind.rows));
            }
        }
        if (RUNNING_ON_VALGRIND == 0) {
            add(bench::mixedJob(), 200000);
        }
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench: %s\n", error.what());
        return 1;
    }
}
