#include <algorithm>
#include <stdexcept>

#include <sqlite3.h>

#include "bench/Job.h"
#include "bench/Layer.h"
#include "workstation/velhost/DeviceVfs.h"
#include "workstation/velhost/Temporary.h"

namespace bench {

namespace {

void setValues(const Rows& rows, int number) {
    for (Row* row : rows) {
        row->appName = "it's " + applicationName(static_cast<unsigned>(number));
        row->payload = {number, -number};
        ++number;
    }
}

void appendSetting(Layer& layer, const char* question, std::string& text) {
    const auto append = [](void* to, int, char** values, char** names) {
        *static_cast<std::string*>(to) += std::string(names[0]) + '=' + values[0] + '\n';
        return 0;
    };
    sqlite3_exec(layer.connection(), question, append, &text, nullptr);
}

/// The row id tells whether a row was updated in place or inserted anew.
void appendRows(Layer& layer, const std::string& appName, std::string& text) {
    Rows rows = layer.read(appName);
    for (const Row* row : rows) {
        text += std::to_string(row->rowid) + ' ' + row->appName + ' ' + std::to_string(row->payload.appType) + ' ' +
                std::to_string(row->payload.appWeight) + '\n';
    }
    layer.release(rows);
}

/// Inserts 8 rows, updates them and inserts 2 more in one transaction, deletes one. Returns the settings and what reads
/// then find: 9 rows, and 1 by its name.
std::string play(Layer& layer) {
    Rows rows = layer.newRows(8);
    setValues(rows, 0);
    layer.write(rows);
    rows = layer.read("");
    const Rows more = layer.newRows(2);
    rows.insert(rows.end(), more.begin(), more.end());
    setValues(rows, 1);
    layer.write(rows);
    rows = layer.read("it's " + applicationName(3));
    layer.remove(rows);
    std::string text;
    for (const char* question : {"PRAGMA journal_mode", "PRAGMA synchronous", "PRAGMA wal_autocheckpoint"}) {
        appendSetting(layer, question, text);
    }
    appendRows(layer, "", text);
    appendRows(layer, "it's " + applicationName(9), text);
    return text;
}

} // namespace

void requireSameWork() {
    std::string expected;
    for (const LayerKind& kind : layerKinds) {
        const velhost::TemporaryDirectory directory;
        const velhost::DeviceVfs device(directory.path());
        // The layer goes at the end of the line: its connection must be closed before its device.
        const std::string text = play(*kind.open("bench.db"));
        expected = expected.empty() ? text : expected;
        if (text != expected || std::count(text.begin(), text.end(), '\n') != 3 + 9 + 1) {
            throw std::runtime_error(kind.name + (":\n" + text) + "not as the first layer:\n" + expected);
        }
    }
}

} // namespace bench
