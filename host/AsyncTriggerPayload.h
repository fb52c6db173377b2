#ifndef HOST_ASYNCTRIGGERPAYLOAD_H
#define HOST_ASYNCTRIGGERPAYLOAD_H

#include <cstdint>
#include <string>

#include "host/Export.h"

/// What the host delivers with an asynchronous trigger. Each feature decides which trigger codes it handles and how it
/// decodes the arguments (TessaryFeature::runAsync). Passed by value: a feature may change its copy.
/// An open record (see Feature): add the fields that the host has after `triggerValue`.
struct HOST_EXPORT AsyncTriggerPayload {
    /// The trigger code, compared for equality only.
    std::uint32_t triggerId = 0;
    /// First argument word. Its meaning depends on the trigger code.
    std::uint32_t triggerArg = 0;
    /// The application (package) that the trigger concerns.
    std::string appName;
    /// Second argument, signed.
    std::int32_t triggerValue = 0;
};

#endif
