#include "bench/FeatureUnderTest.h"

#include <stdexcept>
#include <utility>

#include "bench/Job.h"
#include "host/Registry.h"
#include "rowstore/VelDBPayloads.h"
#include "rowstore/VelDatabase.h"

namespace bench {

namespace {

// What the host sends. The operation code stands above the type; any but 0, which removes, adds or changes.
constexpr std::uint32_t classificationTrigger = 4164;
constexpr std::uint32_t weightTrigger = 4165;
constexpr std::uint32_t addOperation = 3U << 24U;

/// Queued rows are written when the store goes, all in one transaction: filling by the feature's own calls would take a
/// commit each.
template <typename T>
void fillTable(const std::string& fileName, const char* table, unsigned count, T payload) {
    VelDatabase<T> store(0, fileName, table);
    if (store.openVeldb() != VELDB_SUCCESS) {
        throw std::runtime_error("cannot open " + fileName);
    }
    for (unsigned number = 0; number < count; ++number) {
        auto rows = store.getRow(1);
        rows.front()->appName = applicationName(number);
        rows.front()->payload = payload;
        store.cacheRow(rows);
    }
}

std::unique_ptr<Feature> makeFeature(const std::string& name) {
    const auto* factories = RegistryBase<Feature, FeatureInfo>::getMap();
    FeatureInfo description;
    description.name = name;
    return std::unique_ptr<Feature>(factories->at("Tessary")(description));
}

} // namespace

FeatureUnderTest::FeatureUnderTest(unsigned applications) {
    // Before the feature opens the files, so that it finds them as after a restart of its host.
    fillTable("Bench.db", "Tessary", applications, TessaryDatabase{17, 0});
    fillTable("BenchHeavyGame.db", "HeavyGame", applications, HeavyGameClassifierDatabase{});
    feature = makeFeature("Bench");
}

int FeatureUnderTest::query(std::string& appName) {
    featureData answer;
    feature->getData(appName, answer, 0);
    return answer.value;
}

void FeatureUnderTest::classify(std::string appName, int type) {
    feature->runAsync({classificationTrigger, addOperation | static_cast<std::uint32_t>(type), std::move(appName), 0});
}

void FeatureUnderTest::weigh(std::string appName, int weight) {
    feature->runAsync({weightTrigger, 0, std::move(appName), weight});
}

void FeatureUnderTest::report(std::string& appName, int measurement) {
    feature->setData(appName, {measurement, measurement, measurement});
}

void FeatureUnderTest::remove(std::string appName) {
    feature->runAsync({classificationTrigger, 0, std::move(appName), 0});
}

} // namespace bench
