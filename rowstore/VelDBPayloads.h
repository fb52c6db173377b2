#ifndef ROWSTORE_VELDBPAYLOADS_H
#define ROWSTORE_VELDBPAYLOADS_H

#include <cstdint>

// The payload records of the feature's two tables. A row's blob is the record's memory image, so field order, width and
// (little-endian) byte order are the stored format: fields may not be reordered, widened or removed.

/// The payload of one row of the table "Tessary": an application's classification.
struct TessaryDatabase { // NOLINT(cppcoreguidelines-pro-type-member-init): a type code has no default
    /// The type code; 0 to 0xFFFFFF when it comes from a trigger.
    std::int32_t appType;
    /// The weight: the host's own, or the heavy-game verdict (0 or 1).
    std::int32_t appWeight = 0;
};

/// The payload of one row of the table "HeavyGame": an application's peaks, the largest values ever reported.
struct HeavyGameClassifierDatabase {
    /// Of element 0 of the reports; counts twice in the verdict.
    std::int32_t peak0 = 0;
    /// Of element 1; counts once.
    std::int32_t peak1 = 0;
    /// Of element 2; counts twice.
    std::int32_t peak2 = 0;
};

static_assert(sizeof(TessaryDatabase) == 8, "the stored image of a classification is 8 bytes");
static_assert(sizeof(HeavyGameClassifierDatabase) == 12, "the stored image of the peaks is 12 bytes");

#endif
