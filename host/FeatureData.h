#ifndef HOST_FEATUREDATA_H
#define HOST_FEATUREDATA_H

#include <cstdint>

/// The answer record of Feature::getData. The host owns it; a feature writes `value` and nothing else.
struct featureData {
    std::int32_t value = 0;
};

#endif
