#ifndef HOST_EXPORT_H
#define HOST_EXPORT_H

/// Marks what crosses the boundary between the host and a plug-in. Everything else is hidden. A plug-in's export list
/// narrows this further.
#define HOST_EXPORT __attribute__((visibility("default")))

#endif
