#ifndef HOST_FEATUREDATA_H
#define HOST_FEATUREDATA_H

#include <cstdint>

#include "host/Export.h"

/// The answer record of Feature::getData. The host owns it; a feature writes `value` and nothing else.
/// An open record (see Feature): add the fields that the host has after `value`.
struct HOST_EXPORT featureData {
    /// The answer; its meaning depends on what was asked.
    std::int32_t value = 0;
};

#endif
