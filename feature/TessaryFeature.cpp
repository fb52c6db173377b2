#include "feature/TessaryFeature.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include <perfd_client.h>

#include "platform/Log.h"
#include "rowstore/VelDBRowLoan.h"

#if !defined(__cpp_rtti) || !defined(__cpp_exceptions)
#error "The plug-in needs run-time type information and exceptions, whatever its host is built with."
// Without type information clang puts a second std::exception type into the plug-in. libc++ compares types by address,
// so a std::bad_alloc would pass uncaught.
#endif

// The feature's type information refers to that of Feature, which a host built with -fno-rtti lacks. The reference is
// weak, so that the plug-in loads there as well. The variable has another name, because g++ declares the symbol itself.
extern __attribute__((weak, visibility("default"))) const char typeOfFeature[] __asm__("_ZTI7Feature");
// Keeps clang from dropping the declaration.
__attribute__((used)) static const char* const keptTypeOfFeature = typeOfFeature;

namespace {

constexpr std::uint32_t classificationTrigger = 4164;
constexpr std::uint32_t weightTrigger = 4165;
constexpr unsigned operationShift = 24;
constexpr std::uint32_t typeMask = 0x00FFFFFF;
constexpr int weightSelector = 1;
constexpr int operationRemove = 0;
constexpr std::size_t measurementCount = 3;
// Two steps: "sum - 1700 > 199" differs from "sum >= 1900" when the subtraction wraps.
constexpr std::uint32_t verdictOffset = 1700;
constexpr std::int32_t verdictThreshold = 199;

// The feature's messages. They end without a line break, unlike most of the row store's.

constexpr char component[] = "Tessary";

void logNoDatabase(const char* operation, int line = __builtin_LINE()) {
    VEL_LOG_ERROR("No Classifier Database Available", component, operation, line);
}

void logNoEntry(const char* operation, int line = __builtin_LINE()) {
    VEL_LOG_ERROR("No entry found for the app in classifier, cannot updateinfo", component, operation, line);
}

/// One text for both databases; people search logs for it. The operation's name tells which database it is.
void logNotOpened(const char* operation, int result, int line) {
    VEL_LOG_ERROR("Error in DB initialization - createFeatureInputDb  %d", component, operation, line, result);
}

/// Does nothing when `store` is open. Leaves it null when the database cannot be opened or there is no memory for the
/// store object. Throws std::bad_alloc when out of memory for a name.
template <typename T>
void openStore(std::unique_ptr<VelDatabase<T>>& store, const std::string& name, const char* ending,
               const char* tableName, const char* operation, int line = __builtin_LINE()) {
    if (store != nullptr) {
        return;
    }
    store.reset(new (std::nothrow) VelDatabase<T>(0, name + ending, tableName));
    if (store == nullptr) {
        return; // not logged: the first change that needs the store logs that it is missing
    }
    const int result = store->openVeldb();
    if (result != VELDB_SUCCESS) {
        logNotOpened(operation, result, line);
        store.reset();
    }
}

/// Only "true" counts, not "1" or "yes".
bool readHeavyGameProperty() {
    const PropVal property = perf_get_prop("ro.vendor.perf.wlc.heavygame", "false");
    // Bounded, in case a device's client leaves a value of full length without its NUL.
    const std::string value(property.value, strnlen(property.value, sizeof(property.value)));
    return value == "true";
}

/// False for a name that the feature refuses; TessaryFeature.h says why.
bool isApplicationName(const std::string& appName) {
    return !appName.empty() && appName.find('\0') == std::string::npos;
}

/// Returns the rows of one application: none, one or, after a fault, several.
template <typename T>
VelDBRowLoan<T> lookUp(VelDatabase<T>& store, const std::string& appName) {
    const VelDBDataRowKey key(appName, VELDB_NO_VALUE);
    return {store, store.template readAllocateDR<T>(key, 0, veldbOrderByNone, veldbDirNone)};
}

/// Adds a row for an application that has none. Returns false when out of memory for the row.
template <typename T>
bool insertRow(VelDatabase<T>& store, const std::string& appName, const T& payload) {
    VelDBRowLoan<T> added(store, store.getRow(1));
    if (added.size() != 1) {
        return false;
    }
    added.front().appName = appName;
    added.front().payload = payload;
    added.write();
    return true;
}

template <typename T>
void removeRows(VelDatabase<T>& store, const std::string& appName) {
    lookUp(store, appName).remove();
}

int classify(VelDatabase<TessaryDatabase>& store, const std::string& appName, int type) {
    VelDBRowLoan<TessaryDatabase> known = lookUp(store, appName);
    if (known.size() == 1) {
        known.front().payload.appType = type;
        known.write();
        return 1;
    }
    // Duplicates: nobody can tell which row is right, so all are deleted; the next trigger adds one. An unknown
    // application has nothing to delete, but the agreed sequence of calls includes the delete: one empty transaction.
    const bool added = known.empty() && insertRow(store, appName, TessaryDatabase{type});
    known.remove();
    return added ? 1 : 0;
}

/// Returns `field` of the application's first row, or 0 without a row or a store and for a refused name.
int queryClassification(VelDatabase<TessaryDatabase>* store, const std::string& appName,
                        std::int32_t TessaryDatabase::*field) {
    if (store == nullptr || !isApplicationName(appName)) {
        return 0;
    }
    VelDBRowLoan<TessaryDatabase> known = lookUp(*store, appName);
    return known.empty() ? 0 : known.front().payload.*field;
}

HeavyGameClassifierDatabase maxima(const HeavyGameClassifierDatabase& one, const HeavyGameClassifierDatabase& other) {
    return {std::max(one.peak0, other.peak0), std::max(one.peak1, other.peak1), std::max(one.peak2, other.peak2)};
}

} // namespace

