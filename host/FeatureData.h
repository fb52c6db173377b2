#ifndef HOST_FEATUREDATA_H
#define HOST_FEATUREDATA_H

#include <cstdint>

#include "host/Export.h"

/// The answer record of Feature::getData. The host owns it; a feature writes `value` and nothing else.
struct HOST_EXPORT featureData {
    /// The answer; its meaning depends on what was asked. The host may have further fields after it.
    std::int32_t value = 0;
};

#endif
