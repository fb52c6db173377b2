#ifndef ROWSTORE_VELDBCONNECTION_H
#define ROWSTORE_VELDBCONNECTION_H

#include <string>

#include "rowstore/VelDBTypes.h"

struct sqlite3;

// Opening and closing a store's connection. Nothing here throws; failures are logged. `db` is the store's handle, null
// while no connection is open. The path is `dbDir` and `dbFileName` joined as they are, or an in-memory database when
// `dbFileName` is empty. Not thread-safe.

/// Opens the database, creates a missing file, and switches it to write-ahead logging. A database that stays in another
/// journal mode is used as it is. Returns VELDB_FAILURE, with `db` null, when it cannot be opened.
/// `db` must be null: an open connection would be lost.
veldbError openConnection(const std::string& dbDir, const std::string& dbFileName, sqlite3*& db);

/// Closes the connection, if there is one, and sets `db` to null. Returns VELDB_FAILURE when SQLite refuses; the
/// connection then stays open until the process ends.
veldbError closeConnection(const std::string& dbDir, const std::string& dbFileName, sqlite3*& db);

/// Creates the table unless it exists. Returns VELDB_FAILURE when SQLite refuses. Returns VELDB_SUCCESS and does
/// nothing when `db` is null or when out of memory.
veldbError createTable(sqlite3* db, const std::string& tableName);

#endif
