#ifndef ROWSTORE_VELDBQUERY_H
#define ROWSTORE_VELDBQUERY_H

#include <string>

#include "rowstore/VelDBDataRowKey.h"
#include "rowstore/VelDBTypes.h"

// The SQL texts of a table, composed here and nowhere else. Table names are pasted in as they stand and must be plain
// SQL identifiers; a key's values are quoted, whatever bytes they hold. Everything here throws std::bad_alloc and
// nothing else, keeps no state, and may be called from any thread.

/// The statement that creates the table unless it exists.
std::string composeCreate(const std::string& tableName);

/// The three statements that change rows. Each replaces what `query` held, so that one text can serve in turn.
void composeInsert(const std::string& tableName, std::string& query);
void composeUpdate(const std::string& tableName, std::string& query);
void composeDelete(const std::string& tableName, std::string& query);

/// Composes the beginning of a read's query, up to and with the blank after the table's name; appendWhereClause and
/// appendOrderBy complete it. Takes the memory of the whole query at once.
std::string composeRead(const std::string& tableName, const VelDBDataRowKey& key);

/// Appends the WHERE clause that selects by `key`, and one blank, to `query`; nothing for a key without values.
/// All or nothing: when memory runs out `query` is unchanged.
void appendWhereClause(const VelDBDataRowKey& key, std::string& query);

/// Appends the ordering. A `col` of veldbOrderByNone, or anything outside the enumerators, adds nothing. When memory
/// runs out, part of it may have been appended.
void appendOrderBy(veldbOrderByCol col, veldbOrderByDir dir, std::string& query);

/// The parameters of the update; the insert has all but the last. The only one of the delete is its row id.
enum WriteParameter : int { parameterIntcol1 = 1, parameterAppName, parameterRsvdName, parameterBlob, parameterRowid };
constexpr int parameterDeleteRowid = 1;

/// The result columns of a read; the row id follows as the last one.
enum ReadColumn : int { columnIntcol1 = 0, columnAppName, columnRsvdName, columnBlob };

#endif
