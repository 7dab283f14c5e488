// Exports of a mixed file, as whole programs on one thread, and what their libraries need for the same output.
#include "bench/data.h"
#include "bench/process.h"
#include "bench/table.h"
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <utility>
#include <zlib.h>

namespace bench {

namespace {

const std::string section = "exports";

std::vector<std::string> exportOf(
    const Options& options, const char* form, const std::string& file, const std::string& out, const char* threads = "1") {
    return {options.tramo, "export", "-j", threads, "--force", "--to", form, "--table", "records", "-o", out, file};
}

Usage run(const std::vector<std::string>& command, int expected = 0) {
    const Usage usage = runProgram(command);
    if (usage.status != expected) throw std::runtime_error("exit code " + std::to_string(usage.status));
    return usage;
}

class TemporaryFile {
public:
    TemporaryFile(const Options& options, const std::string& name) : path(options.folder + '/' + name) {}
    ~TemporaryFile() { std::filesystem::remove_all(path); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string path;
};

// --- SQLite ----------------------------------------------------------------------------------------------------------

class Database {
public:
    explicit Database(const std::string& path) { expect(sqlite3_open(path.c_str(), &handle), SQLITE_OK); }
    ~Database() { sqlite3_close(handle); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    static void expect(int result, int good) {
        if (result != good) throw std::runtime_error(sqlite3_errstr(result));
    }
    void run(const std::string& sql) { expect(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK); }

    sqlite3* handle = nullptr;
};

using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;
Statement prepared(Database& database, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    Database::expect(sqlite3_prepare_v2(database.handle, sql.c_str(), -1, &statement, nullptr), SQLITE_OK);
    return {statement, sqlite3_finalize};
}

using Value = std::unique_ptr<sqlite3_value, void (*)(sqlite3_value*)>;

// The rows of a database in memory, in the order in which an export inserts them: by line.
struct Rows {
    struct Row {
        long long line;
        std::size_t table;
        std::vector<Value> values;
    };
    std::vector<std::string> tables, definitions, later;  ///< what is created before the rows, and after them
    std::vector<Row> rows;

    explicit Rows(const std::string& path) {
        Database database(path);
        const Statement schema = prepared(database, "SELECT type, name, sql FROM sqlite_schema");
        const auto text = [&](int column) {
            return std::string(reinterpret_cast<const char*>(sqlite3_column_text(schema.get(), column)));
        };
        while (sqlite3_step(schema.get()) == SQLITE_ROW) {
            const bool isTable = text(0) == "table";
            (isTable ? definitions : later).push_back(text(2));
            if (isTable) tables.push_back(text(1));
        }
        for (std::size_t table = 0; table < tables.size(); ++table) {
            const Statement all = prepared(database, "SELECT * FROM \"" + tables[table] + '"');
            while (sqlite3_step(all.get()) == SQLITE_ROW) {
                Row& row = rows.emplace_back(Row{sqlite3_column_int64(all.get(), 0), table, {}});
                for (int i = 0; i < sqlite3_column_count(all.get()); ++i)
                    row.values.emplace_back(sqlite3_value_dup(sqlite3_column_value(all.get(), i)), sqlite3_value_free);
            }
        }
        std::ranges::stable_sort(rows, {}, &Row::line);
    }

    static void bind(sqlite3_stmt* statement, int place, sqlite3_value* value) {
        switch (sqlite3_value_type(value)) {
        case SQLITE_INTEGER: sqlite3_bind_int64(statement, place, sqlite3_value_int64(value)); break;
        case SQLITE_FLOAT: sqlite3_bind_double(statement, place, sqlite3_value_double(value)); break;
        case SQLITE_TEXT:
            sqlite3_bind_text(statement, place, reinterpret_cast<const char*>(sqlite3_value_text(value)),
                sqlite3_value_bytes(value), SQLITE_STATIC);
            break;
        default: break;
        }
    }

