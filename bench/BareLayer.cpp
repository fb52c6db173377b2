#include <cstddef>
#include <cstring>
#include <stdexcept>

#include <sqlite3.h>

#include "bench/Layer.h"

namespace bench {

namespace {

// Enough for every statement here with a name of usual length; a longer name ends the measurement.
constexpr std::size_t textRoom = 1024;

/// A statement's text, put together in place.
struct Text { // NOLINT(cppcoreguidelines-pro-type-member-init): clearing the bytes would be work that nobody needs
    char bytes[textRoom];
    std::size_t size = 0;
};

void put(Text& text, const char* bytes, std::size_t size) {
    if (size > textRoom - text.size) {
        throw std::length_error("a statement's text is too long");
    }
    std::memcpy(text.bytes + text.size, bytes, size);
    text.size += size;
}

void put(Text& text, const char* bytes) { put(text, bytes, std::strlen(bytes)); }

void putQuoted(Text& text, const std::string& value) {
    put(text, "'", 1);
    const char* rest = value.data();
    const char* end = rest + value.size();
    // A quote inside is doubled. Names are copied piece by piece, since few hold one.
    while (const void* quote = std::memchr(rest, '\'', static_cast<std::size_t>(end - rest))) {
        const char* next = static_cast<const char*>(quote) + 1;
        put(text, rest, static_cast<std::size_t>(next - rest));
        put(text, "'", 1);
        rest = next;
    }
    put(text, rest, static_cast<std::size_t>(end - rest));
    put(text, "'", 1);
}

/// The plain C API, as a careful C programmer calls it: the least that can be done with these statements. No log, no
/// queue, no room for other ways to call it.
class BareLayer : public Layer {
public:
    // The modes and the table are the row store's, or the layers would ask SQLite for different work.
    explicit BareLayer(const std::string& fileName) {
        const std::string path = "/data/vendor/vel/" + fileName;
        const int opened = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
        if (opened != SQLITE_OK) {
            // A failed open leaves a handle too.
            sqlite3_close(db);
            throw std::runtime_error("the bare layer cannot open its database");
        }
        execute("PRAGMA journal_mode=WAL");
        execute("CREATE TABLE IF NOT EXISTS Tessary(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)");
    }

    ~BareLayer() override { sqlite3_close(db); }

    BareLayer(const BareLayer&) = delete;
    BareLayer& operator=(const BareLayer&) = delete;

    Rows read(const std::string& appName) override {
        Text text;
        put(text, "SELECT *, rowid FROM ");
        put(text, tableName);
        put(text, " ");
        if (!appName.empty()) {
            put(text, "WHERE (appName) = (");
            putQuoted(text, appName);
            put(text, ") ");
        }
        sqlite3_stmt* statement = prepare(text);
        Rows rows;
        int stepped = sqlite3_step(statement);
        for (; stepped == SQLITE_ROW && rows.size() < VELDB_MAX_READ_ROWS; stepped = sqlite3_step(statement)) {
            Row* row = new Row;
            fill(statement, *row);
            rows.push_back(row);
        }
        check(stepped == SQLITE_ROW ? SQLITE_DONE : stepped, SQLITE_DONE);
        check(sqlite3_finalize(statement), SQLITE_OK);
        return rows;
    }

    void write(Rows& rows) override {
        // Both, needed or not, as the row store does: a queue may hold new and stored rows in any order.
        sqlite3_stmt* insert = prepareInsert();
        sqlite3_stmt* update = prepareUpdate();
        const Row* lastInserted = nullptr;
        const Row* lastUpdated = nullptr;
        execute("BEGIN IMMEDIATE TRANSACTION;");
        for (const Row* row : rows) {
            const bool isNew = row->rowid == 0;
            const Row*& last = isNew ? lastInserted : lastUpdated;
            bind(isNew ? insert : update, last, *row);
            run(isNew ? insert : update);
            last = row;
        }
        // A statement that was stepped to its end has stored its values, so the rows that it borrowed them from may go.
        release(rows);
        execute("COMMIT TRANSACTION;");
        check(sqlite3_finalize(insert), SQLITE_OK);
        check(sqlite3_finalize(update), SQLITE_OK);
    }

