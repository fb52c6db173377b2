#ifndef WORKSTATION_VELHOST_PRINTER_H
#define WORKSTATION_VELHOST_PRINTER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "workstation/velhost/Contents.h"
#include "workstation/velhost/Script.h"

namespace velhost {

/// The forms in which a command prints what it found.
enum class Format { text, json };

/// Prints each answer to a query immediately, and the table of applications at the end, on standard output.
///
/// Text: "APP FIELD VALUE" for an answer, and a table. Names stand as a script writes them; where the output is a
/// terminal, long ones are shortened in the middle to fit its width.
/// JSON: one object, {"answers": [...], "applications": [...]}, "answers" only if there was a query.
class Printer {
public:
    explicit Printer(Format outputFormat) : format(outputFormat) {}

    /// Prints `value`, the answer to the `query` in this line of the script. Only before `printTable`. Throws Error
    /// when the output fails.
    void printAnswer(const QueryCall& query, std::size_t line, std::int32_t value);

    /// Prints all rows and completes the output. Throws Error when the output fails.
    void printTable(const std::vector<Application>& rows);

private:
    Format format;
    bool answered = false;
};

} // namespace velhost

#endif
