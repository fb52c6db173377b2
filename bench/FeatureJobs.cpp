#include <stdexcept>
#include <utility>

#include "bench/Job.h"
#include "host/Feature.h"
#include "host/Registry.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

// What the host sends. The operation stands above the type: 0 removes, any other adds or changes.
constexpr std::uint32_t classificationTrigger = 4164;
constexpr std::uint32_t weightTrigger = 4165;
constexpr std::uint32_t addOperation = 3U << 24U;

constexpr const char* addedName = "com.example.added00000";

/// The feature as its host has it, made by the registered factory, and the arguments of the next call.
struct Bench {
    fs::path directory;
    std::string known; ///< an application that is stored
    std::unique_ptr<Feature> feature;
    std::string name;
    int value = 0; ///< another one in each round: SQLite does not write what stays the same
};

// What is measured. Names that the feature takes by value are moved in: a copy would count as its allocation.

void query(Bench& bench) {
    featureData answer;
    bench.feature->getData(bench.name, answer, 0);
    if (answer.value == 0) {
        throw std::runtime_error("the feature does not know a stored application");
    }
}

void classify(Bench& bench) {
    const std::uint32_t argument = addOperation | static_cast<std::uint32_t>(bench.value);
    bench.feature->runAsync({classificationTrigger, argument, std::move(bench.name), 0});
}

void weigh(Bench& bench) { bench.feature->runAsync({weightTrigger, 0, std::move(bench.name), bench.value}); }
void remove(Bench& bench) { bench.feature->runAsync({classificationTrigger, 0, std::move(bench.name), 0}); }
void report(Bench& bench) { bench.feature->setData(bench.name, {bench.value, bench.value, bench.value}); }
void reportNothingNew(Bench& bench) { bench.feature->setData(bench.name, {1, 1, 1}); }

void start(Bench& bench) {
    FeatureInfo description;
    description.name = "Bench";
    bench.feature.reset(RegistryBase<Feature, FeatureInfo>::getMap()->at("Tessary")(std::move(description)));
}

void end(Bench& bench) { bench.feature.reset(); }

// What comes before and is not measured.

void takeKnown(Bench& bench) { bench.name = bench.known; }

void takeNew(Bench& bench) {
    bench.name = addedName;
    remove(bench);
    bench.name = addedName;
}

/// An application with rows in both tables.
void takeMeasured(Bench& bench) {
    bench.name = addedName;
    classify(bench);
    bench.name = addedName;
    report(bench);
}

/// A weight that is not the verdict's: a report then changes both tables.
void takeWeighed(Bench& bench) {
    bench.feature->runAsync({weightTrigger, 0, bench.known, 2});
    takeKnown(bench);
}

void removeFiles(Bench& bench) {
    end(bench);
    for (const fs::path& file : fs::directory_iterator(bench.directory)) {
        fs::remove(file);
    }
}

void restart(Bench& bench) {
    end(bench);
    start(bench);
}

/// Leaves 20 changes of each table in its log.
void restartAndChange(Bench& bench) {
    restart(bench);
    for (int change = 0; change < 20; ++change) {
        ++bench.value;
        takeKnown(bench);
        report(bench);
    }
}

/// Leaves the logs as they are when the process is killed: a proper end removes them.
void changeAndKill(Bench& bench) {
    restartAndChange(bench);
    for (const char* log : {"Bench.db-wal", "BenchHeavyGame.db-wal"}) {
        fs::create_hard_link(bench.directory / log, bench.directory / (std::string(log) + ".kept"));
    }
    end(bench);
    for (const char* log : {"Bench.db-wal", "BenchHeavyGame.db-wal"}) {
        fs::rename(bench.directory / (std::string(log) + ".kept"), bench.directory / log);
    }
}

struct FeatureJobKind {
    const char* name;
    void (*prepare)(Bench&);
    void (*run)(Bench&);
};

constexpr FeatureJobKind calls[] = {
    {"getData", takeKnown, query},
    {"classify, new", takeNew, classify},
    {"classify, known", takeKnown, classify},
    {"weight", takeKnown, weigh},
    {"setData", takeWeighed, report},
    {"setData, nothing new", takeKnown, reportNothingNew},
    {"remove", takeMeasured, remove},
};

constexpr FeatureJobKind lives[] = {
    {"first start", removeFiles, start},          {"start", end, start},
    {"start after a kill", changeAndKill, start}, {"end", restart, end},
    {"end after changes", restartAndChange, end},
};

JobKind jobKind(const FeatureJobKind& kind, unsigned stored, unsigned rounds) {
    return {std::string(kind.name) + '/' + std::to_string(stored) + "/feature", rounds,
            [&kind, stored](const fs::path& directory) {
                storeApplications("Bench.db", "Tessary", "1100000000000000", stored);
                storeApplications("BenchHeavyGame.db", "HeavyGame", "000000000000000000000000", stored);
                auto bench = std::shared_ptr<Bench>(new Bench{directory, applicationName(stored / 2), nullptr, {}});
                start(*bench);
                return Job{[&kind, bench] {
                               ++bench->value;
                               kind.prepare(*bench);
                           },
                           [&kind, bench] { kind.run(*bench); }};
            }};
}

} // namespace

std::vector<JobKind> featureJobs() {
    std::vector<JobKind> jobs;
    for (const FeatureJobKind& kind : calls) {
        for (const unsigned stored : {10U, 200U, 1000U, 10000U}) {
            jobs.push_back(jobKind(kind, stored, roundsFor(stored)));
        }
    }
    for (const FeatureJobKind& kind : lives) {
        jobs.push_back(jobKind(kind, 200, 200));
    }
    return jobs;
}

} // namespace bench
