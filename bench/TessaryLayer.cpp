#include <algorithm>
#include <stdexcept>

#include "bench/Layer.h"
#include "rowstore/VelDatabase.h"

namespace bench {

namespace {

struct Store : VelDatabase<TessaryDatabase> {
    using VelDatabase::db; // opens the protected member
    using VelDatabase::VelDatabase;
};

/// The row store. It only logs what SQLite refuses.
class TessaryLayer : public Layer {
public:
    explicit TessaryLayer(const std::string& fileName) : store(0, fileName, "Tessary") {
        if (store.openVeldb() != VELDB_SUCCESS) {
            throw std::runtime_error("the row store cannot open its database");
        }
    }

    Rows newRows(unsigned count) override {
        Rows rows = store.getRow(std::min<unsigned>(count, VELDB_MAX_GET_ROWS));
        rows.reserve(count);
        while (rows.size() < count) {
            const auto missing = static_cast<unsigned>(count - rows.size());
            const Rows more = store.getRow(std::min<unsigned>(missing, VELDB_MAX_GET_ROWS));
            rows.insert(rows.end(), more.begin(), more.end());
        }
        return rows;
    }

    Rows read(const std::string& appName) override {
        const VelDBDataRowKey key(appName, VELDB_NO_VALUE);
        return store.readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByNone, veldbDirNone);
    }

    void write(Rows& rows) override { store.writeDeallocateDR<TessaryDatabase>(rows); }
    void remove(Rows& rows) override { store.deleteDeallocateDR<TessaryDatabase>(rows); }
    void release(Rows& rows) override { store.freeRow(rows); }
    sqlite3* connection() override { return store.db; }

private:
    Store store;
};

} // namespace

std::unique_ptr<Layer> openTessaryLayer(const std::string& fileName) {
    return std::make_unique<TessaryLayer>(fileName);
}

} // namespace bench
