#include <cstdint>
#include <stdexcept>
#include <tuple>

#include "bench/Job.h"
#include "bench/Layer.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Temporary.h"

namespace bench {

namespace {

constexpr unsigned rowCount = 120;

/// All that a row holds. The id too, which tells whether a row was updated in place or inserted anew.
using Values = std::tuple<std::int64_t, int, std::string, std::string, int, int>;

Values valuesOf(const Row& row) {
    return {row.rowid, row.intcol1, row.appName, row.rsvdName, row.payload.appType, row.payload.appWeight};
}

/// Every combination of fields with and without a value, and names with quotes.
void setFields(Row& row, unsigned number) {
    row.intcol1 = number % 2 == 0 ? static_cast<int>(number) - 3 : VELDB_NO_VALUE;
    row.appName = number % 7 == 0 ? "it's " + applicationName(number) : applicationName(number);
    row.rsvdName = number % 3 == 0 ? "reserved" : "";
    row.payload = {static_cast<int>(number), -static_cast<int>(number)};
}

void setAll(const Rows& rows, unsigned first) {
    for (Row* row : rows) {
        setFields(*row, first++);
    }
}

void append(Layer& layer, const std::string& appName, std::vector<Values>& values) {
    Rows rows = layer.read(appName);
    for (const Row* row : rows) {
        values.push_back(valuesOf(*row));
    }
    layer.release(rows);
}

/// Inserts, updates (some in one transaction with inserts) and deletes; returns what the table then holds, and what
/// single reads find.
std::vector<Values> play(Layer& layer) {
    Rows rows = layer.newRows(rowCount);
    setAll(rows, 0);
    layer.write(rows);
    rows = layer.read("");
    setAll(rows, 1);
    // Rows shifted by one have lost and gained values, so that a binding carried over from the row before would show.
    const Rows more = layer.newRows(3);
    setAll(more, 7);
    rows.insert(rows.end(), more.begin(), more.end());
    layer.write(rows);
    rows = layer.read(applicationName(8));
    layer.remove(rows);
    std::vector<Values> values;
    append(layer, "", values);
    append(layer, "it's " + applicationName(14), values);
    append(layer, applicationName(9), values);
    return values;
}

} // namespace

void requireSameRows() {
    std::vector<Values> expected;
    for (const LayerKind& kind : layerKinds) {
        const velhost::TemporaryDirectory directory;
        const velhost::DeviceVfs device(directory.path());
        // The layer goes at the end of the line: its connection must be closed before its device.
        const std::vector<Values> values = play(*kind.open("bench.db"));
        if (expected.empty()) {
            expected = values;
        }
        // 120 + 3 rows, of which two have the name that is deleted; then one row by a quoted name, and two by a plain.
        if (values.size() != 124 || values != expected) {
            throw std::runtime_error(std::string(kind.name) + " does not leave the rows that the others leave");
        }
    }
}

} // namespace bench
