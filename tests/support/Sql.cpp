#include "tests/support/Sql.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

// Written inside SQLite's frames: a fixed buffer, nothing that throws. Each statement ends in a newline.
char traced[1 << 16];
std::size_t tracedSize = 0;

int record(unsigned /*event*/, void* /*context*/, void* /*statement*/, void* text) {
    const int size = std::snprintf(traced + tracedSize, sizeof(traced) - tracedSize, "%s\n", static_cast<char*>(text));
    tracedSize = std::min(tracedSize + static_cast<std::size_t>(size), sizeof(traced) - 1);
    return 0;
}

int installTrace(sqlite3* db, char** /*message*/, const sqlite3_api_routines* /*api*/) {
    return sqlite3_trace_v2(db, SQLITE_TRACE_STMT, record, nullptr);
}

void (*traceEntry())() { return reinterpret_cast<void (*)()>(installTrace); }

} // namespace

Sql::Sql(const std::filesystem::path& file) {
    sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr); // run() throws on failure
    sqlite3_trace_v2(db, 0, nullptr, nullptr); // ends a StatementTrace of this connection
}

Lines Sql::run(const std::string& statements) {
    Lines answers;
    const auto keepFirst = [](void* to, int /*count*/, char** columns, char** /*names*/) noexcept {
        static_cast<Lines*>(to)->emplace_back(columns[0]);
        return 0;
    };
    if (sqlite3_exec(db, statements.c_str(), keepFirst, &answers, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(db));
    }
    return answers;
}

Lines Sql::table(const std::string& name, const std::string& condition) {
    const std::string columns = "rowid || ',' || quote(intcol1) || ',' || quote(appName) || ',' || quote(rsvdName) || "
                                "',' || quote(blob)";
    return run("SELECT " + columns + " FROM " + name + " WHERE " + condition + " ORDER BY rowid");
}

StatementTrace::StatementTrace() {
    tracedSize = 0;
    sqlite3_auto_extension(traceEntry());
}

StatementTrace::~StatementTrace() { sqlite3_cancel_auto_extension(traceEntry()); }

Lines StatementTrace::take() {
    std::istringstream text(std::string(traced, std::exchange(tracedSize, 0)));
    Lines statements;
    for (std::string statement; std::getline(text, statement);) {
        statements.push_back(statement);
    }
    return statements;
}
