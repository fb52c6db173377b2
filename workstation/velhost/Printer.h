#ifndef WORKSTATION_VELHOST_PRINTER_H
#define WORKSTATION_VELHOST_PRINTER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "workstation/velhost/Classification.h"
#include "workstation/velhost/Script.h"

// What velhost prints on standard output.

namespace velhost {

/// The forms in which a command prints what it found.
enum class Format { text, json };

/// What the feature said to a query of the script.
struct Answer {
    const QueryCall& query;
    std::size_t line;
    std::int32_t value;
};

/// Prints the answers to queries, each at once, and then the classification.
class Printer {
public:
    virtual ~Printer() = default;

    /// Only before `printTable`. Throws Error when the output fails.
    virtual void printAnswer(const Answer& answer) = 0;

    /// Prints all rows and completes the output. Throws Error when the output fails.
    virtual void printTable(const std::vector<Classification>& rows) = 0;

protected:
    /// The field's word in scripts and in both forms.
    static const char* nameOf(QueryField field) { return field == QueryField::type ? "type" : "weight"; }
};

/// Text: "APP FIELD VALUE" for an answer, and a table. Names stand as a script writes them; where the output is a
/// terminal, long ones are shortened in the middle to fit its width.
///
/// JSON: one object, {"answers": [...], "applications": [...]}, "answers" only if there was a query.
std::unique_ptr<Printer> makePrinter(Format format);
std::unique_ptr<Printer> makeTextPrinter();
std::unique_ptr<Printer> makeJsonPrinter();

} // namespace velhost

#endif
