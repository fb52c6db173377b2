#include "workstation/velhost/StoredTable.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "workstation/velhost/Failure.h"

namespace velhost {

namespace {

// How long a writer in another process, such as a second replay into the same files, is waited for.
constexpr int busyMilliseconds = 2000;

/// The order of std::string: by bytes of UTF-8, whatever the encoding of the file.
int compareBytes(void* /*unused*/, int leftSize, const void* left, int rightSize, const void* right) noexcept {
    const int common = std::memcmp(left, right, static_cast<std::size_t>(std::min(leftSize, rightSize)));
    return common != 0 ? common : leftSize - rightSize;
}

/// Little-endian integers from the first `size` bytes at `bytes`; what is missing is zero.
StoredTable::Numbers decode(const unsigned char* bytes, std::size_t size) {
    std::array<std::uint32_t, 3> words{};
    for (std::size_t i = 0; i < std::min(size, sizeof(words)); ++i) {
        words[i / 4] |= static_cast<std::uint32_t>(bytes[i]) << (i % 4 * 8);
    }
    StoredTable::Numbers numbers{};
    std::memcpy(numbers.data(), words.data(), sizeof(words));
    return numbers;
}

} // namespace

StoredTable::StoredTable(const std::filesystem::path& file, const std::string& table, std::string shownFile)
    : shown(std::move(shownFile)) {
    open(file);
    requireTable(table);
    // The casts give every row bytes, whatever type a foreign writer stored; the part of a blob that counts keeps the
    // sort small. SQLite sorts beyond its cache on disk.
    rows = prepare("SELECT CAST(appName AS TEXT), substr(CAST(blob AS BLOB), 1, 12) FROM " + table +
                   " ORDER BY 1 COLLATE appBytes, rowid");
    advance();
}

void StoredTable::open(const std::filesystem::path& file) {
    // For writing as well: reading a database in write-ahead mode may have to repair and index its log.
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
    // A failed open leaves a handle too, which has the reason and must be closed.
    connection.reset(opened);
    if (result != SQLITE_OK) {
        fail();
    }
    // The file may come from anywhere: nothing that its schema says is run.
    sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_busy_timeout(opened, busyMilliseconds);
    if (sqlite3_create_collation(opened, "appBytes", SQLITE_UTF8, nullptr, compareBytes) != SQLITE_OK) {
        fail();
    }
}

void StoredTable::requireTable(const std::string& table) {
    // A real table: a view or a virtual table of the name has no root page.
    const Statement found = prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' AND rootpage > 0 AND name = '" +
                                    table + "' COLLATE NOCASE");
    if (!step(found.get())) {
        throw Failure(shown + ": no table " + table);
    }
}

StoredTable::Statement StoredTable::prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        fail();
    }
    return Statement(statement);
}

bool StoredTable::step(sqlite3_stmt* statement) {
    const int result = sqlite3_step(statement);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        fail();
    }
    return result == SQLITE_ROW;
}

void StoredTable::fail() const { throw Failure(shown + ": " + sqlite3_errmsg(connection.get())); }

void StoredTable::advance() {
    // The pointers of a column are asked for before its size: asking for them may convert it.
    ended = !step(rows.get());
    if (ended) {
        return;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(rows.get(), 0));
    name.assign(text == nullptr ? "" : text, static_cast<std::size_t>(sqlite3_column_bytes(rows.get(), 0)));
    const auto* blob = static_cast<const unsigned char*>(sqlite3_column_blob(rows.get(), 1));
    values = decode(blob, static_cast<std::size_t>(sqlite3_column_bytes(rows.get(), 1)));
}

void StoredTable::restart() {
    sqlite3_reset(rows.get());
    advance();
}

} // namespace velhost
