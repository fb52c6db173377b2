#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include <valgrind/callgrind.h>

#include "bench/Counters.h"
#include "bench/Job.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Temporary.h"

// Runs each job a number of times and prints, as one JSON object a line, what a run costs: allocations, syncs and bytes
// written. Under callgrind, started with --collect-atstart=no, it also leaves one profile a job, of the runs alone.
//
//     counts store|feature [ROUNDS]

namespace {

using bench::Counters;
using bench::JobKind;

/// The middle value, which is what a run costs as a rule, and the mean, to which rare work adds.
std::string summary(std::vector<std::uint64_t> values) {
    double sum = 0;
    for (const std::uint64_t value : values) {
        sum += static_cast<double>(value);
    }
    std::sort(values.begin(), values.end());
    char text[96];
    std::snprintf(text, sizeof(text), R"({"median":%llu,"mean":%.3f,"most":%llu})",
                  static_cast<unsigned long long>(values[values.size() / 2]), sum / static_cast<double>(values.size()),
                  static_cast<unsigned long long>(values.back()));
    return text;
}

/// One entry a run, in each of the three.
struct Counted {
    std::vector<std::uint64_t> allocations;
    std::vector<std::uint64_t> syncs;
    std::vector<std::uint64_t> bytes;
};

void runOnce(bench::Job& job, Counted& counted) {
    job.prepare();
    const Counters before = bench::counters();
    // Outside callgrind these do nothing, so that one program serves both.
    CALLGRIND_TOGGLE_COLLECT;
    job.run();
    CALLGRIND_TOGGLE_COLLECT;
    const Counters after = bench::counters();
    counted.allocations.push_back(after.allocations - before.allocations);
    counted.syncs.push_back(after.syncs - before.syncs);
    counted.bytes.push_back(after.bytes - before.bytes);
}

/// The heap's past decides what the next allocation costs, and moves a call's instructions by one percent. Each start
/// therefore has another past: a block of another size is taken before it.
void countStart(const JobKind& kind, unsigned start, unsigned rounds, Counted& counted) {
    const std::vector<char> past(start * 80 + 1);
    const velhost::TemporaryDirectory directory;
    const velhost::DeviceVfs device(directory.path());
    const std::unique_ptr<bench::Job> job = kind.start();
    // The first runs also pay for what later ones find done: a schema that is read, caches that are filled.
    for (unsigned warmUp = 0; warmUp < 2; ++warmUp) {
        job->prepare();
        job->run();
    }
    for (unsigned round = 0; round < rounds; ++round) {
        runOnce(*job, counted);
    }
}

void count(const JobKind& kind, unsigned rounds) {
    Counted counted;
    for (unsigned start = 0; start < kind.starts; ++start) {
        countStart(kind, start, rounds, counted);
    }
    const std::string label = kind.name + ' ' + kind.layer;
    // The dump also sets the profile back to zero, so that the next one is of the next job alone.
    CALLGRIND_DUMP_STATS_AT(label.c_str());
    std::printf(R"({"job":"%s","layer":"%s","goal":%.3f,"limit":%.3f,"rounds":%zu)", kind.name.c_str(),
                kind.layer.c_str(), kind.goal, kind.limit, counted.syncs.size());
    std::printf(R"(,"allocations":%s,"syncs":%s,"bytes":%s})"
                "\n",
                summary(counted.allocations).c_str(), summary(counted.syncs).c_str(), summary(counted.bytes).c_str());
}

void countAll(const std::string& subject, unsigned rounds) {
    // Costs of layers that do different work would say nothing.
    bench::requireSameRows();
    for (const JobKind& kind : subject == "feature" ? bench::featureJobs() : bench::storeJobs()) {
        count(kind, rounds != 0 ? rounds : kind.rounds);
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        const unsigned rounds = argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 0;
        countAll(argc > 1 ? argv[1] : "store", rounds);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "counts: %s\n", error.what());
        return 1;
    }
}