Registry<Feature, FeatureInfo, TessaryFeature> TessaryFeature::registerFeature("Tessary");

TessaryFeature::TessaryFeature(FeatureInfo description) : Feature(std::move(description)) {
    createFeatureInputDb();
    createHeavyGameDb();
    heavyGameEnabled = readHeavyGameProperty();
}

TessaryFeature::~TessaryFeature() {
    // The host expects this order.
    delete ownedObjectA;
    ownedObjectA = nullptr;
    delete ownedObjectB;
    ownedObjectB = nullptr;
    appDb.reset();
    heavyGameDb.reset();
}

void TessaryFeature::createFeatureInputDb() { openStore(appDb, info.name, ".db", "Tessary", "createFeatureInputDb"); }

void TessaryFeature::createHeavyGameDb() {
    openStore(heavyGameDb, info.name, "HeavyGame.db", "HeavyGame", "createHeavyGameDb");
}

void TessaryFeature::runAsync(AsyncTriggerPayload payload) {
    // Before the code is checked: a trigger of any code logs the missing database.
    if (appDb == nullptr) {
        logNoDatabase("runAsync");
        return;
    }
    if (payload.triggerId == weightTrigger) {
        if (!heavyGameEnabled) {
            updateWeightToTessary(payload.appName, payload.triggerValue);
        }
    } else if (payload.triggerId == classificationTrigger) {
        const auto op = static_cast<int>(payload.triggerArg >> operationShift);
        const auto type = static_cast<int>(payload.triggerArg & typeMask);
        updateToClassifierDataBase(payload.appName, op, type);
    }
}

int TessaryFeature::getData(std::string& appName, featureData& data, int selector) {
    data.value = selector == weightSelector ? getAppWeight(appName) : getAppType(appName);
    return 0;
}

int TessaryFeature::setData(std::string& appName, std::vector<int> values) {
    updateWeightToClassifier(appName, std::move(values));
    return 0;
}

int TessaryFeature::updateToClassifierDataBase(std::string& appName, int op, int type) {
    if (appDb == nullptr) {
        logNoDatabase("updateToClassifierDataBase");
        return 0;
    }
    if (!isApplicationName(appName)) {
        return 0;
    }
    if (op != operationRemove) {
        return classify(*appDb, appName, type);
    }
    // The classification first. If the second removal fails, no query answers from the peaks that stay.
    removeRows(*appDb, appName);
    if (heavyGameDb != nullptr) {
        removeRows(*heavyGameDb, appName);
    }
    return 1;
}

int TessaryFeature::updateWeightToTessary(std::string& appName, int weight) {
    if (appDb == nullptr) {
        logNoDatabase("updateWeightToTessary");
        return 0;
    }
    if (!isApplicationName(appName)) {
        return 0;
    }
    VelDBRowLoan<TessaryDatabase> known = lookUp(*appDb, appName);
    if (known.size() != 1) {
        logNoEntry("updateWeightToTessary");
        return 0;
    }
    known.front().payload.appWeight = weight;
    known.write();
    return 1;
}

int TessaryFeature::updateWeightToClassifier(std::string& appName, std::vector<int> values) {
    if (appDb == nullptr || heavyGameDb == nullptr) {
        logNoDatabase("updateWeightToClassifier");
        return 0;
    }
    if (values.size() < measurementCount || !isApplicationName(appName)) {
        return 0;
    }
    VelDBRowLoan<TessaryDatabase> known = lookUp(*appDb, appName);
    if (known.size() != 1) {
        logNoEntry("updateWeightToClassifier");
        return 0;
    }
    VelDBRowLoan<HeavyGameClassifierDatabase> stored = lookUp(*heavyGameDb, appName);
    // Duplicates: nobody can tell which row is right. A removal deletes them all.
    if (stored.size() > 1) {
        return 0;
    }
    // The peaks first. If the weight then fails, the next report sets it.
    HeavyGameClassifierDatabase peaks{values[0], values[1], values[2]};
    if (stored.empty()) {
        writeHeavyGameDb(appName, std::move(values));
    } else {
        peaks = maxima(stored.front().payload, peaks);
        stored.front().payload = peaks;
        stored.write();
    }
    known.front().payload.appWeight = calculateWeight(peaks.peak0, peaks.peak1, peaks.peak2);
    known.write();
    return 1;
}

int TessaryFeature::writeHeavyGameDb(std::string& appName, std::vector<int> values) {
    if (heavyGameDb == nullptr || !isApplicationName(appName)) {
        return 0;
    }
    return insertRow(*heavyGameDb, appName, HeavyGameClassifierDatabase{values[0], values[1], values[2]}) ? 1 : 0;
}

int TessaryFeature::getAppType(std::string& appName) {
    return queryClassification(appDb.get(), appName, &TessaryDatabase::appType);
}

int TessaryFeature::getAppWeight(std::string& appName) {
    return queryClassification(appDb.get(), appName, &TessaryDatabase::appWeight);
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): exported as a member
int TessaryFeature::calculateWeight(int a, int b, int c) {
    // Unsigned, because the sum may wrap. The wrapped result is compared as signed.
    const auto sum =
        static_cast<std::uint32_t>(b) + 2U * (static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(c));
    const auto excess = static_cast<std::int32_t>(sum - verdictOffset);
    return excess > verdictThreshold ? 1 : 0;
}
