// What the host and the plug-in, compiled apart, must agree on: the sizes of the records, checked while this file is
// compiled, their fields' order and first values, how AsyncInfo compares, and the slots of the virtual table.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <tuple>
#include <typeinfo>

#include <gtest/gtest.h>
#include <perfd_client.h>

#include "host/Feature.h"
#include "rowstore/VelDBPayloads.h"
#include "rowstore/VelDatabase.h"

/// The size with libstdc++. With another C++ library 0, which is not checked: its strings have other sizes.
#ifdef __GLIBCXX__
constexpr std::size_t withLibstdcxx(std::size_t on32, std::size_t on64) { return sizeof(void*) == 4 ? on32 : on64; }
#else
constexpr std::size_t withLibstdcxx(std::size_t /*on32*/, std::size_t /*on64*/) { return 0; }
#endif

// The sizes that a host has with libstdc++ and glibc. For another host define all eight on the command line: with
// -DEXPECTED_SIZEOF_FEATURE=392 the other seven have no default.
#ifndef EXPECTED_SIZEOF_FEATURE
#define EXPECTED_SIZEOF_FEATURE withLibstdcxx(392, 528 + 2 * sizeof(std::mutex))
#define EXPECTED_SIZEOF_FEATUREINFO withLibstdcxx(160, 304)
#define EXPECTED_SIZEOF_METERINFO withLibstdcxx(92, 168)
// The five records that only the host knows in full: the sizes of the fields that the plug-in needs.
#define EXPECTED_SIZEOF_FEATURESTATE withLibstdcxx(24, 32)
#define EXPECTED_SIZEOF_ASYNCTRIGGERPAYLOAD withLibstdcxx(36, 48)
#define EXPECTED_SIZEOF_FEATUREDATA 4
#define EXPECTED_SIZEOF_FEATUREOWNEDOBJECT sizeof(void*)
#define EXPECTED_SIZEOF_PROPVAL 92
#endif

