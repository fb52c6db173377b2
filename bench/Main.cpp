#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <random>

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include "bench/Bench.h"
#include "workstation/Temporary.h"
#include "workstation/velhost/DeviceVfs.h"

// Measures each job in the directory for temporary files: time, and as counters what a run costs in heap allocations,
// syncs and bytes. Under callgrind, started with --collect-atstart=no, it also leaves one profile per job.

namespace {

struct RunningJob {
    explicit RunningJob(const bench::JobKind& kind) : device(directory.path()), job(kind.start(directory.path())) {
        // The first runs also pay for what later ones find cached.
        for (int warmUp = 0; warmUp < 2; ++warmUp) {
            job.prepare();
            job.run();
        }
    }

    velhost::TemporaryDirectory directory;
    velhost::DeviceVfs device;
    bench::Job job;
};

/// A heap as in a process that has been running for a while: blocks of many sizes, some of them free again.
std::vector<std::unique_ptr<char[]>> makeUsedHeap(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::unique_ptr<char[]>> blocks(400);
    for (auto& block : blocks) {
        block.reset(new char[16U << (random() % 8U)]);
    }
    for (std::size_t freed = 0; freed < blocks.size() / 2; ++freed) {
        blocks[random() % blocks.size()].reset();
    }
    return blocks;
}

/// The middle value is what a run usually costs. Rare work, such as a checkpoint, shows in the other two.
void addCounters(benchmark::State& state, const std::string& name, std::vector<bench::Counters>& costs,
                 std::uint64_t bench::Counters::*count) {
    double sum = 0;
    for (const bench::Counters& cost : costs) {
        sum += static_cast<double>(cost.*count);
    }
    std::sort(costs.begin(), costs.end(),
              [&](const auto& one, const auto& other) { return one.*count < other.*count; });
    const bench::Counters& middle = costs[costs.size() / 2];
    state.counters[name] = static_cast<double>(middle.*count);
    state.counters[name + " mean"] = sum / static_cast<double>(costs.size());
    state.counters[name + " most"] = static_cast<double>(costs.back().*count);
}

/// Runs the job once and returns what it cost.
bench::Counters runOnce(benchmark::State& state, const bench::Job& job) {
    job.prepare();
    const bench::Counters before = bench::counters();
    const auto begin = std::chrono::steady_clock::now();
    CALLGRIND_TOGGLE_COLLECT; // does nothing outside callgrind
    job.run();
    CALLGRIND_TOGGLE_COLLECT;
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    const bench::Counters after = bench::counters();
    state.SetIterationTime(taken.count());
    return {after.heap - before.heap, after.syncs - before.syncs, after.bytes - before.bytes};
}

void measure(benchmark::State& state, const bench::JobKind& kind) {
    std::vector<bench::Counters> costs;
    std::vector<std::unique_ptr<char[]>> heap;
    std::optional<RunningJob> running;
    for (auto unused : state) {
        static_cast<void>(unused);
        // The state of the heap changes a call's instructions by some percent. Where these are counted, each run
        // therefore has another heap.
        if (!running || RUNNING_ON_VALGRIND != 0) {
            running.reset();
            heap = makeUsedHeap(static_cast<unsigned>(costs.size()));
            running.emplace(kind);
        }
        costs.push_back(runOnce(state, running->job));
    }
    addCounters(state, "heap", costs, &bench::Counters::heap);
    addCounters(state, "syncs", costs, &bench::Counters::syncs);
    addCounters(state, "bytes", costs, &bench::Counters::bytes);
    CALLGRIND_DUMP_STATS_AT(kind.name.c_str()); // and begins the next profile
}

} // namespace

int main(int argc, char** argv) {
    try {
        bench::requireSameWork();
        for (const auto& kinds : {bench::storeJobs(), bench::featureJobs()}) {
            for (const bench::JobKind& kind : kinds) {
                // Instructions hardly vary from run to run, and callgrind is slow.
                const unsigned runs = RUNNING_ON_VALGRIND == 0 ? kind.runs : std::max(2U, kind.runs / 60);
                auto* job = benchmark::RegisterBenchmark(kind.name.c_str(), measure, kind);
                job->Iterations(runs)->UseManualTime()->Unit(benchmark::kMicrosecond);
            }
        }
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench: %s\n", error.what());
        return 1;
    }
}
