// Rows as comma-separated values: UTF-8, lines end with CR LF, and no cell begins a formula.
#include "cli/io/bufferedfile.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/io/usage.h"
#include "cli/tables/celltext.h"
#include "cli/tables/sink.h"
#include "common/encoding.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace {

class CsvFile {
public:
    CsvFile(const std::string& path, OutFile::Mode mode, const Table& of, bool bom, const std::string& name = {})
        : file(path, withKeysOf(mode, of), name), table(of) {
        if (bom) file.print("{}", encoding::utf8Mark);
        file.print("line,kind");
        for (const Column& column : table.columns) file.print(",{}", column.name);
        file.print("\r\n");
    }

    bool holds(const TableRow& row) const { return row.table == &table; }

    void put(const TableRow& row) {
        file.print("{},{}", row.line, table.name);
        for (const Cell& cell : row.cells) {
            file.text.push_back(',');
            std::visit([this](const auto& value) { append(value); }, cell);
        }
        if (row.longText) append(*row.longText);
        file.print("\r\n");
    }

    void settle() { file.settle(); }
    void commit() { file.commit(); }

private:
    static OutFile::Mode withKeysOf(OutFile::Mode mode, const Table& of) {
        mode.keys &= &of == &keyTable();
        return mode;
    }

    void append(std::monostate) {}
    void append(bool flag) { file.text.push_back(flag ? '1' : '0'); }
    void append(long long number) { file.print("{}", number); }
    void append(double number) { file.print("{}", number); }
    void append(const std::wstring& text) {
        const std::string cell = escaped(text, true);
        if (cell.find_first_of(",\"") == std::string::npos) {
            file.text.append(cell.data(), cell.data() + cell.size());
            return;
        }
        file.text.push_back('"');
        appendQuoted(cell);
        file.text.push_back('"');
    }
    void append(const LongText& text) {
        bool isFirst = true;
        file.text.push_back('"');
        text.forEachPiece([&](std::wstring_view piece) {
            appendQuoted(escaped(piece, std::exchange(isFirst, false)));
            file.settle();
        });
        file.text.push_back('"');
    }
    void appendQuoted(std::string_view cell) {
        for (const char c : cell) {
            if (c == '"') file.text.push_back('"');
            file.text.push_back(c);
        }
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

    void put(const TableRow& row) override {
        if (!file) file = std::make_unique<CsvFile>(path, mode, *row.table, bom);
        if (!file->holds(row))
            throw WrongUsage{fmt::format("line {} is of a second kind, \"{}\": name a folder with -o, or one kind with --only",
                row.line, row.table->name)};
        file->put(row);
        file->settle();
    }

    void finish(const Source&) override {
        if (file) file->commit();
        else BufferedFile(path, mode).commit();
    }

private:
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

    void put(const TableRow& row) override {
        auto found = files.find(row.table);
        if (found == files.end()) found = begin(*row.table);
        found->second.put(row);
        found->second.settle();
    }

    void finish(const Source&) override {
        for (const Table* table : oldTables)
            if (!files.contains(table)) begin(*table);
        for (auto& [table, file] : files) file.commit();
        folder.commit();
    }

private:
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
        std::array<char, 16> bytes{};
        std::string_view text(bytes.data(), file ? readFrom(file.get(), bytes.data(), bytes.size()) : 0);
        if (text.starts_with(encoding::utf8Mark)) text.remove_prefix(encoding::utf8Mark.size());
        return text.starts_with("line,kind,");
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
