#include <cstring>

#include <SQLiteCpp/SQLiteCpp.h>

#include "bench/Layer.h"

namespace bench {

namespace {

/// Doubles every quote of `value` and puts one at each end.
std::string quoted(const std::string& value) {
    std::string text = "'";
    for (const char character : value) {
        text.append(character == '\'' ? 2 : 1, character);
    }
    return text + "'";
}

/// The C++ wrapper that Debian carries, used as its documentation shows, without copies of bound values.
class SqliteCppLayer : public Layer {
public:
    explicit SqliteCppLayer(const std::string& fileName)
        : db("/data/vendor/vel/" + fileName, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE) {
        db.exec("PRAGMA journal_mode=WAL");
        db.exec("CREATE TABLE IF NOT EXISTS Tessary(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)");
    }

    Rows read(const std::string& appName) override {
        std::string text = std::string("SELECT *, rowid FROM ") + tableName + " ";
        if (!appName.empty()) {
            text += "WHERE (appName) = (" + quoted(appName) + ") ";
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

    void write(Rows& rows) override {
        const std::string table = tableName;
        const std::string columns = "(intcol1, appName, rsvdName, blob)";
        SQLite::Statement insert(db, "INSERT INTO " + table + columns + " VALUES (?,?,?,?)");
        SQLite::Statement update(db, "UPDATE " + table + " SET " + columns + " = (?,?,?,?) WHERE (rowid) = (?)");
        const Row* lastInserted = nullptr;
        const Row* lastUpdated = nullptr;
        SQLite::Transaction transaction(db, SQLite::TransactionBehavior::IMMEDIATE);
        for (const Row* row : rows) {
            const bool isNew = row->rowid == 0;
            SQLite::Statement& statement = isNew ? insert : update;
            const Row*& last = isNew ? lastInserted : lastUpdated;
            bind(statement, last, *row);
            statement.exec();
            statement.reset();
            last = row;
        }
        // Before the commit, as the other layers do: the statements have taken what they need.
        release(rows);
        transaction.commit();
    }

    void remove(Rows& rows) override {
        SQLite::Statement statement(db, std::string("DELETE FROM ") + tableName + " WHERE (rowid) = (?)");
        SQLite::Transaction transaction(db, SQLite::TransactionBehavior::IMMEDIATE);
        for (const Row* row : rows) {
            statement.bind(1, static_cast<int>(row->rowid));
            statement.exec();
            statement.reset();
        }
        transaction.commit();
        release(rows);
    }

private:
    // Rows outlive the statement's run, so that the values need no copy.
    static void bind(SQLite::Statement& statement, const Row* last, const Row& row) {
        if (carriesOver(last, row)) {
            statement.clearBindings();
        }
        if (row.intcol1 != VELDB_NO_VALUE) {
            statement.bind(1, row.intcol1);
        }
        if (!row.appName.empty()) {
            statement.bindNoCopy(2, row.appName);
        }
        if (!row.rsvdName.empty()) {
            statement.bindNoCopy(3, row.rsvdName);
        }
        statement.bindNoCopy(4, &row.payload, sizeof(row.payload));
        if (row.rowid != 0) {
            statement.bind(5, static_cast<int>(row.rowid));
        }
    }

    static void fill(SQLite::Statement& statement, Row& row) {
        if (!statement.isColumnNull(0)) {
            row.intcol1 = statement.getColumn(0).getInt();
        }
        row.appName = statement.getColumn(1).getString();
        // The name is never NULL, by the table's own rule; these may be.
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

} // namespace

std::unique_ptr<Layer> openSqliteCppLayer(const std::string& fileName) {
    return std::make_unique<SqliteCppLayer>(fileName);
}

} // namespace bench
