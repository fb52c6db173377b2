#ifndef ROWSTORE_VELDBQUERY_H
#define ROWSTORE_VELDBQUERY_H

#include <string>

#include "rowstore/VelDBDataRow.h"
#include "rowstore/VelDBTypes.h"

// The SQL texts of a table. Table names are pasted in as they are and must be plain SQL identifiers; a key's values are
// quoted, whatever bytes they hold. Thread-safe. All but build_query_for_where_clause can throw std::bad_alloc.

std::string composeCreate(const std::string& tableName);

/// The three statements that change rows. Each replaces the content of `query`, so that one string can be reused.
void composeInsert(const std::string& tableName, std::string& query);
void composeUpdate(const std::string& tableName, std::string& query);
void composeDelete(const std::string& tableName, std::string& query);

/// Returns the query of a read, or an empty string when its WHERE clause could not be built. A `col` or `dir` that is
/// no enumerator adds no ordering.
std::string composeRead(const std::string& tableName, const VelDBDataRowKey& key, veldbOrderByCol col,
                        veldbOrderByDir dir);

/// Appends the WHERE clause that selects by `key`, and a blank; nothing for a key without values. When out of memory,
/// logs it, leaves `query` unchanged and returns false.
bool build_query_for_where_clause(const VelDBDataRowKey& key, std::string& query);

/// The parameters of the update. The insert has all but the last; the delete has a row id alone.
enum WriteParameter : int { parameterIntcol1 = 1, parameterAppName, parameterRsvdName, parameterBlob, parameterRowid };
constexpr int parameterDeleteRowid = 1;

/// The result columns of a read. The row id is the last one.
enum ReadColumn : int { columnIntcol1 = 0, columnAppName, columnRsvdName, columnBlob };

#endif
