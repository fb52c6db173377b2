#ifndef ROWSTORE_VELDBCONNECTION_H
#define ROWSTORE_VELDBCONNECTION_H

#include <string>

#include "rowstore/VelDBTypes.h"

struct sqlite3;

// What opening and closing a store does to its connection, whatever its payload types. Nothing here throws. `db` is the
// store's handle, null while no connection is open; one thread at a time may use it. `dbDir` and `dbFileName` make the
// path: plainly joined, or an in-memory database when the file name is empty.

/// Opens the connection, the file created when missing, and switches a file to write-ahead logging; a database that
/// stays in another journal mode is used all the same. Returns VELDB_FAILURE, with `db` null, when it cannot be opened.
/// Failures are logged as of "openVeldb". `db` must be null: a connection that is still open would be lost.
veldbError openConnection(const std::string& dbDir, const std::string& dbFileName, sqlite3*& db);

/// Closes the connection, if there is one, and makes `db` null whatever SQLite answers. Returns VELDB_FAILURE, logged
/// as of "closeVeldb", when SQLite refused: the connection then stays open until the process ends.
veldbError closeConnection(const std::string& dbDir, const std::string& dbFileName, sqlite3*& db);

/// Creates the table if it does not exist; an existing one is left as it is. Returns VELDB_FAILURE when SQLite refused,
/// and VELDB_SUCCESS without having done anything when `db` is null or memory for the statement's text ran out.
/// Failures are logged as of "createVeldbTables".
veldbError createTable(sqlite3* db, const std::string& tableName);

#endif
