#ifndef ROWSTORE_VELDBROWLOAN_H
#define ROWSTORE_VELDBROWLOAN_H

#include <cstddef>
#include <utility>

#include "rowstore/VelDatabase.h"

/// Holds rows from a read or from getRow and gives them back to the store exactly once: to be written, to be deleted,
/// or, in the destructor, to be freed unwritten. Must not outlive the store. Not thread-safe.
template <typename T>
class VelDBRowLoan {
public:
    using vecT = typename VelDBDataTable<T>::vecT;

    /// Takes over the rows, which must come from this store. Throws nothing.
    VelDBRowLoan(VelDatabase<T>& lender, vecT&& lent) : store(lender), rows(std::move(lent)) {}
    /// Frees what was neither written nor deleted.
    ~VelDBRowLoan() { store.freeRow(rows); }

    VelDBRowLoan(const VelDBRowLoan&) = delete;
    VelDBRowLoan& operator=(const VelDBRowLoan&) = delete;

    /// Writes the rows back, as VelDatabase::writeDeallocateDR does. The loan is empty afterwards.
    /// Throws std::bad_alloc when the queue cannot grow. Rows that were not queued stay on loan; do not call `front`
    /// then.
    void write() { store.template writeDeallocateDR<T>(rows); }

    /// Deletes the rows from their table, as VelDatabase::deleteDeallocateDR does. The loan is empty afterwards.
    void remove() { store.template deleteDeallocateDR<T>(rows); }

    /// How many rows are on loan; none after `write` or `remove`.
    std::size_t size() const { return rows.size(); }
    bool empty() const { return rows.empty(); }

    /// The first row; there must be one.
    VelDBDataRow<T>& front() { return *rows.front(); }

private:
    VelDatabase<T>& store;
    vecT rows;
};

#endif
