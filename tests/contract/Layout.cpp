// What the host and the plug-in, compiled apart, must agree on: the fields of the records, their order, their types and
// the room that they take, checked while this file is compiled, and the slots of the virtual table.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <list>
#include <mutex>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "host/Feature.h"
#include "rowstore/VelDBPayloads.h"
#include "rowstore/VelDatabase.h"

#pragma GCC diagnostic ignored "-Winvalid-offsetof" // both compilers lay Feature out as they do a plain record

namespace {

constexpr bool narrow = sizeof(void*) == 4;

constexpr std::size_t alignUp(std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
}

// By names: written out in the macros, sizeof of a container looks like a mistake to clang-tidy.
template <typename Field>
constexpr std::size_t roomOf = sizeof(Field);

constexpr std::size_t byWidth(std::size_t size32, std::size_t size64) { return narrow ? size32 : size64; }

#define FIELD_AT(record, field, offset, ...)                                                                           \
    static_assert(std::is_same_v<decltype(record::field), __VA_ARGS__>, #record "::" #field ": type");                 \
    static_assert(offsetof(record, field) == (offset), #record "::" #field ": offset")
#define END_OF(record, field) (offsetof(record, field) + roomOf<decltype(record::field)>)
#define FIELD_AFTER(record, before, field, ...)                                                                        \
    FIELD_AT(record, field, alignUp(END_OF(record, before), alignof(decltype(record::field))), __VA_ARGS__)
#define RECORD_SIZE(record, last, size32, size64)                                                                      \
    static_assert(sizeof(record) == alignUp(END_OF(record, last), alignof(record)), #record ": end");                  \
    static_assert(!usualLibrary || sizeof(record) == byWidth(size32, size64), #record ": size")

#ifdef __GLIBCXX__
constexpr bool usualLibrary = true; // whose strings, containers and locks the sizes below are made of
#else
constexpr bool usualLibrary = false;
#endif

using Strings = std::vector<std::string>;
using StringMap = std::unordered_map<std::string, std::string>;
using IntTables = std::vector<std::vector<int>>;

FIELD_AT(AsyncInfo, flag, 0, bool);
FIELD_AT(AsyncInfo, id, 4, std::uint32_t);
FIELD_AT(AsyncInfo, kind, 8, std::int32_t);
RECORD_SIZE(AsyncInfo, kind, 12, 12);

FIELD_AT(MeterInfo, name, 0, std::string);
FIELD_AFTER(MeterInfo, name, asyncInfoSet, std::set<AsyncInfo>);
FIELD_AFTER(MeterInfo, asyncInfoSet, stringList, Strings);
FIELD_AFTER(MeterInfo, stringList, properties, StringMap);
FIELD_AFTER(MeterInfo, properties, param, std::int32_t);
RECORD_SIZE(MeterInfo, param, 92, 168);

FIELD_AT(FeatureInfo, name, 0, std::string);
FIELD_AFTER(FeatureInfo, name, idSets, std::unordered_map<unsigned int, std::unordered_set<int>>);
FIELD_AFTER(FeatureInfo, idSets, param, std::int32_t);
FIELD_AFTER(FeatureInfo, param, meters, std::vector<MeterInfo>);
FIELD_AFTER(FeatureInfo, meters, stringListA, Strings);
FIELD_AFTER(FeatureInfo, stringListA, stringListB, Strings);
FIELD_AFTER(FeatureInfo, stringListB, intTables, IntTables);
FIELD_AFTER(FeatureInfo, intTables, namedIntTables, std::unordered_map<std::string, IntTables>);
FIELD_AFTER(FeatureInfo, namedIntTables, properties, StringMap);
RECORD_SIZE(FeatureInfo, properties, 160, 304);

FIELD_AT(AsyncTriggerPayload, triggerId, 0, std::uint32_t);
FIELD_AT(AsyncTriggerPayload, triggerArg, 4, std::uint32_t);
FIELD_AT(AsyncTriggerPayload, appName, 8, std::string);
FIELD_AFTER(AsyncTriggerPayload, appName, triggerValue, std::int32_t);
FIELD_AT(featureData, value, 0, std::int32_t);

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
RECORD_SIZE(Feature, tracePerf, 392, 608);

using Row = VelDBDataRow<TessaryDatabase>;
FIELD_AT(Row, rowid, 0, std::int64_t);
FIELD_AFTER(Row, rowid, intcol1, std::int32_t);
FIELD_AFTER(Row, intcol1, appName, std::string);
FIELD_AFTER(Row, appName, rsvdName, std::string);
FIELD_AFTER(Row, rsvdName, payload, TessaryDatabase);
RECORD_SIZE(Row, payload, 72, 88);

FIELD_AT(VelDBDataRowKey, intcol1, 0, int);
FIELD_AFTER(VelDBDataRowKey, intcol1, appName, std::string);
FIELD_AFTER(VelDBDataRowKey, appName, rsvdName, std::string);
RECORD_SIZE(VelDBDataRowKey, rsvdName, 52, 72);

struct Table : VelDBDataTable<TessaryDatabase> {
    using VelDBDataTable::cacheList;
    using VelDBDataTable::cacheMutex;
    using VelDBDataTable::spareFlag;
    using VelDBDataTable::tableName;
};
FIELD_AT(Table, cacheList, 0, std::list<Row*>);
FIELD_AFTER(Table, cacheList, cacheMutex, std::mutex);
FIELD_AFTER(Table, cacheMutex, spareFlag, bool);
FIELD_AFTER(Table, spareFlag, tableName, std::string);
RECORD_SIZE(Table, tableName, 64, 104);

struct Store : VelDatabase<TessaryDatabase> {
    using VelDatabase::db;
    using VelDatabase::dbDir;
    using VelDatabase::dbFileName;
    using VelDatabase::dbParam;
};
FIELD_AT(Store, dbParam, sizeof(Table), unsigned long);
FIELD_AFTER(Store, dbParam, db, sqlite3*);
FIELD_AFTER(Store, db, dbDir, std::string);
FIELD_AFTER(Store, dbDir, dbFileName, std::string);
RECORD_SIZE(Store, dbFileName, 120, 184);

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
