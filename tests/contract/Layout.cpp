// What the host and the plug-in, compiled apart, must agree on: the sizes of the records, checked while this file is
// compiled, the order of their fields, and the slots of the virtual table.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <typeinfo>

#include <gtest/gtest.h>
#include <perfd_client.h>

#include "host/Feature.h"
#include "rowstore/VelDBPayloads.h"
#include "rowstore/VelDatabase.h"

/// A size on 32 and on 64 bits. Another C++ library has strings and containers of other sizes.
#ifdef __GLIBCXX__
constexpr std::size_t usually(std::size_t on32, std::size_t on64) { return sizeof(void*) == 4 ? on32 : on64; }
#else
constexpr std::size_t usually(std::size_t /*on32*/, std::size_t /*on64*/) { return 0; }
#endif

// The sizes that a host has with libstdc++ and glibc. For another one give all eight on the command line, for instance
// -DEXPECTED_SIZEOF_FEATURE=392. A size that is 0 is not checked.
#ifndef EXPECTED_SIZEOF_FEATURE
#define EXPECTED_SIZEOF_FEATURE usually(392, 528 + 2 * sizeof(std::mutex))
#define EXPECTED_SIZEOF_FEATUREINFO usually(160, 304)
#define EXPECTED_SIZEOF_METERINFO usually(92, 168)
// The five records that only the host knows in full: the sizes of the fields that the plug-in needs.
#define EXPECTED_SIZEOF_FEATURESTATE usually(24, 32)
#define EXPECTED_SIZEOF_ASYNCTRIGGERPAYLOAD usually(36, 48)
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
    const auto expectNext = [begin, &offset](const auto* field) {
        const std::size_t alignment = alignof(decltype(*field));
        offset = (offset + alignment - 1) / alignment * alignment;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(field) - begin, offset) << typeid(Record).name();
        offset = reinterpret_cast<std::uintptr_t>(field + 1) - begin;
    };
    (expectNext(&fields), ...);
}

TEST(Contract, FieldsOfTheHostsRecordsKeepTheirOrder) {
    const AsyncInfo async;
    expectOrder(async, 0, async.flag, async.id, async.kind);
    const MeterInfo meter;
    expectOrder(meter, 0, meter.name, meter.asyncInfoSet, meter.stringList, meter.properties, meter.param);
    const FeatureInfo info;
    expectOrder(info, 0, info.name, info.idSets, info.param, info.meters, info.stringListA, info.stringListB,
                info.intTables, info.namedIntTables, info.properties);
    const AsyncTriggerPayload payload;
    expectOrder(payload, 0, payload.triggerId, payload.triggerArg, payload.appName, payload.triggerValue);
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

TEST(Contract, RecordsStartWithoutValues) {
    const AsyncTriggerPayload payload;
    EXPECT_TRUE(payload.triggerId == 0 && payload.triggerArg == 0 && payload.triggerValue == 0);
    const AsyncInfo async;
    EXPECT_TRUE(!async.flag && async.id == 0 && async.kind == 0);
    EXPECT_EQ(MeterInfo().param, 0);
    EXPECT_EQ(featureData().value, 0);
}

/// The slot of a virtual operation: the ABI keeps its offset in the table in a pointer to member.
template <typename Operation>
std::size_t slotOf(Operation Feature::*operation) {
    std::size_t offset = 0;
    std::memcpy(&offset, &operation, sizeof(offset));
    return offset / sizeof(void*); // the lowest bit, a mark on some architectures, falls away
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
