#include "workstation/velhost/Printer.h"

namespace velhost {

const char* nameOf(QueryField field) { return field == QueryField::type ? "type" : "weight"; }

std::unique_ptr<Printer> makePrinter(Format format, Output& output) {
    return format == Format::json ? makeJsonPrinter(output) : makeTextPrinter(output);
}

} // namespace velhost
