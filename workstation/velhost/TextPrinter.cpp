#include <algorithm>
#include <array>
#include <string>

#include "workstation/velhost/Printer.h"
#include "workstation/velhost/Text.h"

namespace velhost {

namespace {

// A name gets what the numbers leave of the line, but at least `narrowestName` columns.
constexpr std::size_t columnCount = 7;
constexpr std::size_t lineWidth = 80;
constexpr std::size_t narrowestName = 24;
constexpr const char* gap = "  ";

using Cells = std::array<std::string, columnCount>;
using Widths = std::array<std::size_t, columnCount>;

const Cells& headings() {
    static const Cells cells{"APPLICATION", "TYPE", "WEIGHT", "PEAK0", "PEAK1", "PEAK2", "VERDICT"};
    return cells;
}

std::string verdictText(const HeavyGame& game) {
    return std::to_string(game.sum()) + (game.isHeavy() ? " >= " : " < ") + std::to_string(HeavyGame::threshold);
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

/// Returns the widths that the whole table needs, the names' narrowed to what the numbers leave of the line.
Widths measure(ClassificationReader& reader) {
    Widths widths{};
    widen(widths, headings());
    while (const auto row = reader.next()) {
        widen(widths, cellsOf(*row));
    }
    std::size_t numbers = 0;
    for (std::size_t i = 1; i < columnCount; ++i) {
        numbers += widths[i] + 2;
    }
    const std::size_t room = numbers + narrowestName < lineWidth ? lineWidth - numbers : narrowestName;
    widths[0] = std::min(widths[0], room);
    return widths;
}

/// Names on the left, numbers on the right of their columns. Only the first cell is ever shortened or not ASCII.
std::string lineOf(const Cells& cells, const Widths& widths) {
    std::string line = shortened(cells[0], widths[0]);
    line.append(widths[0] - columnsOf(line), ' ');
    for (std::size_t i = 1; i < columnCount; ++i) {
        line += gap;
        line.append(widths[i] - cells[i].size(), ' ');
        line += cells[i];
    }
    line += '\n';
    return line;
}

class TextPrinter : public Printer {
public:
    explicit TextPrinter(Output& target) : output(target) {}

    void printAnswer(const Answer& answer) override {
        answered = true;
        output.write(scriptWord(answer.query.appName) + " " + nameOf(answer.query.field) + " " +
                     std::to_string(answer.value) + "\n");
    }

    void printTable(ClassificationReader& reader) override {
        // Reading twice costs time instead of memory, and finds a damaged file before the first line is out.
        const Widths widths = measure(reader);
        reader.restart();
        output.write((answered ? "\n" : "") + lineOf(headings(), widths));
        while (const auto row = reader.next()) {
            output.write(lineOf(cellsOf(*row), widths));
        }
        output.finish();
    }

private:
    Output& output;
    bool answered = false;
};

} // namespace

std::unique_ptr<Printer> makeTextPrinter(Output& output) { return std::make_unique<TextPrinter>(output); }

} // namespace velhost
