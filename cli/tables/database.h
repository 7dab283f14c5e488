// SQLite's C interface; every result is checked.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_blob;
struct sqlite3_stmt;

namespace tramo::cli {

/// What goes wrong while writing throws WriteFailed, while reading Unreadable.
class Database {
public:
    /// Unchanging: nobody writes to it, so that no lock is needed. Alone: nobody else reads or writes to it meanwhile. Both
    /// leave no file beside a database with a write-ahead log; Alone also reads what is in the log.
    enum Access { Read, Unchanging, Alone, Write };

    /// `name`: how the user calls the file.
    Database(const std::string& path, std::string name, Access access);
    ~Database() { close(); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void run(const char* sql);

    /// Locks it for all others until it is closed. Returns false if another program uses it.
    bool lock();
    void close();

    sqlite3* handle() const { return database; }

    /// The number of the row that was inserted last.
    long long lastRow() const;

    /// Of texts and blobs, in bytes.
    std::uint64_t longestValue() const;

    /// Throws unless the result of the last call is `good`.
    void expect(int result, int good) const;

private:
    std::string name;
    Access access;
    sqlite3* database = nullptr;
};

/// Whether a file is a database with a write-ahead log, which may have a part of its content in files beside it.
bool hasLog(const std::string& path);

/// Parameters and columns are numbered as in SQLite: from 1, and from 0.
class Statement {
public:
    Statement(Database& database, const std::string& sql);
    ~Statement() { close(); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// The text must stay until the value is replaced or removed.
    void bind(int place, std::string_view text);
    void bind(int place, long long number);
    void bind(int place, double number);
    void bindZeros(int place, std::uint64_t size);  ///< a blob, to be filled later
    void bindNull(int place);

    /// Whether there is a row.
    bool step();

    /// Ready for the next step: with the same values, or without.
    void rewind();
    void reset();
    void close();

    sqlite3_stmt* handle() const { return statement; }

private:
    Database& database;
    sqlite3_stmt* statement = nullptr;
};

/// Writes into a blob that is there, from its beginning.
class BlobWriter {
public:
    BlobWriter(Database& database, const std::string& table, const std::string& column, long long row);
    ~BlobWriter() { close(); }
    BlobWriter(const BlobWriter&) = delete;
    BlobWriter& operator=(const BlobWriter&) = delete;

    void write(std::string_view bytes);
    void close();

private:
    Database& database;
    sqlite3_blob* blob = nullptr;
    int at = 0;
};

}  // namespace tramo::cli
