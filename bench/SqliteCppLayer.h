#ifndef BENCH_SQLITECPPLAYER_H
#define BENCH_SQLITECPPLAYER_H

#include <cstring>

#include <SQLiteCpp/SQLiteCpp.h>

#include "bench/Rows.h"

namespace bench {

/// A C++ wrapper of SQLite, used as its documentation shows, without copies of bound values.
class SqliteCppLayer : public PlainRows {
public:
    explicit SqliteCppLayer(const std::string& fileName) : db("/data/vendor/vel/" + fileName, SQLite::OPEN_READWRITE) {
        db.exec(checkpointSetting);
    }

    Rows read(const std::string& appName) {
        std::string text = "SELECT *, rowid FROM Tessary ";
        if (!appName.empty()) {
            text += "WHERE (appName) = ('";
            for (const char character : appName) {
                text.append(character == '\'' ? 2 : 1, character);
            }
            text += "') ";
        }
        SQLite::Statement statement(db, text);
        Rows rows;
        while (rows.size() < VELDB_MAX_READ_ROWS && statement.executeStep()) {
            Row* row = new Row;
            fill(statement, *row);
            rows.push_back(row);
        }
        return rows;
    }

    void write(Rows& rows) {
        SQLite::Statement insert(db, "INSERT INTO Tessary(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)");
        SQLite::Statement update(
            db, "UPDATE Tessary SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)");
        SQLite::Transaction transaction(db, SQLite::TransactionBehavior::IMMEDIATE);
        for (const Row* row : rows) {
            SQLite::Statement& statement = row->rowid == 0 ? insert : update;
            statement.bindNoCopy(2, row->appName);
            statement.bindNoCopy(4, &row->payload, sizeof(row->payload));
            if (row->rowid != 0) {
                statement.bind(5, static_cast<int>(row->rowid));
            }
            statement.exec();
            statement.reset();
            delete row;
        }
        rows.clear();
        transaction.commit();
    }

    void remove(Rows& rows) {
        SQLite::Statement statement(db, "DELETE FROM Tessary WHERE (rowid) = (?)");
        SQLite::Transaction transaction(db, SQLite::TransactionBehavior::IMMEDIATE);
        for (const Row* row : rows) {
            statement.bind(1, static_cast<int>(row->rowid));
            statement.exec();
            statement.reset();
        }
        transaction.commit();
        release(rows);
    }

    sqlite3* connection() { return db.getHandle(); }

private:
    static void fill(SQLite::Statement& statement, Row& row) {
        if (!statement.isColumnNull(0)) {
            row.intcol1 = statement.getColumn(0).getInt();
        }
        row.appName = statement.getColumn(1).getString();
        if (!statement.isColumnNull(2)) {
            row.rsvdName = statement.getColumn(2).getString();
        }
        const SQLite::Column blob = statement.getColumn(3);
        if (blob.getBytes() >= static_cast<int>(sizeof(row.payload))) {
            std::memcpy(&row.payload, blob.getBlob(), sizeof(row.payload));
        }
        row.rowid = statement.getColumn(4).getInt64();
    }

    SQLite::Database db;
};

} // namespace bench

#endif
