#include "rowstore/VelDBRowReader.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"
#include "rowstore/VelDBTypes.h"

namespace {

/// NULL leaves `number` as it is.
void assignNumber(sqlite3_stmt* statement, std::int32_t& number) {
    // A value of any type has a text; NULL alone has none.
    if (sqlite3_column_text(statement, columnIntcol1) != nullptr) {
        number = sqlite3_column_int(statement, columnIntcol1);
    }
}

/// NULL leaves `text` as it is.
void assignText(sqlite3_stmt* statement, int column, std::string& text) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    if (bytes != nullptr) {
        // With its length: a text may hold any bytes, NUL included.
        text.assign(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    }
}

/// Takes as many bytes of the blob as there are and fit, and clears the rest of the payload.
void assignPayload(sqlite3_stmt* statement, void* payload, unsigned size) {
    const void* blob = sqlite3_column_blob(statement, columnBlob);
    const auto stored = static_cast<unsigned>(sqlite3_column_bytes(statement, columnBlob));
    const unsigned copied = VelDB_memscpy(payload, size, blob, blob != nullptr ? stored : 0);
    if (copied < size) {
        std::memset(static_cast<char*>(payload) + copied, 0, size - copied);
    }
}

} // namespace

VelDBRowReader::VelDBRowReader(sqlite3* connection, const VelDBLog& operationLog) : db(connection), log(operationLog) {}

bool VelDBRowReader::prepare(const std::string& query) {
    if (!statement.prepare(db, query)) {
        log.sqlMessage(db);
        return false;
    }
    return true;
}

bool VelDBRowReader::next() {
    if (sqlite3_step(statement.get()) == SQLITE_ROW) {
        return true;
    }
    // Done and failed alike end the read; the reset answers 0 for the one and the failure's code for the other.
    log.sqlResult(sqlite3_reset(statement.get()));
    return false;
}

void VelDBRowReader::fill(const VelDBRowRef& row) {
    sqlite3_stmt* current = statement.get();
    assignNumber(current, row.intcol1);
    assignText(current, columnAppName, row.appName);
    assignText(current, columnRsvdName, row.rsvdName);
    assignPayload(current, row.payload, row.payloadSize);
    // The row id comes last. A table with more columns than ours has it further on, and the value in its place would be
    // taken for the id of another row.
    row.rowid = sqlite3_column_int64(current, sqlite3_column_count(current) - 1);
    // SQLite answers NULL also when it could not convert a value for want of memory, and remembers that until the next
    // step. Taken for a NULL column, the row would lose that value when it is written back.
    if (sqlite3_errcode(db) == SQLITE_NOMEM) {
        throw std::bad_alloc();
    }
}

void VelDBRowReader::finalize() { log.sqlResult(statement.finalize()); }
