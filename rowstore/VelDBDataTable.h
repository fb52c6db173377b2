#ifndef ROWSTORE_VELDBDATATABLE_H
#define ROWSTORE_VELDBDATATABLE_H

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBTypes.h"

/// One table of a store: its name, new rows for it, and the queue of rows that wait for the next write-back.
///
/// Whoever holds a vector of rows owns them, and hands each row back exactly once: to `cacheRow` or
/// VelDatabase::writeDeallocateDR to write it, to VelDatabase::deleteDeallocateDR to delete it, or to `freeRow`.
/// Each of these calls empties the vector.
///
/// Any thread may call the public operations, each with a vector of its own.
template <typename T>
class VelDBDataTable {
public:
    using rowT = VelDBDataRow<T>;
    using vecT = std::vector<rowT*>;
    using nameT = const std::string&;

    /// Copies `name`, which must be a plain SQL identifier. Can throw std::bad_alloc.
    explicit VelDBDataTable(nameT name) : tableName(name) {}

    /// Frees the rows that are still queued and logs how many were lost. No other thread may still use the table.
    ~VelDBDataTable();

    VelDBDataTable(const VelDBDataTable&) = delete;
    VelDBDataTable& operator=(const VelDBDataTable&) = delete;

    /// Returns `count` new rows without values, owned by the caller. Returns VELDB_MAX_GET_ROWS rows and logs a warning
    /// when `count` is above that. When out of memory, logs it and returns the rows made so far, possibly none.
    /// Throws std::bad_alloc, with no row made, when the vector cannot be allocated.
    vecT getRow(unsigned int count);

    /// Moves every row of `rows` to the back of the write queue. Nothing reaches the disk before the next write-back.
    /// Returns the number of entries in `rows`, null entries included, and empties it.
    /// Throws std::bad_alloc when the queue cannot grow. The rows that were queued are then null in `rows`; the caller
    /// still owns the others.
    int cacheRow(vecT& rows);

    /// Frees every row of `rows` unwritten. Returns the number of entries, null entries included, and empties `rows`.
    int freeRow(vecT& rows);

protected:
    /// Returns a new row, owned by the caller, or null when out of memory. Logs that as `getRow`, with the number of
    /// rows `allocated` before it.
    std::unique_ptr<rowT> newRow(std::size_t allocated);

    /// Removes the oldest row from the queue and hands it to the caller; null when the queue is empty.
    std::unique_ptr<rowT> takeOldest();

    /// The write queue, oldest row first. Owns its rows.
    std::list<rowT*> cacheList;
    /// Guards `cacheList`. Held for one row at a time, never during an SQLite call. No other lock is taken meanwhile.
    std::mutex cacheMutex;
    /// Unused. Part of the agreed object layout.
    bool spareFlag = false;
    /// Pasted into the statements unquoted. Log lines show it after "Dbt=".
    std::string tableName;
};

template <typename T>
VelDBDataTable<T>::~VelDBDataTable() {
    if (!cacheList.empty()) {
        VelDBLog("~VelDBDataTable", tableName.c_str()).rowsLost(cacheList.size());
    }
    while (takeOldest() != nullptr) {
    }
}

template <typename T>
typename VelDBDataTable<T>::vecT VelDBDataTable<T>::getRow(unsigned int count) {
    std::size_t wanted = count;
    if (wanted > VELDB_MAX_GET_ROWS) {
        wanted = VELDB_MAX_GET_ROWS;
        VelDBLog("getRow", tableName.c_str()).countLowered(wanted);
    }
    vecT rows;
    rows.reserve(wanted); // the only step that throws: no row exists yet
    while (rows.size() < wanted) {
        rowT* row = newRow(rows.size()).release();
        if (row == nullptr) {
            break;
        }
        rows.push_back(row);
    }
    return rows;
}

template <typename T>
int VelDBDataTable<T>::cacheRow(vecT& rows) {
    const int count = static_cast<int>(rows.size());
    for (rowT*& row : rows) {
        if (row != nullptr) {
            const std::lock_guard<std::mutex> lock(cacheMutex);
            cacheList.push_back(row);
            row = nullptr; // the queue owns it, even if a later row does not fit
        }
    }
    rows.clear();
    return count;
}

template <typename T>
int VelDBDataTable<T>::freeRow(vecT& rows) {
    const int count = static_cast<int>(rows.size());
    for (const rowT* row : rows) {
        delete row;
    }
    rows.clear();
    return count;
}

template <typename T>
std::unique_ptr<VelDBDataRow<T>> VelDBDataTable<T>::newRow(std::size_t allocated) {
    std::unique_ptr<rowT> row(new (std::nothrow) rowT);
    if (row == nullptr) {
        VelDBLog("getRow", tableName.c_str()).outOfMemory(allocated);
    }
    return row;
}

template <typename T>
std::unique_ptr<VelDBDataRow<T>> VelDBDataTable<T>::takeOldest() {
    const std::lock_guard<std::mutex> lock(cacheMutex);
    if (cacheList.empty()) {
        return nullptr;
    }
    std::unique_ptr<rowT> oldest(cacheList.front());
    cacheList.pop_front();
    return oldest;
}

#endif
