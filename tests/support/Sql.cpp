#include "tests/support/Sql.h"

#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace {

// One statement a line. Written inside SQLite's frames: a fixed buffer, nothing that throws.
char traced[1 << 16];
std::size_t tracedSize = 0;

int record(unsigned /*event*/, void* /*context*/, void* /*statement*/, void* text) {
    const auto* sql = static_cast<const char*>(text);
    const std::size_t size = std::strlen(sql);
    if (tracedSize + size + 1 < sizeof(traced)) {
        std::memcpy(traced + tracedSize, sql, size);
        tracedSize += size;
        traced[tracedSize++] = '\n';
    }
    return 0;
}

int installTrace(sqlite3* db, char** /*message*/, const sqlite3_api_routines* /*api*/) {
    return sqlite3_trace_v2(db, SQLITE_TRACE_STMT, record, nullptr);
}

void (*traceEntry())() { return reinterpret_cast<void (*)()>(installTrace); }

std::string printed(sqlite3_stmt* statement, int column) {
    const int type = sqlite3_column_type(statement, column);
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
    const std::string value(bytes == nullptr ? "" : bytes,
                            static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    if (type == SQLITE_TEXT) {
        return "'" + value + "'";
    }
    if (type != SQLITE_BLOB) {
        return type == SQLITE_NULL ? "NULL" : value;
    }
    std::string digits = "X'";
    for (const char byte : value) {
        char pair[3];
        std::snprintf(pair, sizeof(pair), "%02X", static_cast<unsigned char>(byte));
        digits += pair;
    }
    return digits + "'";
}

std::string printedRow(sqlite3_stmt* statement) {
    std::string row;
    for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        row += (column == 0 ? "" : "|") + printed(statement, column);
    }
    return row;
}

} // namespace

Sql::Sql(const std::filesystem::path& file) {
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        throw std::runtime_error("cannot open " + file.string());
    }
    sqlite3_trace_v2(db, 0, nullptr, nullptr);
}

Sql::~Sql() { sqlite3_close(db); }

std::vector<std::string> Sql::run(const std::string& statements) {
    std::vector<std::string> rows;
    for (const char* rest = statements.c_str(); *rest != '\0';) {
        sqlite3_stmt* statement = nullptr;
        int code = sqlite3_prepare_v2(db, rest, -1, &statement, &rest);
        while (code == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW) {
            rows.push_back(printedRow(statement));
        }
        if (code != SQLITE_OK || sqlite3_finalize(statement) != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(db));
        }
    }
    return rows;
}

StatementTrace::StatementTrace() {
    tracedSize = 0;
    sqlite3_auto_extension(traceEntry());
}

StatementTrace::~StatementTrace() { sqlite3_cancel_auto_extension(traceEntry()); }

std::vector<std::string> StatementTrace::take() {
    std::istringstream text(std::string(traced, tracedSize));
    tracedSize = 0;
    std::vector<std::string> statements;
    for (std::string statement; std::getline(text, statement);) {
        statements.push_back(statement);
    }
    return statements;
}
