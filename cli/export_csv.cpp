// Rows as comma-separated values: UTF-8, lines end with CR LF, and no cell begins a formula.
#include "bufferedfile.h"
#include "celltext.h"
#include "command.h"
#include "platform.h"
#include "sink.h"
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace fs = std::filesystem;

namespace {

class CsvFile {
public:
    CsvFile(const std::string& path, OutFile::Mode mode, const Table& of) : file(path, mode), table(of) {
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
    SingleCsv(std::string to, OutFile::Mode chosen) : path(std::move(to)), mode(chosen) {}

    void put(const Row& row) override {
        if (!file) file = std::make_unique<CsvFile>(path, mode, *row.table);
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
    std::unique_ptr<CsvFile> file;
};

// A new folder appears when all of its files are there. One that was there gets them one after the other.
class CsvFolder : public Sink {
public:
    CsvFolder(const std::string& path, OutFile::Mode chosen) : name(path), place(cli::pathOf(path) / "."), mode(chosen) {
        place = place.parent_path();
        std::error_code error;
        const fs::file_status status = fs::status(place, error);
        if (!fs::status_known(status)) fail(error.value());
        if (fs::exists(status)) {
            if (!fs::is_directory(status)) fail(ENOTDIR);
            if (holdsTables(path))
                throw WrongUsage{"-o: the folder holds tables already, which an import would take for a part of this export"};
            unfinished.folder = place.string();
            return;
        }
        unfinished.folder = place.string();
        if (!createFolderBeside(unfinished.folder)) fail(errno);
        unfinished.isNew = true;
    }

    void put(const Row& row) override {
        auto found = files.find(row.table);
        if (found == files.end()) found = files.try_emplace(row.table, fileOf(*row.table), mode, *row.table).first;
        found->second.put(row);
        found->second.settle();
    }

    void finish(const Source&) override {
        unfinished.files.reserve(files.size());
        for (auto& [table, file] : files) {
            std::string path = fileOf(*table);
            file.commit();
            unfinished.files.push_back(std::move(path));
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
    bool holdsTables(const std::string& path) const {
        try {
            return std::ranges::any_of(namesIn(path), isTable);
        } catch (const std::system_error& failure) { fail(failure.code().value()); }
    }

    [[noreturn]] void fail(int error) const { throw WriteFailed{name, error}; }

    std::string name;
    fs::path place;
    OutFile::Mode mode;
    Unfinished unfinished;
    std::map<const Table*, CsvFile> files;
};

}  // namespace

std::unique_ptr<Sink> makeCsvSink(const std::string& path, OutFile::Mode mode, bool isFolder) {
    if (isFolder) return std::make_unique<CsvFolder>(path, mode);
    return std::make_unique<SingleCsv>(path, mode);
}

}  // namespace tramo::cli
