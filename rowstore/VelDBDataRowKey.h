#ifndef ROWSTORE_VELDBDATAROWKEY_H
#define ROWSTORE_VELDBDATAROWKEY_H

#include <string>

#include "rowstore/VelDBTypes.h"

/// Selects the rows of a read: those that match every field that holds a value. A key without any value selects every
/// row of the table.
struct VelDBDataRowKey {
    /// Any value; VELDB_NO_VALUE leaves the column out of the selection.
    int intcol1;
    /// The exact bytes, matched with their case; the empty string leaves the column out. A NUL byte makes the read
    /// fail.
    std::string appName;
    /// As `appName`.
    std::string rsvdName;

    /// Copies `name`; throws std::bad_alloc.
    VelDBDataRowKey(const std::string& name, int number) : intcol1(number), appName(name) {}
};

#endif
