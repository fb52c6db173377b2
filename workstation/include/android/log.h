#ifndef WORKSTATION_ANDROID_LOG_H
#define WORKSTATION_ANDROID_LOG_H

/// The part of a device's <android/log.h> that the product and velhost use.

#ifdef __cplusplus
extern "C" {
#endif

enum {
    ANDROID_LOG_VERBOSE = 2,
    ANDROID_LOG_DEBUG,
    ANDROID_LOG_INFO,
    ANDROID_LOG_WARN,
    ANDROID_LOG_ERROR,
    ANDROID_LOG_FATAL,
    ANDROID_LOG_SILENT
};

/// Writes one line to the log. Returns 1, or a negative value when it could not be written. Callable from any thread.
int __android_log_print(int priority, const char* tag, const char* format, ...) __attribute__((format(printf, 3, 4)));

/// Drops every later line below `priority`. Returns the limit that was in force.
int __android_log_set_minimum_priority(int priority);

#ifdef __cplusplus
}
#endif

#endif
