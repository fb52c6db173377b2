#ifndef WORKSTATION_VELHOST_SCRIPT_H
#define WORKSTATION_VELHOST_SCRIPT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/AsyncTriggerPayload.h"

// The language of the scripts, one call of the feature a line:
//
//     classify APP TYPE [OP]     classification trigger; TYPE 0..16777215, OP 0..255 (1 when left out)
//     remove APP                 classification trigger with operation code 0
//     weight APP VALUE           weight trigger
//     report APP [M0 M1 M2 ...]  setData with any number of values
//     query APP [type|weight]    getData; type when left out
//     trigger ID ARG APP VALUE   any trigger, its words given raw
//
// Numbers are decimal or, after 0x, hexadecimal, and must fit their 32-bit type.

namespace velhost {

/// Values that a host component reports for an application.
struct ReportCall {
    /// Any bytes, none included, here and in the other calls.
    std::string appName;
    /// The feature makes nothing of fewer than three, and takes no notice of a fourth.
    std::vector<int> values;
};

/// What is asked about an application: the selector of the feature's getData.
enum class QueryField { type, weight };

/// A question about an application.
struct QueryCall {
    std::string appName;
    QueryField field = QueryField::type;
};

/// One call of the feature, ready to be made.
using Call = std::variant<AsyncTriggerPayload, ReportCall, QueryCall>;

/// What one line comes to: a call, or an error in words for the writer of the script, or neither when the line holds
/// nothing but blanks and a comment.
struct ParsedLine {
    /// Whoever makes the call may change it: the feature takes names by reference.
    std::optional<Call> call;
    /// Empty unless the line is wrong; one printable line.
    std::string error;
};

/// Reads one line of a script, without its line end; a carriage return at its end is dropped. Any bytes will do as
/// `line`. Pure: no input, no output, no state; throws nothing but std::bad_alloc.
ParsedLine parseLine(std::string_view line);

} // namespace velhost

#endif
