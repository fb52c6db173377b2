#include <chrono>
#include <cstdio>
#include <exception>
#include <vector>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "bench/Job.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Temporary.h"

// Times each job by each layer, one layer right after the other, with the files in the directory for temporary files.

namespace {

void timeJob(benchmark::State& state, const bench::JobKind& kind) {
    // Called several times for one job, until the number of rounds is settled; each call begins with new files.
    try {
        const velhost::TemporaryDirectory directory;
        const velhost::DeviceVfs device(directory.path());
        const std::unique_ptr<bench::Job> job = kind.start();
        for (auto unused : state) {
            static_cast<void>(unused);
            // The time is taken here, since the library's own clock would count the preparation too.
            job->prepare();
            const auto begin = std::chrono::steady_clock::now();
            job->run();
            const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
            state.SetIterationTime(taken.count());
        }
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}

void registerJobs(const std::vector<bench::JobKind>& kinds) {
    for (const bench::JobKind& kind : kinds) {
        const std::string name = kind.name + ' ' + kind.layer;
        benchmark::RegisterBenchmark(name.c_str(), timeJob, kind)->UseManualTime()->Unit(benchmark::kMicrosecond);
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        bench::requireSameRows();
        benchmark::AddCustomContext("sqlite", sqlite3_libversion());
        // Every commit of the row store waits for the disk: times mean little without saying so.
        benchmark::AddCustomContext("journal", "WAL, synchronous=FULL");
        registerJobs(bench::storeJobs());
        registerJobs(bench::featureJobs());
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "times: %s\n", error.what());
        return 1;
    }
}
