#ifndef ROWSTORE_VELDBDATAROW_H
#define ROWSTORE_VELDBDATAROW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "rowstore/VelDBTypes.h"

/// One row of a table, in memory. Changing a field changes nothing on the disk before the row is written back.
/// Made by VelDBDataTable::getRow or a read, and handed back to the store exactly once. Not synchronised: a row belongs
/// to whoever holds it.
template <typename T>
struct VelDBDataRow {
    static_assert(std::is_trivially_copyable<T>::value, "a payload is stored as its memory image");

    /// SQLite's row id. 0 means that the row was never stored, so that a write inserts it; any other is updated in
    /// place. Ids beyond 32 bits can be read but not written. A stored row whose id is 0, which only another writer can
    /// have made, is taken for a new one: a write adds a copy of it, and a delete leaves it.
    std::int64_t rowid = 0;
    /// A number of the owner's; VELDB_NO_VALUE is stored as NULL.
    std::int32_t intcol1 = VELDB_NO_VALUE;
    /// The application's name, any bytes; the empty string has no value to store, which the table refuses.
    std::string appName;
    /// A second name, any bytes; the empty string is stored as NULL.
    std::string rsvdName;
    /// Stored as a blob of exactly sizeof(T) bytes. A new row's is zero where its type has no default.
    T payload{};
};

/// A row's fields without its payload's type, so that one piece of code binds and reads rows of every payload.
/// Refers to the row and must not outlive it.
struct VelDBRowRef {
    std::int64_t& rowid;
    std::int32_t& intcol1;
    std::string& appName;
    std::string& rsvdName;
    void* payload;
    unsigned payloadSize; ///< in bytes

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
