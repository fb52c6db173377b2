#ifndef WORKSTATION_VELHOST_CLASSIFICATION_H
#define WORKSTATION_VELHOST_CLASSIFICATION_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "workstation/velhost/DatabaseFiles.h"
#include "workstation/velhost/StoredTable.h"

// What a feature has learnt, as its two databases hold it. The feature's own reading of the files is not used: this one
// must cope with files that the feature never wrote, and show what the feature would pass over.

namespace velhost {

/// The three peaks of an application and what the heavy-game rule makes of them.
struct HeavyGame {
    /// The sum from which on an application is heavy, wrapping aside.
    static constexpr std::int32_t threshold = 1900;

    /// The largest values ever reported, in the order of the report.
    StoredTable::Numbers peaks{};

    /// 2 * peak 0 + peak 1 + 2 * peak 2 in wrapping 32-bit arithmetic.
    std::int32_t sum() const;

    /// Whether the sum reaches the threshold as the feature computes it: the difference wraps too, so that a sum near
    /// the lower end of the range counts as heavy.
    bool isHeavy() const;
};

/// What the two databases hold about one application. At least one of the two parts is there.
struct Classification {
    /// The two numbers of a classifier row.
    struct Stored {
        std::int32_t type;
        std::int32_t weight;
    };

    /// Any bytes.
    std::string appName;
    /// Nothing when only the peaks are known.
    std::optional<Stored> stored;
    /// Nothing when no measurement was stored, or none could be read for want of the file.
    std::optional<HeavyGame> heavyGame;
};

/// Reads both databases side by side in the byte order of the application names, with one row of each in memory.
/// Duplicate rows of a name, and heavy-game rows without a classifier row, come as classifications of their own.
class ClassificationReader {
public:
    /// Opens `files`; without a heavy-game file there are no peaks. Throws Failure, which calls the files as in
    /// `shown`. When it does not throw, every row was found readable.
    ClassificationReader(const DatabaseFiles& files, const DatabaseFiles& shown);

    /// Returns the next classification, or nothing after the last one. Throws Failure.
    std::optional<Classification> next();

    /// Starts again at the first classification. Throws Failure.
    void restart();

private:
    // Both sorted alike, so that equal names meet.
    StoredTable classifier;
    // Nothing when the file is missing.
    std::optional<StoredTable> peaks;
};

} // namespace velhost

#endif
