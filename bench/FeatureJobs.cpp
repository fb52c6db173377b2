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

// What the host sends. The operation stands above the type: 0 removes, any other adds or changes.
constexpr std::uint32_t classificationTrigger = 4164;
constexpr std::uint32_t weightTrigger = 4165;
constexpr std::uint32_t addOperation = 3U << 24U;

constexpr const char* addedName = "com.example.added00000";

/// The feature as its host has it, made by the registered factory, and the arguments of the next call.
struct Place {
    fs::path directory;
    std::string known; ///< an application that is stored
    std::unique_ptr<Feature> feature;
    std::string name;
    int value = 0; ///< another one in each round: SQLite does not write what stays the same
};

// What is measured. Names that the feature takes by value are moved in: a copy would count as its allocation.

void query(Place& place) {
    featureData answer;
    place.feature->getData(place.name, answer, 0);
    if (answer.value == 0) {
        throw std::runtime_error("the feature does not know a stored application");
    }
}

void classify(Place& place) {
    const std::uint32_t argument = addOperation | static_cast<std::uint32_t>(place.value);
    place.feature->runAsync({classificationTrigger, argument, std::move(place.name), 0});
}

void weigh(Place& place) { place.feature->runAsync({weightTrigger, 0, std::move(place.name), place.value}); }
void remove(Place& place) { place.feature->runAsync({classificationTrigger, 0, std::move(place.name), 0}); }
void report(Place& place) { place.feature->setData(place.name, {place.value, place.value, place.value}); }
void reportNothingNew(Place& place) { place.feature->setData(place.name, {1, 1, 1}); }

void start(Place& place) {
    FeatureInfo description;
    description.name = "Bench";
    place.feature.reset(RegistryBase<Feature, FeatureInfo>::getMap()->at("Tessary")(std::move(description)));
}

void end(Place& place) { place.feature.reset(); }

// What comes before and is not measured.

void takeKnown(Place& place) { place.name = place.known; }

void takeNew(Place& place) {
    place.feature->runAsync({classificationTrigger, 0, addedName, 0});
    place.name = addedName;
}

void takeMeasured(Place& place) {
    place.name = addedName;
    classify(place);
    place.name = addedName;
    report(place);
}

/// A weight that is not the verdict's: a report then changes both tables.
void takeWeighed(Place& place) {
    place.feature->runAsync({weightTrigger, 0, place.known, 2});
    takeKnown(place);
}

void removeFiles(Place& place) {
    end(place);
    fs::remove_all(place.directory);
    fs::create_directory(place.directory);
}

void restart(Place& place) {
    end(place);
    start(place);
}

void restartAndReport(Place& place) {
    restart(place);
    for (int number = 0; number < 20; ++number) {
        ++place.value;
        takeWeighed(place);
        report(place);
    }
}

/// Leaves the files as they are when the process is killed.
void reportAndKill(Place& place) {
    restartAndReport(place);
    const velhost::TemporaryDirectory copy;
    fs::copy(place.directory, copy.path(), fs::copy_options::recursive);
    end(place);
    fs::copy(copy.path(), place.directory, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

struct FeatureJobKind {
    const char* name;
    void (*prepare)(Place&);
    void (*run)(Place&);
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
    {"start after a kill", reportAndKill, start}, {"end", restart, end},
    {"end after reports", restartAndReport, end},
};

JobKind jobKind(const FeatureJobKind& kind, unsigned stored, unsigned rounds) {
    return {std::string(kind.name) + '/' + std::to_string(stored) + "/feature", rounds,
            [&kind, stored](const fs::path& directory) {
                storeApplications("Bench.db", "Tessary", "1100000000000000", stored);
                storeApplications("BenchHeavyGame.db", "HeavyGame", "000000000000000000000000", stored);
                auto place = std::make_shared<Place>();
                place->directory = directory;
                place->known = applicationName(stored / 2);
                start(*place);
                return Job{[&kind, place] {
                               ++place->value;
                               kind.prepare(*place);
                           },
                           [&kind, place] { kind.run(*place); }};
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
