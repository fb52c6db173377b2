#ifndef WORKSTATION_VELHOST_CONTENTS_H
#define WORKSTATION_VELHOST_CONTENTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "workstation/velhost/DatabaseFiles.h"
#include "workstation/velhost/StoredTable.h"

// Reads what a feature stored in its two databases. Does not use the feature's own code: files that the feature did not
// write must be readable too, and rows that the feature ignores must be shown.

namespace velhost {

/// The three peaks of an application and what the heavy-game rule makes of them.
struct Peaks {
    /// Unless something wraps, an application is heavy when its sum is at least this.
    static constexpr std::int32_t threshold = 1900;

    /// The largest values ever reported, in the order of the report.
    Numbers values{};

    /// 2 * peak 0 + peak 1 + 2 * peak 2 in wrapping 32-bit arithmetic.
    std::int32_t sum() const;

    /// The feature's verdict, sum() - 1700 > 199, in which the subtraction wraps too.
    bool isHeavy() const;

    /// Whether the sum or the subtraction wrapped.
    bool isWrapped() const;
};

/// What the two databases hold about one application. At least one of the two parts is there.
struct Application {
    /// The two numbers of a classifier row.
    struct Classification {
        std::int32_t type;
        std::int32_t weight;
    };

    std::string appName; ///< any bytes
    std::optional<Classification> classification;
    std::optional<Peaks> peaks;
};

/// What both databases hold, and what is wrong with it.
struct Contents {
    /// In the byte order of the names. Several rows of one name make several entries.
    std::vector<Application> applications;
    std::vector<std::string> notes; ///< lines for the user
    std::string failure;            ///< why not all rows could be read; empty if they could
};

/// Reads and checks both databases; the one of the peaks may be missing. Throws Error.
Contents readContents(const DatabaseFiles& files);

} // namespace velhost

#endif
