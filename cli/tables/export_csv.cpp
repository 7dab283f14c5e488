// Rows as comma-separated values: UTF-8, lines end with CR LF, and no cell begins a formula.
#include "cli/io/bufferedfile.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/io/usage.h"
#include "cli/tables/appender.h"
#include "cli/tables/celltext.h"
#include "cli/tables/sink.h"
#include "common/encoding.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace {

// Writes the cells of a row, each after its comma.
class Cells {
public:
    Cells(Appender& to, bool isAfterLead) : out(to), begun(isAfterLead ? 0 : 1) {}

    void text(std::size_t column, std::wstring_view value) {
        begin(column);
        out.use([&](fmt::memory_buffer& to) { appendCsv(to, value); });
    }
    void text(std::size_t column, std::string_view value) {
        begin(column);
        appendCsv(out, value);
    }
    void ascii(std::size_t column, std::string_view value) {
        begin(column);
        out.addShort(value);
    }
    void number(std::size_t column, long long value) {
        begin(column);
        out.add(value);
    }
    void number(std::size_t column, double value) {
        begin(column);
        out.add(value);
    }
    void digits(std::size_t column, std::string_view shortest) {
        begin(column);
        out.addShort(shortest);
    }
    void flag(std::size_t column, bool value) {
        begin(column);
        out.add(value ? '1' : '0');
    }

    /// Skips the cells before a column.
    void begin(std::size_t column) {
        constexpr std::string_view commas = ",,,,,,,,,,,,,,,,";
        const std::size_t count = column + 1 - begun;
        char* const to = out.room(count + commas.size());
        for (std::size_t i = 0; i < count; i += commas.size()) std::memcpy(to + i, commas.data(), commas.size());
        out.end(to + count);
        begun += count;
    }

private:
    Appender& out;
    std::size_t begun;  ///< columns with their comma, which the first column of a line does not need
};

// Writes the beginning of a row and its cells.
template <class WriteCells> void appendRow(const Table& table, long long line, Appender& out, WriteCells write) {
    if (table.hasLead) {
        out.add(line);
        out.add(',');
        out.add(std::string_view(table.name));
    }
    const std::size_t before = out.size();
    Cells cells(out, table.hasLead);
    write(cells);
    cells.begin(table.columns.size() - 1);
    if (out.size() == before) out.add(std::string_view("\"\""));  // a line without a cell is not a row
}

// Both forms of output describe a row as a line.
bool describeLine(const TableRow& row, DescribedRows& to) {
    if (row.longText || row.table->holdsKeys) return false;
    to.begin(*row.table, row.line);
    Appender out(to.text);
    appendRow(*row.table, row.line, out, [&](Cells& cells) { writeCells(row, cells); });
    out.add(std::string_view("\r\n"));
    return true;
}

void describeLine(const PlainRow& row, DescribedRows& to) {
    to.begin(row.table(), row.line());
    Appender out(to.text);
    appendRow(row.table(), row.line(), out, [&](Cells& cells) { row.write(cells); });
    out.add(std::string_view("\r\n"));
}

class CsvFile {
public:
    CsvFile(const std::string& path, OutFile::Mode mode, const Table& of, bool bom, const std::string& name = {})
        : file(path, withKeysOf(mode, of), name), table(of) {
        if (bom) file.print("{}", encoding::utf8Mark);
        bool isFirst = !table.hasLead;
        if (table.hasLead) file.print("line,kind");
        for (const Column& column : table.columns) file.print("{}{}", std::exchange(isFirst, false) ? "" : ",", column.name);
        file.print("\r\n");
    }

    bool isOf(const Table& other) const { return &table == &other; }

    void put(std::string_view lines) { file.add(lines); }

    void put(const TableRow& row) {
        {
            Appender out(file.text);
            appendRow(table, row.line, out, [&](Cells& cells) { writeCells(row, cells); });
        }
        if (row.longText) append(*row.longText);
        file.print("\r\n");
        file.settle();
    }

    void commit() { file.commit(); }

private:
    static OutFile::Mode withKeysOf(OutFile::Mode mode, const Table& of) {
        mode.keys &= of.holdsKeys;
        return mode;
    }

    void append(const LongText& text) {
        bool isFirst = true;
        file.text.push_back('"');
        text.forEachPiece([&](std::wstring_view piece) {
            appendCsvCharacters(file.text, escaped(piece, std::exchange(isFirst, false)));
            file.settle();
        });
        file.text.push_back('"');
    }

    BufferedFile file;
    const Table& table;
};

// Writes nothing before it is certain that one file is enough; output for a stream is held until then.
class SingleCsv : public Sink {
public:
    SingleCsv(std::string to, OutFile::Mode chosen, const SinkOptions& options)
        : path(std::move(to)), mode(chosen), bom(options.bom) {
        mode.held = !options.oneKind;
    }

