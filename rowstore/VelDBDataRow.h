#ifndef ROWSTORE_VELDBDATAROW_H
#define ROWSTORE_VELDBDATAROW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "rowstore/VelDBTypes.h"

/// One row of a table, in memory. Made by VelDBDataTable::getRow or a read, and handed back to the store exactly once.
template <typename T>
struct VelDBDataRow {
    static_assert(std::is_trivially_copyable<T>::value, "a payload is stored as its memory image");

    std::int64_t rowid = 0;                ///< SQLite's row id; 0: never stored, so a write inserts it
    std::int32_t intcol1 = VELDB_NO_VALUE; ///< VELDB_NO_VALUE: stored as NULL
    std::string appName;                   ///< empty: no value, which the table refuses
    std::string rsvdName;                  ///< empty: stored as NULL
    T payload{};                           ///< stored as a blob of exactly sizeof(T) bytes
};

/// A row's fields without its payload's type, so that one piece of code binds and reads rows of every payload.
/// Refers to the row and must not outlive it.
struct VelDBRowRef {
    std::int64_t& rowid;
    std::int32_t& intcol1;
    std::string& appName;
    std::string& rsvdName;
    void* payload;
    unsigned payloadSize;

    template <typename T>
    explicit VelDBRowRef(VelDBDataRow<T>& row)
        : rowid(row.rowid),
          intcol1(row.intcol1),
          appName(row.appName),
          rsvdName(row.rsvdName),
          payload(&row.payload),
          payloadSize(sizeof(T)) {}
};

#endif
