#ifndef HOST_ASYNCTRIGGERPAYLOAD_H
#define HOST_ASYNCTRIGGERPAYLOAD_H

#include <cstdint>
#include <string>

#include "host/Export.h"

/// What the host delivers with an asynchronous trigger. Which trigger codes a feature acts on, and how it decodes the
/// two arguments, is the feature's matter (TessaryFeature::runAsync).
struct HOST_EXPORT AsyncTriggerPayload {
    std::uint32_t triggerId = 0;   ///< the trigger code
    std::uint32_t triggerArg = 0;  ///< first argument word
    std::string appName;           ///< the application (package) that the trigger concerns
    std::int32_t triggerValue = 0; ///< second argument
};

#endif
