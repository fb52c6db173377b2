#include "workstation/velhost/Printer.h"

#include <algorithm>
#include <array>
#include <string>

#include <nlohmann/json.hpp>

#include "workstation/velhost/Output.h"
#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

constexpr std::size_t columnCount = 7;
// On a terminal the names get the width that the other columns leave free, but at least this.
constexpr std::size_t narrowestName = 24;
// Elsewhere names are never shortened. Columns line up for names up to this width; a longer one shifts its own line.
constexpr std::size_t longestLinedUp = 255;

using Cells = std::array<std::string, columnCount>;
using Widths = std::array<std::size_t, columnCount>;

const Cells headings{"APPLICATION", "TYPE", "WEIGHT", "PEAK0", "PEAK1", "PEAK2", "VERDICT"};

/// One line of the table, before widths: "-" stands for what has no row.
Cells cellsOf(const Application& row) {
    Cells cells{scriptWord(row.appName), "-", "-", "-", "-", "-", "-"};
    if (row.classification) {
        cells[1] = std::to_string(row.classification->type);
        cells[2] = std::to_string(row.classification->weight);
    }
    if (row.peaks) {
        for (std::size_t i = 0; i < row.peaks->values.size(); ++i) {
            cells[3 + i] = std::to_string(row.peaks->values[i]);
        }
        cells[6] = (row.peaks->isWrapped() ? "wrapped " : "") + std::to_string(row.peaks->sum()) +
                   (row.peaks->isHeavy() ? " >= " : " < ") + std::to_string(Peaks::threshold);
    }
    return cells;
}

/// Raises each width to what the cells need.
void widen(Widths& widths, const Cells& cells) {
    for (std::size_t i = 0; i < columnCount; ++i) {
        widths[i] = std::max(widths[i], columnsOf(cells[i]));
    }
}

/// Returns the width of each column. On a terminal the names are narrowed so that the line fits.
Widths measure(const std::vector<Application>& rows, std::size_t terminal) {
    Widths widths{};
    widen(widths, headings);
    std::for_each(rows.begin(), rows.end(), [&widths](const Application& row) { widen(widths, cellsOf(row)); });
    std::size_t numbers = 0;
    for (std::size_t i = 1; i < columnCount; ++i) {
        numbers += widths[i] + 2;
    }
    const std::size_t room = std::max(narrowestName, terminal - std::min(terminal, numbers));
    widths[0] = std::min(widths[0], terminal == 0 ? longestLinedUp : room);
    return widths;
}

/// Names on the left, numbers on the right of their columns. Only the first cell is ever shortened or not ASCII.
std::string lineOf(const Cells& cells, const Widths& widths, bool isTerminal) {
    std::string line = isTerminal ? shortened(cells[0], widths[0]) : cells[0];
    line.append(widths[0] - std::min(widths[0], columnsOf(line)), ' ');
    for (std::size_t i = 1; i < columnCount; ++i) {
        line.append(2 + widths[i] - cells[i].size(), ' ');
        line += cells[i];
    }
    return line + '\n';
}

using Json = nlohmann::ordered_json;

/// "application": the name, with U+FFFD for what is not UTF-8. "bytes": the name in hexadecimal; null for valid UTF-8.
Json jsonOf(const std::string& name) {
    return {{"application", name}, {"bytes", isUtf8(name) ? Json() : Json(hexadecimal(name))}};
}

/// Every object has every field, with null where there is no row, so that readers need not check for missing fields.
Json jsonOf(const Application& row) {
    const auto& peaks = row.peaks;
    Json object = jsonOf(row.appName);
    object["type"] = row.classification ? Json(row.classification->type) : Json();
    object["weight"] = row.classification ? Json(row.classification->weight) : Json();
    object["peaks"] = peaks ? Json(peaks->values) : Json();
    object["sum"] = peaks ? Json(peaks->sum()) : Json();
    object["wrapped"] = peaks ? Json(peaks->isWrapped()) : Json();
    object["threshold"] = peaks ? Json(Peaks::threshold) : Json();
    object["heavyGame"] = peaks ? Json(peaks->isHeavy()) : Json();
    return object;
}

/// One object per line, so that grep and its like can handle large outputs.
void putItem(const char* before, const Json& value) {
    // ASCII alone: valid whatever the name, and nothing that a terminal would act on.
    writeOutput(before + ("\n" + value.dump(-1, ' ', true, Json::error_handler_t::replace)));
}

} // namespace

void Printer::printAnswer(const QueryCall& query, std::size_t line, std::int32_t value) {
    const char* field = query.field == QueryField::type ? "type" : "weight";
    if (format == Format::text) {
        writeOutput(scriptWord(query.appName) + " " + field + " " + std::to_string(value) + "\n");
    } else {
        Json object{{"line", line}};
        object.update(jsonOf(query.appName));
        object["field"] = field;
        object["value"] = value;
        putItem(answered ? "," : "{\"answers\": [", object);
    }
    answered = true;
}

void Printer::printTable(const std::vector<Application>& rows) {
    if (format == Format::text) {
        const std::size_t terminal = terminalWidth();
        const Widths widths = measure(rows, terminal);
        writeOutput((answered ? "\n" : "") + lineOf(headings, widths, false));
        for (const Application& row : rows) {
            writeOutput(lineOf(cellsOf(row), widths, terminal > 0));
        }
    } else {
        writeOutput(answered ? "\n],\n" : "{");
        const char* before = "\"applications\": [";
        for (const Application& row : rows) {
            putItem(before, jsonOf(row));
            before = ",";
        }
        // `before` still opens the list when there was no row.
        writeOutput(*before == ',' ? "\n]}\n" : "\"applications\": []}\n");
    }
    writeOutput("", true);
}

} // namespace velhost
