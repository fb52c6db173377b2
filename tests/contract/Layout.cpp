// What the host and the plug-in, compiled apart, must agree on: the fields of the records, their order, their types and
// their sizes, checked while this file is compiled, and the slots of the virtual table.
//
// The sizes below are those of libstdc++ and glibc. For another host give its own on the command line, for instance
// -DEXPECTED_SIZEOF_FEATURE=392. A size that is 0 is not checked.

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <list>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>
#include <perfd_client.h>

#include "host/Feature.h"
#include "rowstore/VelDBPayloads.h"
#include "rowstore/VelDatabase.h"

#ifndef EXPECTED_SIZEOF_FEATURE
#define EXPECTED_SIZEOF_FEATURE usually(392, 608, 2)
#endif
#ifndef EXPECTED_SIZEOF_FEATUREINFO
#define EXPECTED_SIZEOF_FEATUREINFO usually(160, 304)
#endif
#ifndef EXPECTED_SIZEOF_METERINFO
#define EXPECTED_SIZEOF_METERINFO usually(92, 168)
#endif

// The five records that only the host knows in full. The sizes here are those of the fields that the plug-in needs.
#ifndef EXPECTED_SIZEOF_FEATURESTATE
#define EXPECTED_SIZEOF_FEATURESTATE usually(24, 32)
#endif
#ifndef EXPECTED_SIZEOF_ASYNCTRIGGERPAYLOAD
#define EXPECTED_SIZEOF_ASYNCTRIGGERPAYLOAD usually(36, 48)
#endif
#ifndef EXPECTED_SIZEOF_FEATUREDATA
#define EXPECTED_SIZEOF_FEATUREDATA 4
#endif
#ifndef EXPECTED_SIZEOF_FEATUREOWNEDOBJECT
#define EXPECTED_SIZEOF_FEATUREOWNEDOBJECT sizeof(void*)
#endif
#ifndef EXPECTED_SIZEOF_PROPVAL
#define EXPECTED_SIZEOF_PROPVAL 92
#endif

#pragma GCC diagnostic ignored "-Winvalid-offsetof" // both compilers lay Feature out as they do a plain record

