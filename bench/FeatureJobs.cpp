#include <memory>
#include <stdexcept>
#include <utility>

#include "bench/Bench.h"
#include "host/Feature.h"
#include "host/Registry.h"
#include "workstation/Temporary.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

// What the host sends. In the argument, bits 31..24 are the operation (0 removes), bits 23..0 the type.
constexpr std::uint32_t classificationTrigger = 4164;
constexpr std::uint32_t weightTrigger = 4165;
constexpr std::uint32_t addOperation = 3U << 24U;

/// A host: its feature, made by the registered factory, and the arguments of the next call.
struct Host {
    fs::path directory;
    std::string known; ///< an application that is stored
    std::unique_ptr<Feature> feature;
    std::string name;
    int value = 0; ///< another one in each run: SQLite does not write what stays the same
};

// What is measured. Names that the feature takes by value are moved in: a copy would count as its allocation.

void query(Host& host) {
    featureData answer;
    host.feature->getData(host.name, answer, 0);
    if (answer.value == 0) {
        throw std::runtime_error("the feature does not know a stored application");
    }
}

void classify(Host& host) {
    const std::uint32_t argument = addOperation | static_cast<std::uint32_t>(host.value);
    host.feature->runAsync({classificationTrigger, argument, std::move(host.name), 0});
}

void weigh(Host& host) { host.feature->runAsync({weightTrigger, 0, std::move(host.name), host.value}); }
void remove(Host& host) { host.feature->runAsync({classificationTrigger, 0, std::move(host.name), 0}); }
void report(Host& host) { host.feature->setData(host.name, {host.value, host.value, host.value}); }
void reportNothingNew(Host& host) { host.feature->setData(host.name, {1, 1, 1}); }

void start(Host& host) {
    FeatureInfo description;
    description.name = "Bench";
    host.feature.reset(RegistryBase<Feature, FeatureInfo>::getMap()->at("Tessary")(std::move(description)));
}

void end(Host& host) { host.feature.reset(); }

// What comes before and is not measured.

void prepareKnown(Host& host) { host.name = host.known; }

void prepareUnknown(Host& host) {
    host.feature->runAsync({classificationTrigger, 0, addedName, 0});
    host.name = addedName;
}

void prepareReported(Host& host) {
    host.name = addedName;
    classify(host);
    host.name = addedName;
    report(host);
}

/// Sets a weight that no verdict gives. The report then changes the weight too, and so writes both tables.
void prepareWeighed(Host& host) {
    host.feature->runAsync({weightTrigger, 0, host.known, 2});
    prepareKnown(host);
}

void removeFiles(Host& host) {
    end(host);
    fs::remove_all(host.directory);
    fs::create_directory(host.directory);
}

void restart(Host& host) {
    end(host);
    start(host);
}

void restartAndReport(Host& host) {
    restart(host);
    for (int number = 0; number < 20; ++number) {
        ++host.value;
        prepareWeighed(host);
        report(host);
    }
}

/// Leaves the files as they are when the process is killed.
void reportAndKill(Host& host) {
    restartAndReport(host);
    const velhost::TemporaryDirectory copy;
    fs::copy(host.directory, copy.path(), fs::copy_options::recursive);
    end(host);
    fs::copy(copy.path(), host.directory, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

struct FeatureJobKind {
    const char* name;
    void (*prepare)(Host&);
    void (*run)(Host&);
};

constexpr FeatureJobKind calls[] = {
    {"getData", prepareKnown, query},
    {"classify, new", prepareUnknown, classify},
    {"classify, known", prepareKnown, classify},
    {"weight", prepareKnown, weigh},
    {"setData", prepareWeighed, report},
    {"setData, nothing new", prepareKnown, reportNothingNew},
    {"remove", prepareReported, remove},
};

constexpr FeatureJobKind startsAndEnds[] = {
    {"first start", removeFiles, start},          {"start", end, start},
    {"start after a kill", reportAndKill, start}, {"end", restart, end},
    {"end after reports", restartAndReport, end},
};

JobKind jobKind(const FeatureJobKind& kind, unsigned stored, unsigned runs) {
    return {std::string(kind.name) + '/' + std::to_string(stored) + "/feature", runs,
            [&kind, stored](const fs::path& directory) {
                storeApplications("Bench.db", "Tessary", "1100000000000000", stored);
                storeApplications("BenchHeavyGame.db", "HeavyGame", "000000000000000000000000", stored);
                auto host = std::make_shared<Host>();
                host->directory = directory;
                host->known = applicationName(stored / 2);
                start(*host);
                return Job{[&kind, host] {
                               ++host->value;
                               kind.prepare(*host);
                           },
                           [&kind, host] { kind.run(*host); }};
            }};
}

} // namespace

std::vector<JobKind> featureJobs() {
    std::vector<JobKind> jobs;
    for (const FeatureJobKind& kind : calls) {
        for (const unsigned stored : {10U, 200U, 1000U, 10000U}) {
            jobs.push_back(jobKind(kind, stored, runsFor(stored)));
        }
    }
    for (const FeatureJobKind& kind : startsAndEnds) {
        jobs.push_back(jobKind(kind, 200, 200));
    }
    return jobs;
}

} // namespace bench
