#ifndef WORKSTATION_VELHOST_STOREDTABLE_H
#define WORKSTATION_VELHOST_STOREDTABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// One table of the row store, read with bare SQLite from a file that anyone may have made. The file and its folder stay
// as they are: no file is made, changed or locked.

namespace velhost {

/// The integers at the beginning of a row's record; what is missing is zero.
using Numbers = std::array<std::int32_t, 3>;

struct StoredRow {
    std::string appName; ///< any bytes; NULL reads as empty
    Numbers numbers;
};

struct StoredTable {
    std::vector<StoredRow> rows;    ///< by name in byte order, rows of one name as they lie in the file
    std::vector<std::string> notes; ///< what is wrong, as lines for the user
    std::string failure;            ///< why not all rows could be read; empty if they could
};

/// Reads and checks `table` of the database `file`, whose records should have `recordSize` bytes.
/// Throws Error when the file is missing, is no database or has a journal that is not empty, and when the table is
/// missing, is a view or virtual, or has a computed column.
StoredTable readTable(const std::filesystem::path& file, const std::string& table, std::size_t recordSize);

/// Throws Error when the database has a journal that is not empty. SQLite would play it back, and a crafted journal
/// makes it delete any file. A missing database is no error.
void refuseJournal(const std::filesystem::path& file);

} // namespace velhost

#endif
