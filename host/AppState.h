#ifndef HOST_APPSTATE_H
#define HOST_APPSTATE_H

#include <cstdint>

/// The payload record of the host's application-state table. The row store can keep it. This plug-in has no such table
/// and gives the field no meaning.
struct AppState {
    /// Stored unchanged.
    std::int32_t state;
};

static_assert(sizeof(AppState) == 4, "the stored image of an AppState is 4 bytes");

#endif
