#ifndef WORKSTATION_VELHOST_PRINTER_H
#define WORKSTATION_VELHOST_PRINTER_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "workstation/velhost/Classification.h"
#include "workstation/velhost/Output.h"
#include "workstation/velhost/Script.h"

// What velhost prints on standard output. Each line is written as soon as it is known and kept nowhere.

namespace velhost {

/// The forms in which a command prints what it found.
enum class Format { text, json };

/// What the feature said to a query of the script.
struct Answer {
    /// Must outlive the answer.
    const QueryCall& query;
    /// The line of the script that asked.
    std::size_t line;
    std::int32_t value;
};

/// Prints the answers to queries and then, once, the classification. Memory does not grow with either.
class Printer {
public:
    virtual ~Printer() = default;

    /// Only before `printTable`. Throws Failure when the output fails.
    virtual void printAnswer(const Answer& answer) = 0;

    /// Prints what `reader` gives and completes the output. Throws Failure when the reader or the output fails.
    virtual void printTable(ClassificationReader& reader) = 0;
};

/// A printer of the form asked for, onto `output`, which must outlive it.
std::unique_ptr<Printer> makePrinter(Format format, Output& output);

/// "APP FIELD VALUE" for an answer; a table, 80 columns wide unless its numbers need more, with long names shortened in
/// the middle. Names stand as a script writes them.
std::unique_ptr<Printer> makeTextPrinter(Output& output);

/// One object, {"answers":[...],"applications":[...]}, "answers" only if there was a query; always valid, names whole,
/// with U+FFFD for what is not UTF-8 in them.
std::unique_ptr<Printer> makeJsonPrinter(Output& output);

/// The field's word in scripts and in both forms.
const char* nameOf(QueryField field);

} // namespace velhost

#endif
