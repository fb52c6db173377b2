#ifndef BENCH_LAYER_H
#define BENCH_LAYER_H

#include <memory>
#include <string>
#include <vector>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBPayloads.h"

struct sqlite3;

namespace bench {

/// The row store's own row, for every layer: making and freeing a row costs all of them the same.
using Row = VelDBDataRow<TessaryDatabase>;

/// The rows of one call, none null. The holder owns them until `write`, `remove` or `release` frees them and empties
/// the vector.
using Rows = std::vector<Row*>;

/// After how many frames the log is copied into the database. Must be the row store's number (requireSameWork checks).
constexpr const char* checkpointSetting = "PRAGMA wal_autocheckpoint=1000";

/// One way to keep rows in SQLite, in the table "Tessary". All ways use the same settings and the same statements. Each
/// call compiles its statements anew, from texts of exact length, and each change is one transaction. Only the code
/// around SQLite differs. A row to write has a name and a payload and no other value, like the feature's.
///
/// Every operation throws when SQLite refuses, except the row store's, which logs it. Either ends the measurement, so
/// no layer rolls back or frees what the call held.
class Layer {
public:
    Layer() = default;
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;
    virtual ~Layer() = default;

    /// Returns `count` new rows without values.
    virtual Rows newRows(unsigned count);
    /// Returns the rows called `appName`, or all rows if it is empty; at most VELDB_MAX_READ_ROWS.
    virtual Rows read(const std::string& appName) = 0;
    /// Inserts the rows whose row id is 0 and updates the others.
    virtual void write(Rows& rows) = 0;
    /// Deletes the rows by row id.
    virtual void remove(Rows& rows) = 0;
    /// Frees the rows and changes nothing.
    virtual void release(Rows& rows);
    /// For questions about its settings.
    virtual sqlite3* connection() = 0;
};

/// Each opens "/data/vendor/vel/" + `fileName` and creates the table unless it is there. Throws when that fails.
std::unique_ptr<Layer> openBareLayer(const std::string& fileName);
std::unique_ptr<Layer> openTessaryLayer(const std::string& fileName);
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
