#include "database.h"
#include "input.h"
#include "platform.h"
#include <cerrno>
#include <new>
#include <sqlite3.h>
#include <utility>

namespace tramo::cli {

Database::Database(const std::string& path, std::string calledName, Access wanted) : name(std::move(calledName)), access(wanted) {
    const int answer = sqlite3_open_v2(
        path.c_str(), &database, (access == Write ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) | SQLITE_OPEN_NOMUTEX, nullptr);
    if (answer == SQLITE_OK) return;
    try {
        expect(answer, SQLITE_OK);
    } catch (...) {
        close();
        throw;
    }
}

void Database::run(const char* sql) { expect(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK); }

void Database::close() { sqlite3_close(std::exchange(database, nullptr)); }

void Database::expect(int answer, int good) const {
    if (answer == good) return;
    if ((answer & 0xFF) == SQLITE_NOMEM) throw std::bad_alloc();
    const int error = sqlite3_system_errno(database);
    if (access == Read && error) throw Unreadable{reasonOf(error)};
    if (access == Read) throw Unreadable{"as a SQLite database: " + std::string(sqlite3_errmsg(database))};
    throw WriteFailed{name, answer == SQLITE_FULL ? ENOSPC : answer == SQLITE_TOOBIG ? EFBIG : error ? error : EIO};
}

Statement::Statement(Database& in, const std::string& sql) : database(in) {
    database.expect(
        sqlite3_prepare_v2(database.handle(), sql.c_str(), static_cast<int>(sql.size()) + 1, &statement, nullptr), SQLITE_OK);
}

void Statement::bind(int place, std::string_view text) {
    database.expect(sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8), SQLITE_OK);
}
void Statement::bind(int place, long long number) { database.expect(sqlite3_bind_int64(statement, place, number), SQLITE_OK); }
void Statement::bind(int place, double number) { database.expect(sqlite3_bind_double(statement, place, number), SQLITE_OK); }

bool Statement::step() {
    const int answer = sqlite3_step(statement);
    if (answer == SQLITE_ROW) return true;
    database.expect(answer, SQLITE_DONE);
    return false;
}

void Statement::reset() {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
}

void Statement::close() { sqlite3_finalize(std::exchange(statement, nullptr)); }

}  // namespace tramo::cli
