#include "cli/tables/database.h"
#include "cli/io/platform.h"
#include "cli/lines/input.h"
#include <array>
#include <cerrno>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <new>
#include <sqlite3.h>
#include <utility>

namespace tramo::cli {

namespace {

// As SQLite's "URI filenames" have it.
std::string unchangingFile(const std::string& path) {
    std::string uri = path.starts_with('/') ? "file://" : "file:";
    for (const char c : path) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' || c == '.';
        uri += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return uri + "?immutable=1";
}

}  // namespace

bool hasLog(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(openFile(path, "rb"), std::fclose);
    std::array<char, 20> header{};
    return file && readFrom(file.get(), header.data(), header.size()) == header.size() && header[18] == 2;
}

Database::Database(const std::string& path, std::string calledName, Access wanted) : name(std::move(calledName)), access(wanted) {
    int flags = SQLITE_OPEN_NOMUTEX | (access == Read || access == Unchanging ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
    if (access == Unchanging) flags |= SQLITE_OPEN_URI;
    const std::string& file = access == Unchanging ? unchangingFile(path) : path;
    const int result = sqlite3_open_v2(file.c_str(), &database, flags, nullptr);
    try {
        expect(result, SQLITE_OK);
        if (access != Alone) return;
        if (sqlite3_db_readonly(database, "main") != 0)
            throw Unreadable{"has changes in its file \"-wal\"; only users who may write to the database can read them"};
        sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        run("PRAGMA locking_mode = EXCLUSIVE; PRAGMA query_only = ON");
    } catch (...) {
        close();
        throw;
    }
}

void Database::run(const char* sql) { expect(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK); }

bool Database::lock() {
    const int result = sqlite3_exec(database, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) & 0xFF;
    return result != SQLITE_BUSY && result != SQLITE_LOCKED;
}

long long Database::lastRow() const { return sqlite3_last_insert_rowid(database); }

std::uint64_t Database::longestValue() const {
    return static_cast<std::uint64_t>(sqlite3_limit(database, SQLITE_LIMIT_LENGTH, -1));
}

void Database::close() { sqlite3_close(std::exchange(database, nullptr)); }

void Database::expect(int result, int good) const {
    if (result == good) return;
    if ((result & 0xFF) == SQLITE_NOMEM) throw std::bad_alloc();
    int error = sqlite3_system_errno(database);
    if (error == 0) sqlite3_file_control(database, "main", SQLITE_FCNTL_LAST_ERRNO, &error);
    if (access != Write && error) throw Unreadable{reasonOf(error)};
    if (access != Write) throw Unreadable{"as a SQLite database: " + std::string(sqlite3_errmsg(database))};
    if (result == SQLITE_FULL) error = ENOSPC;
    else if (result == SQLITE_TOOBIG) error = EFBIG;
    throw WriteFailed{name, error ? error : EIO};
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

void Statement::bindZeros(int place, std::uint64_t size) {
    database.expect(sqlite3_bind_zeroblob64(statement, place, size), SQLITE_OK);
}

void Statement::bindNull(int place) { database.expect(sqlite3_bind_null(statement, place), SQLITE_OK); }

bool Statement::step() {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_ROW) return true;
    database.expect(result, SQLITE_DONE);
    return false;
}

void Statement::rewind() { sqlite3_reset(statement); }

void Statement::reset() {
    rewind();
    sqlite3_clear_bindings(statement);
}

void Statement::close() { sqlite3_finalize(std::exchange(statement, nullptr)); }

BlobWriter::BlobWriter(Database& in, const std::string& table, const std::string& column, long long row) : database(in) {
    try {
        database.expect(sqlite3_blob_open(database.handle(), "main", table.c_str(), column.c_str(), row, 1, &blob), SQLITE_OK);
    } catch (...) {
        close();
        throw;
    }
}

void BlobWriter::write(std::string_view bytes) {
    database.expect(sqlite3_blob_write(blob, bytes.data(), static_cast<int>(bytes.size()), at), SQLITE_OK);
    at += static_cast<int>(bytes.size());
}

void BlobWriter::close() { sqlite3_blob_close(std::exchange(blob, nullptr)); }

}  // namespace tramo::cli
