#ifndef BENCH_TESSARYLAYER_H
#define BENCH_TESSARYLAYER_H

#include <stdexcept>

#include "bench/Rows.h"
#include "rowstore/VelDatabase.h"

namespace bench {

/// The row store. It only logs what SQLite refuses.
class TessaryLayer : VelDatabase<TessaryDatabase> {
public:
    explicit TessaryLayer(const std::string& fileName) : VelDatabase(0, fileName, "Tessary") {
        if (openVeldb() != VELDB_SUCCESS) {
            throw std::runtime_error("the row store cannot open its database");
        }
    }

    Rows newRows(unsigned count) { return getRow(count); }
    Rows read(const std::string& appName) {
        const VelDBDataRowKey key(appName, VELDB_NO_VALUE);
        return readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByNone, veldbDirNone);
    }
    void write(Rows& rows) { writeDeallocateDR<TessaryDatabase>(rows); }
    void remove(Rows& rows) { deleteDeallocateDR<TessaryDatabase>(rows); }
    void release(Rows& rows) { freeRow(rows); }
    sqlite3* connection() { return db; }
};

} // namespace bench

#endif
