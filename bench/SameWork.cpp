#include <algorithm>
#include <stdexcept>

#include <sqlite3.h>

#include "bench/Job.h"
#include "bench/Layer.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Temporary.h"

namespace bench {

namespace {

/// A setting or a row's values, one a line.
using Lines = std::vector<std::string>;

void appendSetting(Layer& layer, const std::string& name, Lines& lines) {
    const auto append = [](void* to, int, char** values, char** names) {
        static_cast<Lines*>(to)->push_back(std::string(names[0]) + '=' + values[0]);
        return 0;
    };
    sqlite3_exec(layer.connection(), ("PRAGMA " + name).c_str(), append, &lines, nullptr);
}

void appendRows(Layer& layer, const std::string& appName, Lines& lines) {
    Rows rows = layer.read(appName);
    for (const Row* row : rows) {
        // The id tells whether a row was updated in place or inserted anew.
        lines.push_back(std::to_string(row->rowid) + ' ' + std::to_string(row->intcol1) + ' ' + row->appName + ' ' +
                        row->rsvdName + ' ' + std::to_string(row->payload.appType) + ' ' +
                        std::to_string(row->payload.appWeight));
    }
    layer.release(rows);
}

/// Gives the rows every combination of fields with and without a value, and some names a quote.
void setValues(const Rows& rows, unsigned number) {
    for (Row* row : rows) {
        row->intcol1 = number % 2 == 0 ? static_cast<int>(number) : VELDB_NO_VALUE;
        row->appName = (number % 7 == 0 ? "it's " : "") + applicationName(number);
        row->rsvdName = number % 3 == 0 ? "reserved" : "";
        row->payload = {static_cast<int>(number), -static_cast<int>(number)};
        ++number;
    }
}

/// Inserts, updates and deletes. Returns the settings, the table and what single reads find.
Lines play(Layer& layer) {
    Rows rows = layer.newRows(120);
    setValues(rows, 0);
    layer.write(rows);
    rows = layer.read("");
    setValues(rows, 1); // each row loses and gains values, and none may keep its neighbour's
    const Rows more = layer.newRows(3);
    setValues(more, 7);
    rows.insert(rows.end(), more.begin(), more.end());
    layer.write(rows);
    rows = layer.read(applicationName(8)); // two rows by now
    layer.remove(rows);
    Lines lines;
    for (const char* setting : {"journal_mode", "synchronous", "wal_autocheckpoint"}) {
        appendSetting(layer, setting, lines);
    }
    for (const std::string& appName : {std::string(), "it's " + applicationName(14), applicationName(9)}) {
        appendRows(layer, appName, lines);
    }
    return lines;
}

void requireSame(const std::string& name, const Lines& lines, const Lines& expected) {
    for (std::size_t line = 0; line < std::max(lines.size(), expected.size()); ++line) {
        const std::string is = line < lines.size() ? lines[line] : "nothing";
        const std::string shouldBe = line < expected.size() ? expected[line] : "nothing";
        if (is != shouldBe) {
            throw std::runtime_error(name + " differs from the first layer: " + is + ", not " + shouldBe);
        }
    }
}

} // namespace

void requireSameWork() {
    Lines expected;
    for (const LayerKind& kind : layerKinds) {
        const velhost::TemporaryDirectory directory;
        const velhost::DeviceVfs device(directory.path());
        // The layer goes at the end of the line: its connection must be closed before its device.
        const Lines lines = play(*kind.open("bench.db"));
        if (expected.empty()) {
            expected = lines;
        }
        requireSame(kind.name, lines, expected);
    }
    // 3 settings, 123 rows less two, one row by a quoted name and two by a plain one.
    if (expected.size() != 3 + 121 + 1 + 2) {
        throw std::runtime_error("the layers do not find the rows that they wrote");
    }
}

} // namespace bench
