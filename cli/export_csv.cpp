// Rows as comma-separated values: UTF-8, lines end with CR LF, and no cell begins a formula.
#include "bufferedfile.h"
#include "celltext.h"
#include "command.h"
#include "platform.h"
#include "sink.h"
#include <cerrno>
#include <filesystem>
#include <map>
#include <utility>

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

class CsvFolder : public Sink {
public:
    CsvFolder(const std::string& path, OutFile::Mode chosen) : folder(path), mode(chosen) {
        std::error_code error;
        created = fs::create_directory(folder, error);
        if (error) throw WriteFailed{path, error.value()};
        if (!fs::is_directory(folder, error)) throw WriteFailed{path, ENOTDIR};
        for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
            if (entry.path().extension() == ".csv")
                throw WrongUsage{"-o: the folder holds tables already, which an import would take for a part of this export"};
        if (error) throw WriteFailed{path, error.value()};
    }

    ~CsvFolder() override {
        files.clear();  // what is unfinished goes
        std::error_code error;
        if (created && fs::is_empty(folder, error)) fs::remove(folder, error);
    }

    void put(const Row& row) override {
        auto place = files.find(row.table);
        if (place == files.end()) {
            const std::string path = (folder / (row.table->identifier + ".csv")).string();
            place = files.try_emplace(row.table, path, mode, *row.table).first;
        }
        place->second.put(row);
        place->second.settle();
    }

    void finish(const Source&) override {
        for (auto& [table, file] : files) file.commit();
    }

private:
    fs::path folder;
    OutFile::Mode mode;
    bool created = false;
    std::map<const Table*, CsvFile> files;
};

}  // namespace

std::unique_ptr<Sink> makeCsvSink(const std::string& path, OutFile::Mode mode, bool isFolder) {
    if (isFolder) return std::make_unique<CsvFolder>(path, mode);
    return std::make_unique<SingleCsv>(path, mode);
}

}  // namespace tramo::cli