    void insertInto(const std::string& path) const {
        Database database(path);
        database.run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; BEGIN");
        for (const std::string& definition : definitions) database.run(definition);
        std::vector<Statement> insertions;
        for (std::size_t table = 0; table < tables.size(); ++table) {
            const Statement columns = prepared(database, "SELECT * FROM \"" + tables[table] + '"');
            std::string places = "?";
            for (int i = 1; i < sqlite3_column_count(columns.get()); ++i) places += ", ?";
            insertions.push_back(prepared(database, "INSERT INTO \"" + tables[table] + "\" VALUES (" + places + ')'));
        }
        for (const Row& row : rows) {
            sqlite3_stmt* const insertion = insertions[row.table].get();
            for (std::size_t i = 0; i < row.values.size(); ++i) bind(insertion, static_cast<int>(i) + 1, row.values[i].get());
            Database::expect(sqlite3_step(insertion), SQLITE_DONE);
            sqlite3_reset(insertion);
            sqlite3_clear_bindings(insertion);
        }
        for (const std::string& definition : later) database.run(definition);
        insertions.clear();
        database.run("COMMIT");
    }
};

void insertRows(benchmark::State& state, const Options& options) {
    const DataFile file = dataFile(options, "mixed", StrConv::ENCODING_ANSI);
    const TemporaryFile exported(options, "exported.db"), copy(options, "copied.db");
    run(exportOf(options, "sqlite", file.path, exported.path));
    const Rows rows(exported.path);
    for (auto _ : state) {
        std::filesystem::remove(copy.path);
        const Usage usage = runApart([&] { rows.insertInto(copy.path); });
        if (usage.status != 0) throw std::runtime_error("the rows were not inserted");
        state.SetIterationTime(usage.seconds);
    }
    if (std::filesystem::file_size(copy.path) != std::filesystem::file_size(exported.path))
        throw std::runtime_error("another database");
    setWork(state, file.records, file.bytes, file.characters);
}

// --- zlib ------------------------------------------------------------------------------------------------------------

// The content of the largest member of a workbook, which is stored as raw deflate data after its header.
std::vector<std::string> sheetsOf(const std::string& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    std::string archive(std::filesystem::file_size(path), '\0');
    if (!file || std::fread(archive.data(), 1, archive.size(), file.get()) != archive.size())
        throw std::runtime_error("cannot read " + path);
    const auto number = [&](std::size_t at, int bytes) {
        std::size_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value |= std::size_t{static_cast<unsigned char>(archive[at + static_cast<std::size_t>(i)])} << (8 * i);
        return value;
    };
    std::vector<std::string> members;
    for (std::size_t at = 0; archive.compare(at, 4, "PK\3\4") == 0;) {
        const std::size_t packed = number(at + 18, 4), size = number(at + 22, 4), from = at + 30 + number(at + 26, 2);
        std::string& member = members.emplace_back(size, '\0');
        z_stream stream{};
        inflateInit2(&stream, -15);
        stream.next_in = reinterpret_cast<Bytef*>(archive.data() + from);
        stream.avail_in = static_cast<uInt>(packed);
        stream.next_out = reinterpret_cast<Bytef*>(member.data());
        stream.avail_out = static_cast<uInt>(size);
        if (inflate(&stream, Z_FINISH) != Z_STREAM_END) throw std::runtime_error("cannot unpack " + path);
        inflateEnd(&stream);
        at = from + packed;
    }
    return members;
}

// Compresses as the tool does.
std::size_t packedSize(const std::string& text) {
    std::size_t size = 0;
    std::vector<Bytef> block(1 << 14);
    z_stream stream{};
    deflateInit2(&stream, 2, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    do {
        stream.next_out = block.data();
        stream.avail_out = static_cast<uInt>(block.size());
        deflate(&stream, Z_FINISH);
        size += block.size() - stream.avail_out;
    } while (stream.avail_out == 0);
    deflateEnd(&stream);
    return size;
}

void packSheets(benchmark::State& state, const Options& options) {
    const DataFile file = dataFile(options, "mixed", StrConv::ENCODING_ANSI);
    const TemporaryFile book(options, "exported.xlsx");
    run(exportOf(options, "xlsx", file.path, book.path));
    const std::vector<std::string> sheets = sheetsOf(book.path);
    for (auto _ : state)
        for (const std::string& sheet : sheets) benchmark::DoNotOptimize(packedSize(sheet));
    setWork(state, file.records, file.bytes, file.characters);
}

// --- Rows ------------------------------------------------------------------------------------------------------------

struct Given {
    DataFile file;
    std::shared_ptr<const ShapedFile> shaped;  ///< removes the file
};

struct Form {
    const char* name;
    double limit;     ///< times the hand-tuned reader
    const char* out;  ///< the output, a file or folder; nullptr: discarded
};
constexpr Form forms[] = {
    {"jsonl", 2.7, nullptr}, {"csv", 2.7, "exported"}, {"sqlite", 9, "exported.db"}, {"xlsx", 20, "exported.xlsx"}};

std::string nameOf(const Form& form) { return std::string("tramo export --to ") + form.name; }

}  // namespace

void addExports(std::vector<Row>& rows, const Options& options) {
    const auto add = [&](const std::string& name, const Form& form, auto makeFile, const char* threads, bool byTheClock,
                         int status, const Goal& goal) {
        const auto measured = [&options, form, makeFile, threads, byTheClock, status](benchmark::State& state) {
            const Given given = makeFile();
            const DataFile& file = given.file;
            const TemporaryFile output(options, form.out ? form.out : "none");
            for (auto _ : state) {
                std::filesystem::remove_all(output.path);
                const auto begin = std::chrono::steady_clock::now();
                const Usage usage = run(exportOf(options, form.name, file.path, form.out ? output.path : "-", threads), status);
                const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
                state.SetIterationTime(byTheClock ? taken.count() : usage.seconds);
            }
            setWork(state, file.records, file.bytes, file.characters);
        };
        rows.push_back({.section = section, .name = name, .run = measured, .goal = goal, .tellsTime = true});
    };
    const auto mixed = [&options](int encoding) {
        return [&options, encoding] { return Given{dataFile(options, "mixed", encoding), nullptr}; };
    };
    for (const Form& form : forms) {
        const std::string name = nameOf(form);
        add(name, form, mixed(StrConv::ENCODING_ANSI), "1", false, 0,
            {form.limit, fullName(references, "hand-tuned"), Goal::Record});
        add(name + ", UTF-16", form, mixed(StrConv::ENCODING_UTF16LE), "1", false, 0,
            {1.5, fullName(section, name), Goal::Record});
        add(name + ", by the clock", form, mixed(StrConv::ENCODING_ANSI), "1", true, 0, {});
        add(name + ", by the clock, two threads", form, mixed(StrConv::ENCODING_ANSI), "2", true, 0,
            {1 / 1.8, fullName(section, name + ", by the clock"), Goal::Record});
        const auto allBad = [&options] {
            const std::size_t bytes = options.others() * 514;
            auto shaped = std::make_shared<ShapedFile>(options, Shape::AllBad, bytes);
            const DataFile file{shaped->path, StrConv::ENCODING_ANSI, options.others(), bytes, bytes};
            return Given{file, std::move(shaped)};
        };
        const auto randomDates = [&options] { return Given{dataFile(options, "random dates", StrConv::ENCODING_ANSI), nullptr}; };
        add(name + ", random dates", form, randomDates, "1", false, 0, {4, fullName(section, name), Goal::Record});
        add(name + ", every field bad", form, allBad, "1", false, 1, {4, fullName(section, name), Goal::Record});
    }
    const std::string ownInsert = "SQLite: insert the same rows";
    const Form& sqlite = forms[2];
    add(nameOf(sqlite) + ", against SQLite", sqlite, mixed(StrConv::ENCODING_ANSI), "1", false, 0,
        {1.3, fullName(section, ownInsert), Goal::Record});
    rows.push_back({section, ownInsert, [&](benchmark::State& state) { insertRows(state, options); }, {}, true, true});
    rows.push_back({section, "zlib: compress the same sheets", [&](benchmark::State& state) { packSheets(state, options); }});
}

}  // namespace bench
