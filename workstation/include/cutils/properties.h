#ifndef WORKSTATION_CUTILS_PROPERTIES_H
#define WORKSTATION_CUTILS_PROPERTIES_H

#include <stdint.h> // NOLINT(modernize-deprecated-headers): also a C header

/// The part of a device's <cutils/properties.h> that the product and velhost use. On a workstation the properties live
/// in the process. Every operation is callable from any thread.

#define PROPERTY_VALUE_MAX 92

#ifdef __cplusplus
extern "C" {
#endif

/// Copies the value of `key`, or `default_value` when it is not set, into `value`, which holds PROPERTY_VALUE_MAX
/// bytes. A longer default is cut off there; a null one stands for the empty text. Returns the length of the copy
/// without the terminator.
int property_get(const char* key, char* value, const char* default_value);

/// Returns 1 when the value of `key` is 1, y, yes, on or true, 0 when it is 0, n, no, off or false, else
/// `default_value`.
int8_t property_get_bool(const char* key, int8_t default_value);

/// Sets `key` for the whole process and returns 0. Changes nothing and returns -1 when the value is longer than
/// PROPERTY_VALUE_MAX - 1 bytes or when out of memory.
int property_set(const char* key, const char* value);

#ifdef __cplusplus
}
#endif

#endif
