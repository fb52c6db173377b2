#include <algorithm>
#include <stdexcept>

#include "bench/Layer.h"
#include "rowstore/VelDatabase.h"

namespace bench {

namespace {

using Store = VelDatabase<TessaryDatabase>;

/// The product's row store. It only logs what SQLite refuses: the check of all layers' rows finds what is missing.
class TessaryLayer : public Layer {
public:
    explicit TessaryLayer(const std::string& fileName) : store(0, fileName, tableName) {
        if (store.openVeldb() != VELDB_SUCCESS) {
            throw std::runtime_error("the row store cannot open its database");
        }
    }

    Rows newRows(unsigned count) override {
        // One call gives a hundred rows at most, so a larger amount is asked for in parts, as a user of the store has
        // to.
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
        // No order and no count: the other layers ask SQLite for neither.
        const VelDBDataRowKey key(appName, VELDB_NO_VALUE);
        return store.readAllocateDR<TessaryDatabase>(key, 0, veldbOrderByNone, veldbDirNone);
    }

    void write(Rows& rows) override { store.writeDeallocateDR<TessaryDatabase>(rows); }

    void remove(Rows& rows) override { store.deleteDeallocateDR<TessaryDatabase>(rows); }

    void release(Rows& rows) override { store.freeRow(rows); }

private:
    Store store;
};

} // namespace

std::unique_ptr<Layer> openTessaryLayer(const std::string& fileName) {
    return std::make_unique<TessaryLayer>(fileName);
}

} // namespace bench
