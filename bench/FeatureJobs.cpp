#include <stdexcept>
#include <utility>

#include "bench/FeatureUnderTest.h"
#include "bench/Job.h"

namespace bench {

namespace {

// None of the names that are stored.
constexpr const char* addedName = "com.example.added00000";

/// What a job works on: the feature, and the arguments of its next call, made beforehand.
struct Bench {
    FeatureUnderTest feature;
    std::string known; ///< an application that is stored
    std::string name;
    int value = 0; ///< another one in each round: SQLite does not write what does not change
};

void takeKnown(Bench& bench) { bench.name = bench.known; }

void takeNew(Bench& bench) {
    bench.feature.remove(addedName);
    bench.name = addedName;
}

/// Rows in both tables, so that a removal has to change both.
void takeMeasured(Bench& bench) {
    bench.name = addedName;
    bench.feature.classify(bench.name, bench.value);
    bench.feature.report(bench.name, bench.value);
}

void query(Bench& bench) {
    if (bench.feature.query(bench.name) == 0) {
        throw std::runtime_error("the feature does not know a stored application");
    }
}

// Names that the feature takes by value are moved in: a copy made here would count as an allocation of its own.
void classify(Bench& bench) { bench.feature.classify(std::move(bench.name), bench.value); }
void weigh(Bench& bench) { bench.feature.weigh(std::move(bench.name), bench.value); }
void report(Bench& bench) { bench.feature.report(bench.name, bench.value); }
// From the second run on nothing is larger than what is stored, and the feature leaves the disk alone.
void reportNothingNew(Bench& bench) { bench.feature.report(bench.name, 1); }
void remove(Bench& bench) { bench.feature.remove(std::move(bench.name)); }

/// Another weight than the verdict's: a report then changes both tables.
void takeWeighed(Bench& bench) {
    bench.feature.weigh(bench.known, 2);
    takeKnown(bench);
}

struct FeatureJobKind {
    const char* name;
    void (*prepare)(Bench&);
    void (*run)(Bench&);
};

constexpr FeatureJobKind kinds[] = {
    {"getData", takeKnown, query},    {"classify", takeNew, classify},  {"retype", takeKnown, classify},
    {"weight", takeKnown, weigh},     {"setData", takeWeighed, report}, {"setData again", takeKnown, reportNothingNew},
    {"remove", takeMeasured, remove},
};

class FeatureJob : public Job {
public:
    FeatureJob(const FeatureJobKind& jobKind, unsigned stored)
        : kind(jobKind), bench{FeatureUnderTest(stored), applicationName(stored / 2), {}} {}

    void prepare() override {
        ++bench.value;
        kind.prepare(bench);
    }

    void run() override { kind.run(bench); }

private:
    const FeatureJobKind& kind;
    Bench bench;
};

} // namespace

std::vector<JobKind> featureJobs() {
    std::vector<JobKind> jobs;
    for (const FeatureJobKind& kind : kinds) {
        for (const unsigned stored : {10U, 200U, 1000U, 10000U}) {
            // No goals: there is no second feature to compare with. The counts of syncs and bytes have limits of their
            // own.
            jobs.push_back({std::string(kind.name) + '/' + std::to_string(stored), "feature", 0, 0, 1, 5,
                            [&kind, stored] { return std::make_unique<FeatureJob>(kind, stored); }});
        }
    }
    return jobs;
}

} // namespace bench