    void remove(Rows& rows) override {
        Text text;
        put(text, "DELETE FROM ");
        put(text, tableName);
        put(text, " WHERE (rowid) = (?)");
        sqlite3_stmt* statement = prepare(text);
        execute("BEGIN IMMEDIATE TRANSACTION;");
        for (const Row* row : rows) {
            check(sqlite3_bind_int(statement, 1, static_cast<int>(row->rowid)), SQLITE_OK);
            run(statement);
        }
        execute("COMMIT TRANSACTION;");
        check(sqlite3_finalize(statement), SQLITE_OK);
        release(rows);
    }

private:
    void check(int code, int expected) const {
        if (code != expected) {
            throw std::runtime_error(sqlite3_errmsg(db));
        }
    }

    void execute(const char* sql) { check(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK); }

    sqlite3_stmt* prepare(const Text& text) {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(db, text.bytes, static_cast<int>(text.size), &statement, nullptr), SQLITE_OK);
        return statement;
    }

    sqlite3_stmt* prepareInsert() {
        Text text;
        put(text, "INSERT INTO ");
        put(text, tableName);
        put(text, "(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)");
        return prepare(text);
    }

    sqlite3_stmt* prepareUpdate() {
        Text text;
        put(text, "UPDATE ");
        put(text, tableName);
        put(text, " SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)");
        return prepare(text);
    }

    void run(sqlite3_stmt* statement) {
        check(sqlite3_step(statement), SQLITE_DONE);
        check(sqlite3_reset(statement), SQLITE_OK);
    }

    void bind(sqlite3_stmt* statement, const Row* last, const Row& row) {
        if (carriesOver(last, row)) {
            sqlite3_clear_bindings(statement);
        }
        // A parameter that is left unbound is NULL, which is how a missing value is stored.
        if (row.intcol1 != VELDB_NO_VALUE) {
            check(sqlite3_bind_int(statement, 1, row.intcol1), SQLITE_OK);
        }
        bindText(statement, 2, row.appName);
        bindText(statement, 3, row.rsvdName);
        check(sqlite3_bind_blob(statement, 4, &row.payload, sizeof(row.payload), SQLITE_STATIC), SQLITE_OK);
        if (row.rowid != 0) {
            check(sqlite3_bind_int(statement, 5, static_cast<int>(row.rowid)), SQLITE_OK);
        }
    }

    void bindText(sqlite3_stmt* statement, int parameter, const std::string& value) {
        if (!value.empty()) {
            const int size = static_cast<int>(value.size());
            check(sqlite3_bind_text(statement, parameter, value.data(), size, SQLITE_STATIC), SQLITE_OK);
        }
    }

    static void fill(sqlite3_stmt* statement, Row& row) {
        if (sqlite3_column_text(statement, 0) != nullptr) {
            row.intcol1 = sqlite3_column_int(statement, 0);
        }
        fillText(statement, 1, row.appName);
        fillText(statement, 2, row.rsvdName);
        // The pointer before the size: asking for it may convert the value.
        const void* blob = sqlite3_column_blob(statement, 3);
        if (blob != nullptr && sqlite3_column_bytes(statement, 3) >= static_cast<int>(sizeof(row.payload))) {
            std::memcpy(&row.payload, blob, sizeof(row.payload));
        }
        row.rowid = sqlite3_column_int64(statement, 4);
    }

    static void fillText(sqlite3_stmt* statement, int column, std::string& value) {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
        if (bytes != nullptr) {
            value.assign(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
        }
    }

    sqlite3* db = nullptr;
};

} // namespace

std::unique_ptr<Layer> openBareLayer(const std::string& fileName) { return std::make_unique<BareLayer>(fileName); }

} // namespace bench
