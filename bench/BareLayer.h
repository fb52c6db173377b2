#ifndef BENCH_BARELAYER_H
#define BENCH_BARELAYER_H

#include <cstring>
#include <stdexcept>
#include <string_view>

#include <sqlite3.h>

#include "bench/Rows.h"

namespace bench {

/// Composes the text of a read in place, with as little work as possible. Returns its length.
inline std::size_t composeRead(const std::string& appName, char (&text)[1024]) {
    char* end = stpcpy(text, "SELECT *, rowid FROM Tessary ");
    if (!appName.empty()) {
        end = stpcpy(end, "WHERE (appName) = ('");
        for (const char character : appName) {
            *end++ = character;
            if (character == '\'') {
                *end++ = character;
            }
        }
        end = stpcpy(end, "') ");
    }
    return static_cast<std::size_t>(end - text);
}

/// The plain C API with as little as possible around it: no log, no queue, no choice of table.
class BareLayer : public PlainRows {
public:
    explicit BareLayer(const std::string& fileName) {
        const std::string path = "/data/vendor/vel/" + fileName;
        check(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr), SQLITE_OK);
        execute(checkpointSetting);
    }
    BareLayer(const BareLayer&) = delete;
    BareLayer& operator=(const BareLayer&) = delete;
    ~BareLayer() { sqlite3_close(db); }

    Rows read(const std::string& appName) {
        char text[1024]; // enough for the names that are stored here
        sqlite3_stmt* statement = prepare({text, composeRead(appName, text)});
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

    void write(Rows& rows) {
        // Both, needed or not, as in the row store: its queue may hold new and stored rows in any order.
        sqlite3_stmt* insert = prepare("INSERT INTO Tessary(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)");
        sqlite3_stmt* update =
            prepare("UPDATE Tessary SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)");
        execute("BEGIN IMMEDIATE TRANSACTION;");
        for (const Row* row : rows) {
            sqlite3_stmt* statement = row->rowid == 0 ? insert : update;
            const int size = static_cast<int>(row->appName.size());
            check(sqlite3_bind_text(statement, 2, row->appName.data(), size, SQLITE_STATIC), SQLITE_OK);
            check(sqlite3_bind_blob(statement, 4, &row->payload, sizeof(row->payload), SQLITE_STATIC), SQLITE_OK);
            if (row->rowid != 0) {
                check(sqlite3_bind_int(statement, 5, static_cast<int>(row->rowid)), SQLITE_OK);
            }
            run(statement);
            delete row; // its values are stored: the statement has run to its end
        }
        rows.clear();
        execute("COMMIT TRANSACTION;");
        check(sqlite3_finalize(insert), SQLITE_OK);
        check(sqlite3_finalize(update), SQLITE_OK);
    }

    void remove(Rows& rows) {
        sqlite3_stmt* statement = prepare("DELETE FROM Tessary WHERE (rowid) = (?)");
        execute("BEGIN IMMEDIATE TRANSACTION;");
        for (const Row* row : rows) {
            check(sqlite3_bind_int(statement, 1, static_cast<int>(row->rowid)), SQLITE_OK);
            run(statement);
        }
        execute("COMMIT TRANSACTION;");
        check(sqlite3_finalize(statement), SQLITE_OK);
        release(rows);
    }

    sqlite3* connection() { return db; }

private:
    void check(int code, int expected) const {
        if (code != expected) {
            throw std::runtime_error(sqlite3_errmsg(db));
        }
    }

    void execute(const char* sql) { check(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK); }

    sqlite3_stmt* prepare(std::string_view text) {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(db, text.data(), static_cast<int>(text.size()), &statement, nullptr), SQLITE_OK);
        return statement;
    }

    void run(sqlite3_stmt* statement) {
        check(sqlite3_step(statement), SQLITE_DONE);
        check(sqlite3_reset(statement), SQLITE_OK);
    }

    static void fill(sqlite3_stmt* statement, Row& row) {
        if (sqlite3_column_text(statement, 0) != nullptr) {
            row.intcol1 = sqlite3_column_int(statement, 0);
        }
        fillText(statement, 1, row.appName);
        fillText(statement, 2, row.rsvdName);
        const void* blob = sqlite3_column_blob(statement, 3); // before the size, which may convert the value
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

} // namespace bench

#endif