    bool describe(const TableRow& row, DescribedRows& to) const override { return describeLine(row, to); }
    void describe(const PlainRow& row, DescribedRows& to) const override { describeLine(row, to); }

    void put(const TableRow& row) override { fileFor(*row.table, row.line).put(row); }
    void put(const DescribedRows& rows) override {
        rows.forEachRun([&](const Table& table, long long line, std::string_view text) { fileFor(table, line).put(text); });
    }

    void finish(std::span<const Source>) override {
        if (file) file->commit();
        else BufferedFile(path, mode).commit();
    }

private:
    CsvFile& fileFor(const Table& table, long long line) {
        if (!file) file = std::make_unique<CsvFile>(path, mode, table, bom);
        if (!file->isOf(table))
            throw WrongUsage{fmt::format(
                "line {} is of a second kind, \"{}\": name a folder with -o, or one kind with --only", line, table.name)};
        return *file;
    }

    std::string path;
    OutFile::Mode mode;
    bool bom;
    std::unique_ptr<CsvFile> file;
};

// Deletes no file of an existing folder: a table of a kind that the exchange file no longer has is left without rows.
class CsvFolder : public Sink {
public:
    CsvFolder(const std::string& path, OutFile::Mode chosen, bool chosenBom)
        : folder(path, chosen), name(path), mode(chosen), bom(chosenBom) {
        if (folder.target().kind() == Place::Kind::Folder) findOldTables();
    }

    bool describe(const TableRow& row, DescribedRows& to) const override { return describeLine(row, to); }
    void describe(const PlainRow& row, DescribedRows& to) const override { describeLine(row, to); }

    void put(const TableRow& row) override { fileFor(*row.table).put(row); }
    void put(const DescribedRows& rows) override {
        rows.forEachRun([&](const Table& table, long long, std::string_view text) { fileFor(table).put(text); });
    }

    void finish(std::span<const Source>) override {
        for (const Table* table : oldTables)
            if (!files.contains(table)) begin(*table);
        for (auto& [table, file] : files) file.commit();
        folder.commit();
    }

private:
    CsvFile& fileFor(const Table& table) {
        const auto found = files.find(&table);
        return found == files.end() ? begin(table)->second : found->second;
    }

    static std::string fileOf(const Table& table) { return table.identifier + std::string(".csv"); }

    // An existing table is replaced in its place and keeps its permissions.
    std::map<const Table*, CsvFile>::iterator begin(const Table& table) {
        const std::string file = fileOf(table);
        const std::string path = oldTables.contains(&table) ? pathThere(file) : folder.pathOf(file);
        return files.try_emplace(&table, path, mode, table, bom, folder.nameOf(file)).first;
    }

    std::string pathThere(const std::string& file) const { return name + '/' + file; }

    std::vector<std::string> tablesThere() const {
        try {
            std::vector<std::string> names = namesIn(name);
            std::erase_if(names, [](const std::string& file) { return !isTable(file); });
            return names;
        } catch (const std::system_error& failure) { throw WriteFailed{name, failure.code().value()}; }
    }

    void findOldTables() {
        const std::vector<std::string> there = tablesThere();
        if (!there.empty() && !mode.force)
            throw WrongUsage{"-o: the folder holds tables already; --force replaces them, all of them with those of this export"};
        for (const std::string& file : there) {
            const auto table = std::ranges::find(tables(), file, [](const Table& one) { return fileOf(one); });
            if (table == tables().end() || !isOfExport(pathThere(file)))
                throw WrongUsage{fmt::format("-o: \"{}\" in the folder is not a table of an export; move it away first",
                    printable(std::string_view(file)))};
            oldTables.insert(&*table);
        }
    }

    // Whether a file begins as every table does.
    static bool isOfExport(const std::string& path) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(openFile(path, "rb"), std::fclose);
        std::array<char, 24> bytes{};
        std::string_view text(bytes.data(), file ? readFrom(file.get(), bytes.data(), bytes.size()) : 0);
        if (text.starts_with(encoding::utf8Mark)) text.remove_prefix(encoding::utf8Mark.size());
        return text.starts_with("line,kind,") || text.starts_with("file,line,kind,");
    }

    OutFolder folder;
    std::string name;
    OutFile::Mode mode;
    bool bom;
    std::set<const Table*> oldTables;  ///< whose files are replaced
    std::map<const Table*, CsvFile> files;
};

}  // namespace

std::unique_ptr<Sink> makeCsvSink(const std::string& path, OutFile::Mode mode, const SinkOptions& options) {
    const bool isFolder = options.mayBeFolder && !path.ends_with(".csv") && !OutFile::isStream(path);
    if (isFolder) return std::make_unique<CsvFolder>(path, mode, options.bom);
    return std::make_unique<SingleCsv>(path, mode, options);
}

}  // namespace tramo::cli
