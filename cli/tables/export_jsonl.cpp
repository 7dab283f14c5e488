// Rows as JSON lines. RapidJSON's writer refuses unpaired surrogates, which a field can hold.
#include "cli/io/bufferedfile.h"
#include "cli/tables/celltext.h"
#include "cli/tables/sink.h"

namespace tramo::cli {

namespace {

void append(fmt::memory_buffer& to, std::string_view bytes) { to.append(bytes.data(), bytes.data() + bytes.size()); }

void appendValue(fmt::memory_buffer&, std::monostate) {}
void appendValue(fmt::memory_buffer& to, const std::wstring& text) { appendJson(to, text); }
void appendValue(fmt::memory_buffer& to, bool flag) { append(to, flag ? "true" : "false"); }
void appendValue(fmt::memory_buffer& to, long long number) { fmt::format_to(fmt::appender(to), "{}", number); }
// The shortest that reads back the same; it is finite.
void appendValue(fmt::memory_buffer& to, double number) { fmt::format_to(fmt::appender(to), "{}", number); }

class JsonlSink : public Sink {
public:
    JsonlSink(const std::string& path, OutFile::Mode mode) : file(path, mode) {}

    bool describe(const TableRow& row, fmt::memory_buffer& to) const override {
        if (row.longText) return false;
        begin(row, to);
        append(to, "}\n");
        return true;
    }

    void put(std::string_view described) override {
        append(file.text, described);
        file.settle();
    }

    void put(const TableRow& row) override {
        begin(row, file.text);
        if (row.longText) {
            file.print(R"(,"{}":")", row.table->columns.back().name);
            row.longText->forEachPiece([&](std::wstring_view piece) {
                appendJsonCharacters(file.text, piece);
                file.settle();
            });
            file.text.push_back('"');
        }
        append(file.text, "}\n");
        file.settle();
    }

    void finish(const Source&) override { file.commit(); }

private:
    static void begin(const TableRow& row, fmt::memory_buffer& to) {
        fmt::format_to(fmt::appender(to), R"({{"line":{},"kind":"{}")", row.line, row.table->name);
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            if (std::holds_alternative<std::monostate>(row.cells[i])) continue;
            append(to, R"(,")");
            append(to, row.table->columns[i].name);
            append(to, R"(":)");
            std::visit([&](const auto& value) { appendValue(to, value); }, row.cells[i]);
        }
    }

    BufferedFile file;
};

}  // namespace

std::unique_ptr<Sink> makeJsonlSink(const std::string& path, OutFile::Mode mode, const SinkOptions&) {
    return std::make_unique<JsonlSink>(path, mode);
}

}  // namespace tramo::cli
