#ifndef BENCH_LAYER_H
#define BENCH_LAYER_H

#include <memory>
#include <string>
#include <vector>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBPayloads.h"

namespace bench {

/// The product's own row, for every layer: what a row costs to make and free is then the same for all.
using Row = VelDBDataRow<TessaryDatabase>;

/// The rows of one call, none null. Owns its rows until they are handed to `write`, `remove` or `release`, each of
/// which empties it.
using Rows = std::vector<Row*>;

/// The only table of a layer's database.
constexpr const char* tableName = "Tessary";

/// One way to keep rows in SQLite. All ways make the same rows by the same statements, compiled afresh from texts
/// composed afresh in every call, and commit one transaction a write: only the code around SQLite differs.
/// One thread at a time. Every operation throws when SQLite refuses, but those of the product's row store, which logs
/// it; a measurement ends there, so that nothing is rolled back and what the call held may be lost.
class Layer {
public:
    Layer() = default;
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;
    virtual ~Layer() = default;

    /// Returns `count` new rows without values; one by one, unless the layer has a way of its own.
    virtual Rows newRows(unsigned count);

    /// Returns the rows called `appName`, or all rows when that is empty; VELDB_MAX_READ_ROWS at most.
    virtual Rows read(const std::string& appName) = 0;

    /// Inserts the rows whose row id is 0 and updates the others, in one transaction, and frees them.
    virtual void write(Rows& rows) = 0;

    /// Deletes the rows by row id, in one transaction, and frees them. They must have been read: a new row has no id
    /// yet.
    virtual void remove(Rows& rows) = 0;

    /// Frees the rows unwritten; what is stored stays as it is. For rows that were read, or made and not needed.
    virtual void release(Rows& rows);
};

/// Whether `last`, the row that a statement was run for before, or null, has bound a parameter that `row` leaves out.
/// The value would otherwise be stored again, in a row without one. Every layer clears its bindings then and only then.
bool carriesOver(const Row* last, const Row& row);

/// Each opens "/data/vendor/vel/" + `fileName` in write-ahead-log mode and creates the table unless it is
/// there. Throws std::runtime_error, or the wrapper's own exception, when that fails.
std::unique_ptr<Layer> openTessaryLayer(const std::string& fileName);
std::unique_ptr<Layer> openBareLayer(const std::string& fileName);
std::unique_ptr<Layer> openSqliteCppLayer(const std::string& fileName);

/// A layer by the name under which its figures are printed. The goals compare the others with "bare".
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
