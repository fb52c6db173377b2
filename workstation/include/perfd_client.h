#ifndef WORKSTATION_PERFD_CLIENT_H
#define WORKSTATION_PERFD_CLIENT_H

/// The part of a device's performance-daemon client that the product uses. On a workstation there is no daemon: the
/// properties are those of <cutils/properties.h>.

#ifdef __cplusplus
extern "C" {
#endif

/// A property's value as NUL-terminated text.
/// An open record (see Feature): perf_get_prop returns it by value, so a device's longer record would overrun this one.
/// Build for a device with the device's own header.
struct PropVal {
    char value[92];
};

/// Returns the value of `key`, or `default_value` when it is not set; a null default stands for the empty text.
/// A text too long for the record is cut off. Callable from any thread.
struct PropVal perf_get_prop(const char* key, const char* default_value);

#ifdef __cplusplus
}
#endif

#endif
