#ifndef WORKSTATION_VELHOST_STOREDTABLE_H
#define WORKSTATION_VELHOST_STOREDTABLE_H

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <sqlite3.h>

// One database file, read with bare SQLite. A file that is no database opens cleanly and fails at the first statement,
// which is why opening, checking and the first row are one step here.

namespace velhost {

/// The rows of one table of the row store, read one by one in the byte order of their application names. It relies on
/// nothing that a foreign file may lack: a NULL name reads as empty, a short or missing blob as far as it goes, the
/// rest zero. Not copyable, for one thread.
class StoredTable {
public:
    /// The integers at the beginning of a row's blob.
    using Numbers = std::array<std::int32_t, 3>;

    /// Opens the database `file` and stands on the first row of `table`. Throws Failure, which calls the file
    /// `shownFile`, when it is no database or has no such table with the columns of the row store.
    StoredTable(const std::filesystem::path& file, const std::string& table, std::string shownFile);

    /// True when there is no row to stand on any more.
    bool atEnd() const { return ended; }

    /// The row it stands on; only before the end.
    const std::string& appName() const { return name; }
    const Numbers& numbers() const { return values; }

    /// Goes to the next row; only before the end. Throws Failure when it cannot be read.
    void advance();

    /// Goes back to the first row. Throws Failure when it cannot be read.
    void restart();

private:
    struct Closer {
        void operator()(sqlite3* handle) const { sqlite3_close(handle); }
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    /// Owns one compiled statement.
    using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

    /// Opens the connection and keeps a foreign schema from running anything.
    void open(const std::filesystem::path& file);
    /// Throws unless `table` is an ordinary table of the file.
    void requireTable(const std::string& table);
    /// Compiles `sql` for this connection; never null. Throws Failure.
    Statement prepare(const std::string& sql);
    /// Goes to the next row of `statement`. Throws Failure.
    /// False at the end of the rows.
    bool step(sqlite3_stmt* statement);
    /// Throws Failure with SQLite's words for what went wrong last.
    [[noreturn]] void fail() const;

    // How messages call the file: what is read may be a copy of what the user named.
    std::string shown;
    // In this order: the statement must go before its connection.
    std::unique_ptr<sqlite3, Closer> connection;
    Statement rows;
    bool ended = false;
    // Copies of the row it stands on; SQLite's own bytes go with the next step.
    std::string name;
    Numbers values{};
};

} // namespace velhost

#endif
