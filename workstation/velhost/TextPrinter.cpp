#include <algorithm>
#include <array>
#include <string>

#include "workstation/velhost/Output.h"
#include "workstation/velhost/Printer.h"
#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

constexpr std::size_t columnCount = 7;
// On a terminal a name gets what the numbers leave of the line, but at least this.
constexpr std::size_t narrowestName = 24;
// Elsewhere names are whole. The numbers of shorter names line up; a longer name pushes its own aside.
constexpr std::size_t longestLinedUp = 255;

using Cells = std::array<std::string, columnCount>;
using Widths = std::array<std::size_t, columnCount>;

const Cells& headings() {
    static const Cells cells{"APPLICATION", "TYPE", "WEIGHT", "PEAK0", "PEAK1", "PEAK2", "VERDICT"};
    return cells;
}

std::string verdictText(const HeavyGame& game) {
    return std::string(game.isWrapped() ? "wrapped " : "") + std::to_string(game.sum()) +
           (game.isHeavy() ? " >= " : " < ") + std::to_string(HeavyGame::threshold);
}

/// One line of the table, before widths: "-" stands for what has no row.
Cells cellsOf(const Classification& row) {
    Cells cells{scriptWord(row.appName), "-", "-", "-", "-", "-", "-"};
    if (row.stored) {
        cells[1] = std::to_string(row.stored->type);
        cells[2] = std::to_string(row.stored->weight);
    }
    if (row.heavyGame) {
        for (std::size_t i = 0; i < row.heavyGame->peaks.size(); ++i) {
            cells[3 + i] = std::to_string(row.heavyGame->peaks[i]);
        }
        cells[6] = verdictText(*row.heavyGame);
    }
    return cells;
}

/// Raises each width to what the cells need.
void widen(Widths& widths, const Cells& cells) {
    for (std::size_t i = 0; i < columnCount; ++i) {
        widths[i] = std::max(widths[i], columnsOf(cells[i]));
    }
}

/// Returns the widths that the whole table needs, the names' narrowed to what the numbers leave of the terminal.
Widths measure(const std::vector<Classification>& rows, std::size_t terminal) {
    Widths widths{};
    widen(widths, headings());
    for (const Classification& row : rows) {
        widen(widths, cellsOf(row));
    }
    std::size_t numbers = 0;
    for (std::size_t i = 1; i < columnCount; ++i) {
        numbers += widths[i] + 2;
    }
    const std::size_t room = numbers + narrowestName < terminal ? terminal - numbers : narrowestName;
    widths[0] = std::min(widths[0], terminal == 0 ? longestLinedUp : room);
    return widths;
}

/// Names on the left, numbers on the right of their columns. Only the first cell is ever shortened or not ASCII.
std::string lineOf(const Cells& cells, const Widths& widths, bool whole) {
    std::string line = whole ? cells[0] : shortened(cells[0], widths[0]);
    line.append(widths[0] - std::min(widths[0], columnsOf(line)), ' ');
    for (std::size_t i = 1; i < columnCount; ++i) {
        line.append(2 + widths[i] - cells[i].size(), ' ');
        line += cells[i];
    }
    return line + '\n';
}

class TextPrinter : public Printer {
public:
    void printAnswer(const Answer& answer) override {
        answered = true;
        put(scriptWord(answer.query.appName) + " " + nameOf(answer.query.field) + " " + std::to_string(answer.value) +
            "\n");
    }

    void printTable(const std::vector<Classification>& rows) override {
        const std::size_t terminal = terminalWidth();
        const Widths widths = measure(rows, terminal);
        put((answered ? "\n" : "") + lineOf(headings(), widths, true));
        for (const Classification& row : rows) {
            put(lineOf(cellsOf(row), widths, terminal == 0));
        }
        finishOutput();
    }

private:
    bool answered = false;
};

} // namespace

std::unique_ptr<Printer> makeTextPrinter() { return std::make_unique<TextPrinter>(); }

std::unique_ptr<Printer> makePrinter(Format format) {
    return format == Format::json ? makeJsonPrinter() : makeTextPrinter();
}

} // namespace velhost
