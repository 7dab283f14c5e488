// Rows as comma-separated values: UTF-8, lines end with CR LF, and no cell begins a formula.
#include "bufferedfile.h"
#include "celltext.h"
#include "command.h"
#include "platform.h"
#include "sink.h"
#include "text.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

class CsvFile {
public:
    CsvFile(const std::string& path, OutFile::Mode mode, const Table& of, bool bom) : file(path, mode), table(of) {
        if (bom) file.print("{}", byteOrderMark);
        file.print("line,kind");
        for (const Column& column : table.columns) file.print(",{}", column.name);
        file.print("\r\n");
    }

    bool holds(const Row& row) const { return row.table == &table; }

    void put(const Row& row) {
        file.print("{},{}", row.line, table.name);
        for (const Cell& cell : row.cells) {
            file.text.push_back(',');
            std::visit([this](const auto& value) { append(value); }, cell);
        }
        file.print("\r\n");
    }

    void settle() { file.settle(); }
    void commit() { file.commit(); }

private:
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
        for (const char c : cell) {
            if (c == '"') file.text.push_back('"');
            file.text.push_back(c);
        }
        file.text.push_back('"');
    }

    BufferedFile file;
    const Table& table;
};

// Nothing appears before it is known that one file is enough: what goes to the standard output is gathered in memory.
class SingleCsv : public Sink {
public:
    SingleCsv(std::string to, OutFile::Mode chosen, bool marked) : path(std::move(to)), mode(chosen), bom(marked) {}

    void put(const Row& row) override {
        if (!file) file = std::make_unique<CsvFile>(path, mode, *row.table, bom);
        if (!file->holds(row))
            throw WrongUsage{fmt::format("line {} is of a second kind, \"{}\": name a folder with -o, or one kind with --only",
                row.line, row.table->name)};
        file->put(row);
        if (path != "-") file->settle();
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

// A new folder appears when all of its files are there. One that was there gets them one after the other. Nothing in it is
// deleted: a table whose kind the file does not have any more is left without rows, which an import reads as none.
class CsvFolder : public Sink {
public:
    CsvFolder(const std::string& path, OutFile::Mode chosen, CsvStyle chosenStyle)
        : name(path), place(cli::pathOf(path) / "."), mode(chosen), style(chosenStyle) {
        place = place.parent_path();
        std::error_code error;
        const fs::file_status status = fs::status(place, error);
        if (!fs::status_known(status)) fail(error.value());
        if (fs::exists(status)) {
            if (!fs::is_directory(status)) fail(ENOTDIR);
            unfinished.folder = place.string();
            findOldTables();
            return;
        }
        unfinished.folder = place.string();
        if (!createFolderBeside(unfinished.folder)) fail(errno);
        unfinished.isNew = true;
    }

    void put(const Row& row) override {
        auto found = files.find(row.table);
        if (found == files.end()) found = begin(*row.table);
        found->second.put(row);
        found->second.settle();
    }

    void finish(const Source&) override {
        for (const Table* table : oldTables)
            if (!files.contains(table)) begin(*table);
        unfinished.files.reserve(files.size());
        for (auto& [table, file] : files) {
            std::string path = fileOf(*table);
            file.commit();
            if (!oldTables.contains(table)) unfinished.files.push_back(std::move(path));
        }
        if (unfinished.isNew && !replaceFile(unfinished.folder, place.string())) fail(errno);
        unfinished.files.clear();
        unfinished.isNew = false;
    }

private:
    // What is taken away again if something goes wrong.
    struct Unfinished {
        ~Unfinished() {
            for (const std::string& file : files) std::remove(file.c_str());
            if (isNew) removeFolder(folder);
        }
        std::string folder{};
        std::vector<std::string> files{};
        bool isNew = false;
    };

    std::string fileOf(const Table& table) const { return unfinished.folder + '/' + table.identifier + ".csv"; }
    std::map<const Table*, CsvFile>::iterator begin(const Table& table) {
        return files.try_emplace(&table, fileOf(table), mode, table, style.bom).first;
    }

    std::vector<std::string> tablesThere() const {
        try {
            std::vector<std::string> names = namesIn(name);
            std::erase_if(names, [](const std::string& file) { return !isTable(file); });
            return names;
        } catch (const std::system_error& failure) { fail(failure.code().value()); }
    }

    void findOldTables() {
        const std::vector<std::string> there = tablesThere();
        if (!there.empty() && !style.replaces)
            throw WrongUsage{"-o: the folder holds tables already; --force replaces them, all of them with those of this export"};
        for (const std::string& file : there) {
            const auto table = std::ranges::find(tables(), file, [](const Table& one) { return one.identifier + ".csv"; });
            if (table == tables().end() || !isOfExport(fileOf(*table)))
                throw WrongUsage{fmt::format("-o: \"{}\" in the folder is not a table of an export; move it away first",
                    printable(std::string_view(file)))};
            oldTables.insert(&*table);
        }
    }

    // Whether a file begins as every table does.
    bool isOfExport(const std::string& path) const {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(openFile(path, "rb"), std::fclose);
        std::array<char, 16> bytes{};
        std::string_view text(bytes.data(), file ? readFrom(file.get(), bytes.data(), bytes.size()) : 0);
        if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
        return text.starts_with("line,kind,");
    }

    [[noreturn]] void fail(int error) const { throw WriteFailed{name, error}; }

    std::string name;
    fs::path place;
    OutFile::Mode mode;
    CsvStyle style;
    std::set<const Table*> oldTables;  ///< whose files are replaced
    Unfinished unfinished;
    std::map<const Table*, CsvFile> files;
};

}  // namespace

std::unique_ptr<Sink> makeCsvSink(const std::string& path, OutFile::Mode mode, CsvStyle style) {
    if (style.isFolder) return std::make_unique<CsvFolder>(path, mode, style);
    return std::make_unique<SingleCsv>(path, mode, style.bom);
}

}  // namespace tramo::cli