namespace {

/// A record's size with the usual library, whose strings, containers and locks it is made of. A lock has 40 bytes on
/// x86-64 but 48 on 64-bit ARM.
constexpr std::size_t usually([[maybe_unused]] std::size_t size32, [[maybe_unused]] std::size_t size64,
                              [[maybe_unused]] std::size_t locks = 0) {
#ifdef __GLIBCXX__
    return sizeof(void*) == 4 ? size32 : size64 + locks * (sizeof(std::mutex) - 40);
#else
    return 0;
#endif
}

constexpr std::size_t alignUp(std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

// By names: written out in the macros, sizeof of a container looks like a mistake to clang-tidy.
template <typename Field>
constexpr std::size_t roomOf = sizeof(Field);

#define FIELD_AT(record, field, offset, ...)                                                                           \
    static_assert(std::is_same_v<decltype(record::field), __VA_ARGS__>, #record "::" #field ": type");                 \
    static_assert(offsetof(record, field) == (offset), #record "::" #field ": offset")
#define END_OF(record, field) (offsetof(record, field) + roomOf<decltype(record::field)>)
#define FIELD_AFTER(record, before, field, ...)                                                                        \
    FIELD_AT(record, field, alignUp(END_OF(record, before), alignof(decltype(record::field))), __VA_ARGS__)
#define RECORD_SIZE(record, last, expected)                                                                            \
    static_assert(sizeof(record) == alignUp(END_OF(record, last), alignof(record)), #record ": end");                  \
    EXPECTED_SIZE(record, expected)
#define EXPECTED_SIZE(record, expected) static_assert((expected) == 0 || sizeof(record) == (expected), #record ": size")

using Strings = std::vector<std::string>;
using StringMap = std::unordered_map<std::string, std::string>;
using IntTables = std::vector<std::vector<int>>;

FIELD_AT(AsyncInfo, flag, 0, bool);
FIELD_AT(AsyncInfo, id, 4, std::uint32_t);
FIELD_AT(AsyncInfo, kind, 8, std::int32_t);
RECORD_SIZE(AsyncInfo, kind, 12);

FIELD_AT(MeterInfo, name, 0, std::string);
FIELD_AFTER(MeterInfo, name, asyncInfoSet, std::set<AsyncInfo>);
FIELD_AFTER(MeterInfo, asyncInfoSet, stringList, Strings);
FIELD_AFTER(MeterInfo, stringList, properties, StringMap);
FIELD_AFTER(MeterInfo, properties, param, std::int32_t);
RECORD_SIZE(MeterInfo, param, EXPECTED_SIZEOF_METERINFO);

FIELD_AT(FeatureInfo, name, 0, std::string);
FIELD_AFTER(FeatureInfo, name, idSets, std::unordered_map<unsigned int, std::unordered_set<int>>);
FIELD_AFTER(FeatureInfo, idSets, param, std::int32_t);
FIELD_AFTER(FeatureInfo, param, meters, std::vector<MeterInfo>);
FIELD_AFTER(FeatureInfo, meters, stringListA, Strings);
FIELD_AFTER(FeatureInfo, stringListA, stringListB, Strings);
FIELD_AFTER(FeatureInfo, stringListB, intTables, IntTables);
FIELD_AFTER(FeatureInfo, intTables, namedIntTables, std::unordered_map<std::string, IntTables>);
FIELD_AFTER(FeatureInfo, namedIntTables, properties, StringMap);
RECORD_SIZE(FeatureInfo, properties, EXPECTED_SIZEOF_FEATUREINFO);

EXPECTED_SIZE(FeatureState, EXPECTED_SIZEOF_FEATURESTATE);
EXPECTED_SIZE(AsyncTriggerPayload, EXPECTED_SIZEOF_ASYNCTRIGGERPAYLOAD);
EXPECTED_SIZE(featureData, EXPECTED_SIZEOF_FEATUREDATA);
EXPECTED_SIZE(FeatureOwnedObject, EXPECTED_SIZEOF_FEATUREOWNEDOBJECT);
EXPECTED_SIZE(PropVal, EXPECTED_SIZEOF_PROPVAL);

FIELD_AT(AsyncTriggerPayload, triggerId, 0, std::uint32_t);
FIELD_AT(AsyncTriggerPayload, triggerArg, 4, std::uint32_t);
FIELD_AT(AsyncTriggerPayload, appName, 8, std::string);
FIELD_AFTER(AsyncTriggerPayload, appName, triggerValue, std::int32_t);
FIELD_AT(featureData, value, 0, std::int32_t);
FIELD_AT(PropVal, value, 0, char[92]);
static_assert(std::has_virtual_destructor_v<FeatureOwnedObject>);

FIELD_AT(Feature, name, sizeof(void*), std::string);
FIELD_AFTER(Feature, name, ownedObjectA, FeatureOwnedObject*);
FIELD_AFTER(Feature, ownedObjectA, ownedObjectB, FeatureOwnedObject*);
FIELD_AFTER(Feature, ownedObjectB, auxValue, std::int32_t);
FIELD_AFTER(Feature, auxValue, info, FeatureInfo);
FIELD_AFTER(Feature, info, state, FeatureState);
FIELD_AFTER(Feature, state, stateAux, std::int32_t);
FIELD_AFTER(Feature, stateAux, cond1, std::condition_variable);
FIELD_AFTER(Feature, cond1, lock1, std::mutex);
FIELD_AFTER(Feature, lock1, cond2, std::condition_variable);
FIELD_AFTER(Feature, cond2, lock2, std::mutex);
FIELD_AFTER(Feature, lock2, flag1, bool);
FIELD_AFTER(Feature, flag1, flag2, bool);
FIELD_AFTER(Feature, flag2, handle, std::int32_t);
FIELD_AFTER(Feature, handle, worker, std::thread);
FIELD_AFTER(Feature, worker, flag3, bool);
FIELD_AFTER(Feature, flag3, flag4, bool);
FIELD_AFTER(Feature, flag4, tracePerf, bool);
RECORD_SIZE(Feature, tracePerf, EXPECTED_SIZEOF_FEATURE);

using Row = VelDBDataRow<TessaryDatabase>;
FIELD_AT(Row, rowid, 0, std::int64_t);
FIELD_AFTER(Row, rowid, intcol1, std::int32_t);
FIELD_AFTER(Row, intcol1, appName, std::string);
FIELD_AFTER(Row, appName, rsvdName, std::string);
FIELD_AFTER(Row, rsvdName, payload, TessaryDatabase);
RECORD_SIZE(Row, payload, usually(72, 88));

FIELD_AT(VelDBDataRowKey, intcol1, 0, int);
FIELD_AFTER(VelDBDataRowKey, intcol1, appName, std::string);
FIELD_AFTER(VelDBDataRowKey, appName, rsvdName, std::string);
RECORD_SIZE(VelDBDataRowKey, rsvdName, usually(52, 72));

struct Store : VelDatabase<TessaryDatabase> {
    using VelDatabase::cacheList, VelDatabase::cacheMutex, VelDatabase::spareFlag, VelDatabase::tableName;
    using VelDatabase::dbParam, VelDatabase::db, VelDatabase::dbDir, VelDatabase::dbFileName;
};
FIELD_AT(Store, cacheList, 0, std::list<Row*>);
FIELD_AFTER(Store, cacheList, cacheMutex, std::mutex);
FIELD_AFTER(Store, cacheMutex, spareFlag, bool);
FIELD_AFTER(Store, spareFlag, tableName, std::string);
EXPECTED_SIZE(VelDBDataTable<TessaryDatabase>, usually(64, 104, 1));
FIELD_AFTER(Store, tableName, dbParam, unsigned long);
FIELD_AFTER(Store, dbParam, db, sqlite3*);
FIELD_AFTER(Store, db, dbDir, std::string);
FIELD_AFTER(Store, dbDir, dbFileName, std::string);
RECORD_SIZE(Store, dbFileName, usually(120, 184, 1));

/// The slot of a virtual operation: the ABI keeps its offset in the table in a pointer to member.
template <typename Operation>
std::size_t slotOf(Operation operation) {
    std::size_t offset = 0;
    static_assert(sizeof(operation) == 2 * sizeof(offset));
    std::memcpy(&offset, &operation, sizeof(offset));
    return offset / sizeof(void*); // the lowest bit, a mark on some architectures, falls away
}

TEST(Contract, VirtualOperationsKeepTheirSlots) {
    using Query = int (Feature::*)(std::string&, featureData&, int);
    using LongQuery = int (Feature::*)(std::string&, featureData&, int, int);
    EXPECT_EQ(slotOf(&Feature::runAsync), 2U) << "the destructor takes slots 0 and 1";
    EXPECT_EQ(slotOf(&Feature::runAsyncIdle), 3U);
    EXPECT_EQ(slotOf(&Feature::runAsyncPeriodic), 4U);
    EXPECT_EQ(slotOf(static_cast<Query>(&Feature::getData)), 5U);
    EXPECT_EQ(slotOf(static_cast<LongQuery>(&Feature::getData)), 6U);
    EXPECT_EQ(slotOf(&Feature::setData), 7U);
}

} // namespace
