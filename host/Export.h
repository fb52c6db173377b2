#ifndef HOST_EXPORT_H
#define HOST_EXPORT_H

/// Marks what crosses the boundary between the host and a plug-in. Everything else is built with hidden visibility, and
/// a plug-in's export list narrows its own share further.
#define HOST_EXPORT __attribute__((visibility("default")))

#endif
