#ifndef WORKSTATION_ANDROID_LOG_H
#define WORKSTATION_ANDROID_LOG_H

/// The part of a device's <android/log.h> that the product and velhost use.

#ifdef __cplusplus
extern "C" {
#endif

/// The priorities of lines, the least urgent first. ANDROID_LOG_SILENT is for no line: as the minimum priority it drops
/// them all.
enum {
    ANDROID_LOG_VERBOSE = 2,
    ANDROID_LOG_DEBUG,
    ANDROID_LOG_INFO,
    ANDROID_LOG_WARN,
    ANDROID_LOG_ERROR,
    ANDROID_LOG_FATAL,
    ANDROID_LOG_SILENT
};

/// Writes one line to the log, which on a workstation is standard error: time, process, thread, priority and tag, then
/// the message. A line break at the message's end is dropped. Other bytes that are not printable ASCII are written as
/// \xHH. What would make the line longer than 2047 bytes is cut off.
/// Returns 1, also for a line that is dropped for its priority, or a negative value when it could not be written.
/// Callable from any thread.
int __android_log_print(int priority, const char* tag, const char* format, ...) __attribute__((format(printf, 3, 4)));

/// Drops every later line of the process below `priority`; at first none is dropped. Returns the limit that was in
/// force. Callable from any thread.
int __android_log_set_minimum_priority(int priority);

#ifdef __cplusplus
}
#endif

#endif
