#ifndef ROWSTORE_VELDBDATAROW_H
#define ROWSTORE_VELDBDATAROW_H

#include <cstdint>
#include <string>
#include <type_traits>

#include "rowstore/VelDBTypes.h"

/// One row of a table, in memory. Changes reach the disk only when the row is written back.
/// VelDBDataTable::getRow and reads make rows; the owner hands each one back to the store exactly once.
/// Not thread-safe.
template <typename T>
struct VelDBDataRow {
    static_assert(std::is_trivially_copyable<T>::value, "a payload is stored as its memory image");

    /// SQLite's row id. 0 means never stored: a write inserts the row. Any other row is updated in place.
    /// Another program can store a row under id 0. This store takes it for a new one: a write adds a copy of it, and a
    /// delete leaves it.
    std::int64_t rowid = 0;
    /// Free for the owner's use; VELDB_NO_VALUE is stored as NULL.
    std::int32_t intcol1 = VELDB_NO_VALUE;
    /// The application's name, any bytes. The table refuses a row whose name is empty.
    std::string appName;
    /// A second name, any bytes; the empty string is stored as NULL.
    std::string rsvdName;
    /// Stored as a blob of exactly sizeof(T) bytes. Zero in a new row, unless T has initialisers.
    T payload{};
};

/// Selects the rows of a read: those that match every field that holds a value. A key without values selects all rows.
struct VelDBDataRowKey {
    /// VELDB_NO_VALUE leaves the column out of the selection.
    int intcol1;
    /// Matches the exact bytes; the empty string leaves the column out. A NUL byte makes the read fail.
    std::string appName;
    /// As `appName`.
    std::string rsvdName;

    /// Copies `name`. Can throw std::bad_alloc.
    VelDBDataRowKey(const std::string& name, int number) : intcol1(number), appName(name) {}
};

#endif
