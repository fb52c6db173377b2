#ifndef ROWSTORE_VELDBDATAROWKEY_H
#define ROWSTORE_VELDBDATAROWKEY_H

#include <string>

#include "rowstore/VelDBTypes.h"

/// Selects the rows of a read: those that match every field that holds a value. A key without any value selects every
/// row of the table.
struct VelDBDataRowKey {
    int intcol1;          ///< VELDB_NO_VALUE: not selected by
    std::string appName;  ///< empty: not selected by
    std::string rsvdName; ///< empty: not selected by

    /// Copies `name`; throws std::bad_alloc.
    VelDBDataRowKey(const std::string& name, int number) : intcol1(number), appName(name) {}
};

#endif
