#include "rowstore/VelDBQuery.h"

#include <charconv>
#include <cstddef>
#include <string_view>

#include "rowstore/VelDBLog.h"

namespace {

// A read asks for "*", so ReadColumn follows the order of these columns. The row values of update and select need
// SQLite 3.15.
constexpr std::string_view schema = "(intcol1 INTEGER, appName TEXT NOT null, rsvdName TEXT, blob BLOB)";
constexpr std::string_view insertColumns = "(intcol1, appName, rsvdName, blob) VALUES (?,?,?,?)";
constexpr std::string_view updateVerb = "UPDATE ";
constexpr std::string_view updateColumns = " SET (intcol1, appName, rsvdName, blob) = (?,?,?,?) WHERE (rowid) = (?)";
constexpr std::string_view deleteSelection = " WHERE (rowid) = (?)";
constexpr std::string_view readPrefix = "SELECT *, rowid FROM ";
constexpr std::string_view orderBy = " ORDER BY ";
constexpr std::string_view orderColumns[] = {"", "appName", "rsvdName", "intcol1"};
constexpr std::string_view orderWords[] = {"", "ASC", "DESC"};

/// "WHERE (appName,rsvdName,intcol1) = ('','',-2147483648) " without the two values, rounded up.
constexpr std::size_t clauseFrame = 64;
/// " ORDER BY rsvdName DESC", rounded up.
constexpr std::size_t orderCapacity = 32;

void compose(std::string& query, std::string_view verb, const std::string& tableName, std::string_view rest) {
    query.clear();
    query.reserve(verb.size() + tableName.size() + rest.size());
    query.append(verb).append(tableName).append(rest);
}

/// The most bytes that the clause of `key` can take: every quote in a value is doubled.
std::size_t clauseCapacity(const VelDBDataRowKey& key) {
    return clauseFrame + 2 * (key.appName.size() + key.rsvdName.size());
}

/// Every quote is doubled, so that no value can end its own literal.
void appendQuoted(const std::string& value, std::string& query) {
    query += '\'';
    std::size_t copied = 0;
    for (std::size_t quote = value.find('\''); quote != std::string::npos; quote = value.find('\'', quote + 1)) {
        query.append(value, copied, quote + 1 - copied).append(1, '\'');
        copied = quote + 1;
    }
    query.append(value, copied).append(1, '\'');
}

/// Not std::to_string, which may allocate.
void appendNumber(int value, std::string& query) {
    char digits[16];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof(digits), value);
    query.append(digits, end.ptr);
}

/// Puts a comma between the items of a list.
class CommaList {
public:
    explicit CommaList(std::string& query) : text(query) {}

    std::string& next() {
        if (started) {
            text += ',';
        }
        started = true;
        return text;
    }

private:
    std::string& text;
    bool started = false;
};

bool selectsByNumber(const VelDBDataRowKey& key) { return key.intcol1 != VELDB_NO_VALUE; }

bool selectsAll(const VelDBDataRowKey& key) {
    return key.appName.empty() && key.rsvdName.empty() && !selectsByNumber(key);
}

void appendColumns(const VelDBDataRowKey& key, std::string& query) {
    CommaList columns(query);
    if (!key.appName.empty()) {
        columns.next() += "appName";
    }
    if (!key.rsvdName.empty()) {
        columns.next() += "rsvdName";
    }
    if (selectsByNumber(key)) {
        columns.next() += "intcol1";
    }
}

/// In the order in which appendColumns names the columns.
void appendValues(const VelDBDataRowKey& key, std::string& query) {
    CommaList values(query);
    if (!key.appName.empty()) {
        appendQuoted(key.appName, values.next());
    }
    if (!key.rsvdName.empty()) {
        appendQuoted(key.rsvdName, values.next());
    }
    if (selectsByNumber(key)) {
        appendNumber(key.intcol1, values.next());
    }
}

void appendOrderBy(veldbOrderByCol col, veldbOrderByDir dir, std::string& query) {
    // Checked, because both index an array and a caller can cast any number to an enumeration.
    const bool known =
        col > veldbOrderByNone && col <= veldbOrderByIntcol1 && dir >= veldbDirNone && dir <= veldbDirDesc;
    if (known) {
        query.append(orderBy).append(orderColumns[col]).append(1, ' ').append(orderWords[dir]);
    }
}

} // namespace

std::string composeCreate(const std::string& tableName) {
    std::string query;
    compose(query, "CREATE TABLE IF NOT EXISTS ", tableName, schema);
    return query;
}

void composeInsert(const std::string& tableName, std::string& query) {
    query.reserve(updateVerb.size() + tableName.size() + updateColumns.size()); // enough for the update, composed next
    compose(query, "INSERT INTO ", tableName, insertColumns);
}

void composeUpdate(const std::string& tableName, std::string& query) {
    compose(query, updateVerb, tableName, updateColumns);
}

void composeDelete(const std::string& tableName, std::string& query) {
    compose(query, "DELETE FROM ", tableName, deleteSelection);
}

std::string composeRead(const std::string& tableName, const VelDBDataRowKey& key, veldbOrderByCol col,
                        veldbOrderByDir dir) {
    std::string query;
    // Reserves the whole query first, so that the clause cannot fail halfway.
    query.reserve(readPrefix.size() + tableName.size() + 1 + clauseCapacity(key) + orderCapacity);
    query.append(readPrefix).append(tableName).append(1, ' ');
    if (!build_query_for_where_clause(key, query)) {
        return {}; // without its clause the query would select every application's rows
    }
    appendOrderBy(col, dir, query);
    return query;
}

bool build_query_for_where_clause(const VelDBDataRowKey& key, std::string& query) {
    try {
        if (!selectsAll(key)) {
            query.reserve(query.size() + clauseCapacity(key));
            query += "WHERE (";
            appendColumns(key, query);
            query += ") = (";
            appendValues(key, query);
            query += ") ";
        }
        return true;
    } catch (...) {
        VelDBLog("build_query_for_where_clause", "").caughtInClause();
        return false;
    }
}