namespace {

template <typename Record>
constexpr bool hasSize(std::size_t expected) {
    return expected == 0 || sizeof(Record) == expected;
}
static_assert(hasSize<Feature>(EXPECTED_SIZEOF_FEATURE), "Feature: size");
static_assert(hasSize<FeatureInfo>(EXPECTED_SIZEOF_FEATUREINFO), "FeatureInfo: size");
static_assert(hasSize<MeterInfo>(EXPECTED_SIZEOF_METERINFO), "MeterInfo: size");
static_assert(hasSize<FeatureState>(EXPECTED_SIZEOF_FEATURESTATE), "FeatureState: size");
static_assert(hasSize<AsyncTriggerPayload>(EXPECTED_SIZEOF_ASYNCTRIGGERPAYLOAD), "AsyncTriggerPayload: size");
static_assert(hasSize<featureData>(EXPECTED_SIZEOF_FEATUREDATA), "featureData: size");
static_assert(hasSize<FeatureOwnedObject>(EXPECTED_SIZEOF_FEATUREOWNEDOBJECT), "FeatureOwnedObject: size");
static_assert(hasSize<PropVal>(EXPECTED_SIZEOF_PROPVAL), "PropVal: size");

/// Expects the first field at `offset` and each other one where the field before it ends, up to alignment.
template <typename Record, typename... Fields>
void expectOrder(const Record& record, std::size_t offset, const Fields&... fields) {
    const auto begin = reinterpret_cast<std::uintptr_t>(&record);
    int number = 0;
    const auto expectNext = [begin, &offset, &number](const auto* field) {
        ++number;
        const std::size_t alignment = alignof(decltype(*field));
        offset = (offset + alignment - 1) / alignment * alignment;
        const std::size_t actual = reinterpret_cast<std::uintptr_t>(field) - begin;
        EXPECT_EQ(actual, offset) << typeid(Record).name() << ", field " << number;
        offset = reinterpret_cast<std::uintptr_t>(field + 1) - begin;
    };
    (expectNext(&fields), ...);
}

TEST(Contract, FieldsOfTheHostsRecordsKeepTheirOrderAndStartAtZero) {
    const AsyncInfo async;
    expectOrder(async, 0, async.flag, async.id, async.kind);
    EXPECT_EQ(std::tie(async.flag, async.id, async.kind), std::tuple(false, 0U, 0));
    const MeterInfo meter;
    expectOrder(meter, 0, meter.name, meter.asyncInfoSet, meter.stringList, meter.properties, meter.param);
    EXPECT_EQ(meter.param, 0);
    const FeatureInfo info;
    expectOrder(info, 0, info.name, info.idSets, info.param, info.meters, info.stringListA, info.stringListB,
                info.intTables, info.namedIntTables, info.properties);
    const AsyncTriggerPayload payload;
    expectOrder(payload, 0, payload.triggerId, payload.triggerArg, payload.appName, payload.triggerValue);
    EXPECT_EQ(std::tie(payload.triggerId, payload.triggerArg, payload.triggerValue), std::tuple(0U, 0U, 0));
    const featureData data;
    EXPECT_EQ(data.value, 0);
    const Feature it(info);
    expectOrder(it, sizeof(void*), it.name, it.ownedObjectA, it.ownedObjectB, it.auxValue, it.info, it.state,
                it.stateAux, it.cond1, it.lock1, it.cond2, it.lock2, it.flag1, it.flag2, it.handle, it.worker, it.flag3,
                it.flag4, it.tracePerf);
}

struct Store : VelDatabase<TessaryDatabase> {
    using VelDatabase::tableName, VelDatabase::dbParam, VelDatabase::db, VelDatabase::dbDir, VelDatabase::dbFileName;
    using VelDatabase::VelDatabase, VelDatabase::cacheList, VelDatabase::cacheMutex, VelDatabase::spareFlag;
};

TEST(Contract, FieldsOfTheRowStoreKeepTheirOrder) {
    const VelDBDataRow<TessaryDatabase> row;
    expectOrder(row, 0, row.rowid, row.intcol1, row.appName, row.rsvdName, row.payload);
    const VelDBDataRowKey key("", 0);
    expectOrder(key, 0, key.intcol1, key.appName, key.rsvdName);
    const Store store(0, "", "");
    expectOrder(store, 0, store.cacheList, store.cacheMutex, store.spareFlag, store.tableName, store.dbParam, store.db,
                store.dbDir, store.dbFileName);
}

TEST(Contract, AsyncInfoIsOrderedByIdThenKindThenFlag) {
    const AsyncInfo ordered[] = {{false, 1, -1}, {true, 1, -1}, {false, 1, 0}, {false, ~0U, -9}};
    for (std::size_t i = 1; i < std::size(ordered); ++i) {
        EXPECT_TRUE(ordered[i - 1] < ordered[i]) << i;
        EXPECT_FALSE(ordered[i] < ordered[i - 1]) << i;
    }
    EXPECT_FALSE(ordered[0] < ordered[0]);
}

/// The index of a virtual operation in the table. A pointer to member holds its byte offset, on some architectures
/// plus 1, which the division drops.
template <typename Operation>
std::size_t slotOf(Operation Feature::*operation) {
    std::size_t offset = 0;
    std::memcpy(&offset, &operation, sizeof(offset));
    return offset / sizeof(void*);
}

TEST(Contract, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(slotOf(&Feature::runAsync), 2U) << "the destructor takes slots 0 and 1";
    EXPECT_EQ(slotOf(&Feature::runAsyncIdle), 3U);
    EXPECT_EQ(slotOf(&Feature::runAsyncPeriodic), 4U);
    EXPECT_EQ(slotOf<int(std::string&, featureData&, int)>(&Feature::getData), 5U);
    EXPECT_EQ(slotOf<int(std::string&, featureData&, int, int)>(&Feature::getData), 6U);
    EXPECT_EQ(slotOf(&Feature::setData), 7U);
}

} // namespace
