#include "workstation/velhost/StoredTable.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <sstream>
#include <system_error>

#include <sqlite3.h>

#include "workstation/velhost/Error.h"
#include "workstation/velhost/ReadOnlyVfs.h"
#include "workstation/velhost/Text.h"

namespace fs = std::filesystem;

namespace velhost {

namespace {

// Far more than a name or a record of the row store has.
constexpr int longestValue = 1 << 20;

struct Closer {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

/// Little-endian integers from the first `size` bytes at `bytes`.
Numbers decode(const unsigned char* bytes, std::size_t size) {
    Numbers numbers{};
    for (std::size_t i = 0; i < std::min(size, sizeof(numbers)); ++i) {
        const auto word = static_cast<std::uint32_t>(numbers[i / 4]);
        numbers[i / 4] = static_cast<std::int32_t>(word | static_cast<std::uint32_t>(bytes[i]) << (i % 4 * 8));
    }
    return numbers;
}

class Reader {
public:
    Reader(const fs::path& path, const std::string& tableName) : file(path), table(tableName) {
        std::error_code error;
        const fs::path canonical = fs::canonical(file, error);
        if (error) {
            throw Error(Exit::refused, file.string() + ": " + error.message());
        }
        refuseJournal(file);
        // Four times the files, because UTF-16 and numbers grow when they are read as UTF-8.
        room = 4 * (sizeOf(canonical) + sizeOf(canonical.native() + "-wal"));
        open(canonical);
    }

    StoredTable read(std::size_t recordSize) {
        refuseComputedColumns();
        const Statement rows = prepare("SELECT appName, blob FROM " + table + " NOT INDEXED");
        noteDamage();
        while (step(rows.get())) {
            take(rows.get(), recordSize);
        }
        std::stable_sort(result.rows.begin(), result.rows.end(),
                         [](const StoredRow& one, const StoredRow& other) { return one.appName < other.appName; });
        return std::move(result);
    }

private:
    /// 0 for a missing file. Refuses a pipe or a device, which could block the read.
    std::uintmax_t sizeOf(const fs::path& path) const {
        std::error_code error;
        const std::uintmax_t size = fs::file_size(path, error);
        if (error && error != std::errc::no_such_file_or_directory) {
            throw Error(Exit::refused, file.string() + ": " + error.message());
        }
        return error ? 0 : size;
    }

    void open(const fs::path& path) {
        sqlite3* opened = nullptr;
        const int code = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READONLY, readOnlyVfs());
        // A failed open leaves a handle too: it has the reason and must be closed.
        connection.reset(opened);
        if (code != SQLITE_OK) {
            refuse(std::string(": ") + std::strerror(sqlite3_system_errno(opened)));
        }
        // Runs nothing that the file's schema names: no function, check, view or virtual table.
        sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
        sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
        sqlite3_db_config(opened, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
        sqlite3_drop_modules(opened, nullptr);
        sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, longestValue);
        for (const char* setting : {"locking_mode = EXCLUSIVE", "ignore_check_constraints = ON"}) {
            step(prepare(std::string("PRAGMA ") + setting).get());
        }
    }

    void refuseComputedColumns() {
        const Statement columns = prepare("PRAGMA table_xinfo(" + table + ")");
        constexpr int hidden = 6; // the pragma's column "hidden", not 0 for a computed column
        while (step(columns.get())) {
            if (sqlite3_column_int(columns.get(), hidden) != 0) {
                throw Error(Exit::refused, file.string() + ": a column of " + table + " is computed");
            }
        }
    }

    /// Notes what SQLite finds wrong with the structure of the table.
    void noteDamage() {
        const Statement findings = prepare("PRAGMA quick_check(" + table + ")");
        std::string first;
        int count = 0;
        while (sqlite3_step(findings.get()) == SQLITE_ROW) {
            std::istringstream lines(text(findings.get(), 0)); // one finding a line, after a "***" heading
            for (std::string line; std::getline(lines, line);) {
                if (line.rfind("***", 0) != 0) {
                    first = count++ == 0 ? line : first;
                }
            }
        }
        if (first != "ok") {
            note("damaged: " + (count == 0 ? sqlite3_errmsg(connection.get()) : first) +
                 (count > 1 ? " (and " + std::to_string(count - 1) + " more)" : ""));
        }
    }

    /// Takes one row in.
    void take(sqlite3_stmt* row, std::size_t recordSize) {
        const int type = sqlite3_column_type(row, 0); // before a conversion changes it
        std::string name = text(row, 0);
        const auto* blob = static_cast<const unsigned char*>(sqlite3_column_blob(row, 1));
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, 1));
        const std::size_t taken = name.size() + size + 8; // so that an empty row counts too
        if (taken > room) {
            fail("its rows hold more than the file");
            return;
        }
        room -= taken;
        noteName(name, type);
        if (size != recordSize) {
            note("the record of " + scriptWord(name) + " has " + std::to_string(size) + " bytes instead of " +
                 std::to_string(recordSize));
        }
        result.rows.push_back({std::move(name), decode(blob, size)});
    }

    /// Notes a name that no call of the feature reaches.
    void noteName(const std::string& name, int type) {
        if (name.empty()) {
            note("a row has an empty name");
        } else if (type != SQLITE_TEXT || name.find('\0') != std::string::npos) {
            note("the name " + scriptWord(name) + (type != SQLITE_TEXT ? " is not text" : " holds a NUL byte"));
        }
    }

    void note(const std::string& what) { result.notes.push_back(file.string() + ": " + what); }

    Statement prepare(const std::string& sql) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(connection.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
            refuse();
        }
        return Statement(statement);
    }

    /// Goes to the next row of `statement`. False at the end of the rows and after a failure.
    bool step(sqlite3_stmt* statement) {
        const int code = result.failure.empty() ? sqlite3_step(statement) : SQLITE_DONE;
        if (code != SQLITE_ROW && code != SQLITE_DONE) {
            fail(sqlite3_errmsg(connection.get()));
        }
        return code == SQLITE_ROW;
    }

    /// Keeps what has been read, and reads no further.
    void fail(const std::string& why) {
        result.failure =
            file.string() + ": reading stopped after " + std::to_string(result.rows.size()) + " rows: " + why;
    }

    static std::string text(sqlite3_stmt* statement, int column) {
        // In this order: asking for the text may convert the value.
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
        return {bytes == nullptr ? "" : bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
    }

    [[noreturn]] void refuse(const std::string& detail = "") const {
        throw Error(Exit::refused, file.string() + ": " + sqlite3_errmsg(connection.get()) + detail);
    }

    const fs::path& file; // as the user named it
    const std::string& table;
    std::unique_ptr<sqlite3, Closer> connection;
    /// The bytes that further rows may take: a crafted file can yield many times its size.
    std::uintmax_t room = 0;
    StoredTable result;
};

} // namespace

StoredTable readTable(const fs::path& file, const std::string& table, std::size_t recordSize) {
    return Reader(file, table).read(recordSize);
}

void refuseJournal(const fs::path& file) {
    std::error_code error;
    const fs::path journal = fs::weakly_canonical(file, error).native() + "-journal";
    const bool exists = fs::exists(fs::symlink_status(journal, error));
    if (exists && (fs::file_size(journal, error) > 0 || error)) {
        throw Error(Exit::refused, file.string() + ": its -journal is not empty, so it was left in mid-change. Start "
                                                   "and stop the device's host, then pull the files again");
    }
}

} // namespace velhost
