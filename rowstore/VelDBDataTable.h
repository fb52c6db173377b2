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

/// One table of a store: names it, makes its rows, and queues the rows that wait for the next write-back.
///
/// A vector of rows owns them. Its holder hands each row back exactly once: to `cacheRow` or
/// VelDatabase::writeDeallocateDR (to be written), to VelDatabase::deleteDeallocateDR (to be deleted), or to `freeRow`.
/// Each of them empties the vector. A vector belongs to one thread.
///
/// `cacheMutex` guards `cacheList` and nothing else. It is held while one row enters or leaves the queue, and by the
/// destructor while it frees what is left; never across an SQLite call, and no other lock is taken under it.
template <typename T>
class VelDBDataTable {
public:
    /// A row of this table, always on the heap, and the form in which rows are handed over.
    using rowT = VelDBDataRow<T>;
    using vecT = std::vector<rowT*>;

    /// Copies `name`, which must be a plain SQL identifier. Throws std::bad_alloc.
    explicit VelDBDataTable(const std::string& name) : tableName(name) {}

    /// Frees the rows that are still queued, unwritten, and logs their number if there are any. No other thread may
    /// still use the table.
    ~VelDBDataTable();

    VelDBDataTable(const VelDBDataTable&) = delete;
    VelDBDataTable& operator=(const VelDBDataTable&) = delete;

    /// Returns `count` new rows without values, owned by the caller; above VELDB_MAX_GET_ROWS that many, with a
    /// warning. When memory runs out on the way, this is logged and the rows made so far are returned, possibly none:
    /// fewer than asked for are the caller's all the same.
    /// Throws std::bad_alloc, having made no row, when there is no memory for the vector itself. Any thread may call
    /// it.
    vecT getRow(unsigned int count);

    /// Moves every row of `rows` to the back of the write queue; nothing reaches the disk before the next write-back.
    /// Returns the number of entries that `rows` held, null entries included; `rows` is empty afterwards.
    /// Throws std::bad_alloc when the queue cannot grow: each row is then in the queue, its entry in `rows` null, or
    /// still in `rows`; never in both. Any thread may call it, also while another writes back; `rows` itself is the
    /// caller's alone.
    int cacheRow(vecT& rows);

    /// Frees every row of `rows` unwritten. Returns the number of entries that `rows` held, null entries included;
    /// `rows` is empty afterwards. Never throws. Any thread may call it.
    int freeRow(vecT& rows);

protected:
    /// An owning queue: rows that leave it unwritten are freed.
    using listT = std::list<std::unique_ptr<rowT>>;

    /// Returns one new row, the caller's, or null when memory ran out, which is logged as of getRow with the number of
    /// rows that it had `allocated` before.
    rowT* newRow(std::size_t allocated) {
        rowT* row = new (std::nothrow) rowT;
        if (row == nullptr) {
            VelDBLog("getRow", tableName.c_str()).noMemory(allocated);
        }
        return row;
    }

    /// Moves the oldest queued row to the back of `taken`. Returns false when the queue is empty. Needs no memory.
    bool takeOldest(listT& taken);

    /// The write queue, oldest row first.
    listT cacheList;
    /// Not recursive; guards `cacheList` alone.
    std::mutex cacheMutex;
    /// No operation reads or changes it.
    bool spareFlag = false;
    /// Pasted into the statements as it stands, and printed as "Dbt=" in log lines.
    std::string tableName;
};

template <typename T>
VelDBDataTable<T>::~VelDBDataTable() {
    if (cacheList.empty()) {
        return;
    }
    VelDBLog("~VelDBDataTable", tableName.c_str()).unwritten(cacheList.size());
    // Nobody can contend for it any more; it keeps the rule that the queue changes under its lock alone.
    const std::lock_guard<std::mutex> lock(cacheMutex);
    cacheList.clear();
}

template <typename T>
typename VelDBDataTable<T>::vecT VelDBDataTable<T>::getRow(unsigned int count) {
    std::size_t wanted = count;
    if (wanted > VELDB_MAX_GET_ROWS) {
        wanted = VELDB_MAX_GET_ROWS;
        VelDBLog("getRow", tableName.c_str()).restricted(wanted);
    }
    // All of the vector's memory first: after that nothing can throw and leave rows behind.
    vecT rows;
    rows.reserve(wanted);
    while (rows.size() < wanted) {
        rowT* row = newRow(rows.size());
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
            cacheList.emplace_back(row);
            row = nullptr; // the queue owns it, also if a later row finds no room
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
bool VelDBDataTable<T>::takeOldest(listT& taken) {
    const std::lock_guard<std::mutex> lock(cacheMutex);
    if (cacheList.empty()) {
        return false;
    }
    taken.splice(taken.end(), cacheList, cacheList.begin());
    return true;
}

#endif
