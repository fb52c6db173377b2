#ifndef PLATFORM_LOG_H
#define PLATFORM_LOG_H

#include <android/log.h>

// The one log call of the product. Every line has the same tag and begins with the component, the operation and the
// source line, which are the three arguments after the format:
//
//     VEL_LOG_ERROR("No Classifier Database Available", "Tessary", "runAsync", __LINE__);
//     "Tessary: runAsync() LINE: No Classifier Database Available"
//
// A macro, so that the compiler checks the whole format, message included, against the arguments. Thread-safe. The
// log's result is ignored: nothing could be done about it.

#define VEL_LOG_TAG "ANDR-PERF-VEL"

#define VEL_LOG(priority, format, ...) __android_log_print((priority), VEL_LOG_TAG, "%s: %s() %d: " format, __VA_ARGS__)

#define VEL_LOG_ERROR(format, ...) VEL_LOG(ANDROID_LOG_ERROR, format, __VA_ARGS__)
#define VEL_LOG_WARN(format, ...) VEL_LOG(ANDROID_LOG_WARN, format, __VA_ARGS__)

#endif
