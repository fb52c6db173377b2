#ifndef BENCH_ROWS_H
#define BENCH_ROWS_H

#include <string>
#include <vector>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBPayloads.h"

// A layer is one way to keep rows in SQLite, in the table "Tessary" of an existing file. All use the same settings and
// statements. Each call compiles its statements anew, and each change is one transaction. A row to write has a name and
// a payload and no other value. On an error the row store logs, the other layers throw. Either ends the measurement and
// leaks what the failed call held.

namespace bench {

/// The row store's own row, for every layer: making and freeing a row costs all of them the same.
using Row = VelDBDataRow<TessaryDatabase>;

/// The rows of one call, none null. `write`, `remove` and `release` free them and empty the vector.
using Rows = std::vector<Row*>;

/// After how many frames the log is copied into the database. Must be the row store's number, which is checked.
constexpr const char* checkpointSetting = "PRAGMA wal_autocheckpoint=40";

/// Makes and frees rows for the layers that have no way of their own.
struct PlainRows {
    static Rows newRows(unsigned count) {
        Rows rows(count);
        for (Row*& row : rows) {
            row = new Row;
        }
        return rows;
    }

    static void release(Rows& rows) {
        for (const Row* row : rows) {
            delete row;
        }
        rows.clear();
    }
};

} // namespace bench

#endif
