#ifndef BENCH_LAYER_H
#define BENCH_LAYER_H

#include <memory>
#include <string>
#include <vector>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBPayloads.h"

namespace bench {

using Row = VelDBDataRow<TessaryDatabase>;

/// Owns its rows until they are handed to `write`, `remove` or `release`, each of which empties it.
using Rows = std::vector<Row*>;

constexpr const char* tableName = "Tessary";

/// One way to keep rows in SQLite. All ways make the same rows by the same statements, compiled afresh from texts
/// composed afresh in every call, and commit one transaction a write: only the code around SQLite differs.
/// One thread at a time. Every operation throws when SQLite refuses; a measurement ends there.
class Layer {
public:
    Layer() = default;
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;
    virtual ~Layer() = default;

    /// Returns `count` new rows without values; one by one, unless the layer has a way of its own.
    virtual Rows newRows(unsigned count);

    /// Returns the rows called `appName`, or all rows when that is empty.
    virtual Rows read(const std::string& appName) = 0;

    /// Inserts the rows whose row id is 0 and updates the others, in one transaction, and frees them.
    virtual void write(Rows& rows) = 0;

    /// Deletes the rows by row id, in one transaction, and frees them.
    virtual void remove(Rows& rows) = 0;

    /// Frees the rows.
    virtual void release(Rows& rows);
};

/// Whether `last`, the row that a statement was run for before, or null, has bound a parameter that `row` leaves out.
bool carriesOver(const Row* last, const Row& row);

/// Each opens "/data/vendor/vel/" + `fileName` in write-ahead-log mode and creates the table.
std::unique_ptr<Layer> openTessaryLayer(const std::string& fileName);
std::unique_ptr<Layer> openBareLayer(const std::string& fileName);
std::unique_ptr<Layer> openSqliteCppLayer(const std::string& fileName);

struct LayerKind {
    const char* name;
    std::unique_ptr<Layer> (*open)(const std::string& fileName);
};

/// A further layer is a file of its own and a line here.
constexpr LayerKind layerKinds[] = {
    {"bare", openBareLayer},
    {"tessary", openTessaryLayer},
    {"SQLiteCpp", openSqliteCppLayer},
};

} // namespace bench

#endif
