#include "rowstore/VelDBRowReader.h"

#include <cstring>
#include <new>

#include <sqlite3.h>

#include "rowstore/VelDBLog.h"
#include "rowstore/VelDBQuery.h"

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
    // The step tells only that there is no row; the reset tells whether that was a failure, and which.
    const int failure = sqlite3_reset(statement.get());
    if (failure != SQLITE_OK) {
        log.sqlCode(failure);
    }
    return false;
}

void VelDBRowReader::fill(const VelDBRowRef& row) {
    if (sqlite3_column_text(statement.get(), columnIntcol1) != nullptr) {
        row.intcol1 = sqlite3_column_int(statement.get(), columnIntcol1);
    } else {
        requireMemory();
    }
    assignText(columnAppName, row.appName);
    assignText(columnRsvdName, row.rsvdName);
    assignPayload(row.payload, row.payloadSize);
    // The row id comes last. A table with more columns than ours has it further on, and the value in its place would be
    // taken for the id of another row.
    row.rowid = sqlite3_column_int64(statement.get(), sqlite3_column_count(statement.get()) - 1);
}

void VelDBRowReader::assignText(int column, std::string& text) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), column));
    if (bytes == nullptr) {
        requireMemory();
        return;
    }
    // With its length: a text may hold any bytes, NUL included.
    text.assign(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column)));
}

void VelDBRowReader::assignPayload(void* payload, unsigned size) {
    const void* blob = sqlite3_column_blob(statement.get(), columnBlob);
    if (blob == nullptr) {
        requireMemory();
    }
    const auto stored = static_cast<unsigned>(sqlite3_column_bytes(statement.get(), columnBlob));
    const unsigned copied = VelDB_memscpy(payload, size, blob, blob != nullptr ? stored : 0);
    std::memset(static_cast<char*>(payload) + copied, 0, size - copied);
}

// SQLite answers NULL also when it could not convert a value for want of memory. Taken for a NULL column, the row would
// lose that value when it is written back.
void VelDBRowReader::requireMemory() {
    if (sqlite3_errcode(db) == SQLITE_NOMEM) {
        throw std::bad_alloc();
    }
}

void VelDBRowReader::finalize() {
    const int failure = statement.finalize();
    if (failure != SQLITE_OK) {
        log.sqlCode(failure);
    }
}
