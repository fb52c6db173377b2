#ifndef WORKSTATION_VELHOST_SCRIPT_H
#define WORKSTATION_VELHOST_SCRIPT_H

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "host/AsyncTriggerPayload.h"

// The scripts: one call of the feature per line (`velhost replay --help`). A name may hold any bytes, and may be empty.

namespace velhost {

/// Values that are reported for an application.
struct ReportCall {
    std::string appName;
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

/// A script in memory, checked as a whole.
class Script {
public:
    struct Line {
        std::size_t number; ///< from 1
        std::string text;   ///< as it was written
        Call call;          ///< the feature takes names by reference and may change them
    };

    /// Reads and checks the whole script; "-" is standard input, called "<stdin>" in messages. Throws Error, which for
    /// a bad line begins with FILE:LINE.
    explicit Script(const std::string& path);

    /// The lines that hold a call.
    std::vector<Line>& lines() { return calls; }

    /// "FILE:LINE".
    std::string position(std::size_t line) const { return name + ":" + std::to_string(line); }

private:
    std::string name;
    std::vector<Line> calls;
};

} // namespace velhost

#endif
