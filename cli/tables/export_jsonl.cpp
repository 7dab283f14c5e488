// Rows as JSON lines. RapidJSON's writer refuses unpaired surrogates, which a field can hold.
#include "cli/io/bufferedfile.h"
#include "cli/io/text.h"
#include "cli/tables/appender.h"
#include "cli/tables/celltext.h"
#include "cli/tables/sink.h"
#include <unordered_map>

namespace tramo::cli {

namespace {

// Writes the cells of a row as members of its object.
class Members {
public:
    Members(const std::vector<PaddedText>& namesOfColumns, Appender& to) : names(namesOfColumns), out(to) {}

    void text(std::size_t column, std::wstring_view value) {
        out.add(names[column]);
        out.use([&](fmt::memory_buffer& to) { appendJson(to, value); });
    }
    void text(std::size_t column, std::string_view value) {
        out.add(names[column]);
        appendJson(out, value);
    }
    void ascii(std::size_t column, std::string_view value) {
        out.add(names[column]);
        out.add('"');
        out.addShort(value);
        out.add('"');
    }
    void number(std::size_t column, long long value) {
        out.add(names[column]);
        out.add(value);
    }
    // The shortest that reads back the same; it is finite.
    void number(std::size_t column, double value) {
        out.add(names[column]);
        out.add(value);
    }
    void digits(std::size_t column, std::string_view shortest) {
        out.add(names[column]);
        out.addShort(shortest);
    }
    void flag(std::size_t column, bool value) {
        out.add(names[column]);
        out.add(value ? "true" : "false");
    }

private:
    const std::vector<PaddedText>& names;  ///< ,"name":
    Appender& out;
};

class JsonlSink : public Sink {
public:
    JsonlSink(const std::string& path, OutFile::Mode mode, const SinkOptions& options) : file(path, mode) {
        for (const Table* table : options.tables) add(*table);
    }

    void add(const Table& table) override {
        Shape shape{PaddedText(fmt::format(R"(,"kind":"{}")", table.name)), {}};
        for (const Column& column : table.columns) {
            fmt::memory_buffer name;
            appendJson(name, utf8::decode(column.name));
            shape.names.emplace_back(fmt::format(",{}:", fmt::to_string(name)));
        }
        shapes.emplace(&table, std::move(shape));
    }

    bool describe(const TableRow& row, DescribedRows& to) const override {
        if (row.longText) return false;
        append(row, to.text);
        Appender out(to.text);
        out.add(std::string_view("}\n"));
        return true;
    }

    void describe(const PlainRow& row, DescribedRows& to) const override {
        Appender out(to.text);
        row.write(Members(begin(row.table(), row.line(), out), out));
        out.add(std::string_view("}\n"));
    }

    void put(const DescribedRows& rows) override { file.add({rows.text.data(), rows.text.size()}); }

    void put(const TableRow& row) override {
        append(row, file.text);
        if (row.longText) {
            const bool isFirst = file.text[file.text.size() - 1] == '{';
            file.print(R"({}"{}":")", isFirst ? "" : ",", row.table->columns.back().name);
            row.longText->forEachPiece([&](std::wstring_view piece) {
                appendJsonCharacters(file.text, piece);
                file.settle();
            });
            file.text.push_back('"');
        }
        file.print("}}\n");
        file.settle();
    }

    void finish(std::span<const Source>) override { file.commit(); }

private:
    struct Shape {
        PaddedText kind;                ///< ,"kind":"meter subscriber"
        std::vector<PaddedText> names;  ///< ,"meterSerialNumber":
    };

    // Returns the names of the row's columns.
    const std::vector<PaddedText>& begin(const Table& table, long long line, Appender& out) const {
        const Shape& shape = shapes.at(&table);
        out.add(std::string_view(R"({"line":)"));
        out.add(line);
        out.add(shape.kind);
        return shape.names;
    }

    // Appends the object up to its last member that is a cell.
    void append(const TableRow& row, fmt::memory_buffer& to) const {
        const std::size_t before = to.size();
        {
            Appender out(to);
            if (row.table->hasLead) begin(*row.table, row.line, out);
            writeCells(row, Members(shapes.at(row.table).names, out));
        }
        if (row.table->hasLead) return;
        if (to.size() == before) to.push_back('{');
        else to[before] = '{';  // in the place of the comma before the first member
    }

    BufferedFile file;
    std::unordered_map<const Table*, Shape> shapes;
};

}  // namespace

std::unique_ptr<Sink> makeJsonlSink(const std::string& path, OutFile::Mode mode, const SinkOptions& options) {
    return std::make_unique<JsonlSink>(path, mode, options);
}

}  // namespace tramo::cli
