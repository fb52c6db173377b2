#ifndef ROWSTORE_VELDBTYPES_H
#define ROWSTORE_VELDBTYPES_H

#include <climits>
#include <cstddef>
#include <cstring>

// The results, orderings and limits that the whole row store shares, and its bounded copy.

/// The result of opening, closing, creating or writing back, also where that is an int. Other int results are counts.
enum veldbError : int { VELDB_SUCCESS = 0, VELDB_FAILURE = -1 };

/// The column that a read is ordered by.
enum veldbOrderByCol : int {
    /// No ordering: the rows come as SQLite finds them.
    veldbOrderByNone = 0,
    veldbOrderByAppName = 1,
    veldbOrderByRsvdName = 2,
    veldbOrderByIntcol1 = 3
};

/// The direction of an ordering; veldbDirNone leaves it to SQLite, which then sorts ascending.
enum veldbOrderByDir : int { veldbDirNone = 0, veldbDirAsc = 1, veldbDirDesc = 2 };

/// Marks an integer field of a row or a key as holding no value. The empty string does the same for a text field.
constexpr int VELDB_NO_VALUE = INT_MAX;

/// The most rows that one getRow allocates: a larger request is cut down to it, with a warning.
constexpr std::size_t VELDB_MAX_GET_ROWS = 100;

/// The most rows that one readAllocateDR returns; a request for 0 rows means this many.
constexpr std::size_t VELDB_MAX_READ_ROWS = 10000;

/// Copies as many bytes from `src` to `dst` as the smaller size says, and returns their number. The two must not
/// overlap. Either pointer may be null when its size is 0; there is no other check. Any thread may call it.
inline unsigned VelDB_memscpy(void* dst, unsigned dstSize, const void* src, unsigned srcSize) {
    const unsigned count = dstSize < srcSize ? dstSize : srcSize;
    if (count != 0) {
        std::memcpy(dst, src, count);
    }
    return count;
}

#endif
