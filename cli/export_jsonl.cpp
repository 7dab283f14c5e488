// Rows as JSON lines. RapidJSON's writer would refuse half of a surrogate pair, which a field can hold.
#include "bufferedfile.h"
#include "celltext.h"
#include "sink.h"

namespace tramo::cli {

namespace {

class JsonlSink : public Sink {
public:
    JsonlSink(const std::string& path, OutFile::Mode mode) : file(path, mode) {}

    void put(const Row& row) override {
        file.print(R"({{"line":{},"kind":"{}")", row.line, row.table->name);
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            if (std::holds_alternative<std::monostate>(row.cells[i])) continue;
            add(R"(,")");
            add(row.table->columns[i].name);
            add(R"(":)");
            std::visit([this](const auto& value) { append(value); }, row.cells[i]);
        }
        add("}\n");
        file.settle();
    }

    void finish(const Source&) override { file.commit(); }

private:
    void add(std::string_view bytes) { file.text.append(bytes.data(), bytes.data() + bytes.size()); }

    void append(std::monostate) {}
    void append(const std::wstring& text) { appendJson(file.text, text); }
    void append(bool flag) { add(flag ? "true" : "false"); }
    void append(long long number) { file.print("{}", number); }
    void append(double number) { file.print("{}", number); }  // the shortest that reads back the same; it is finite

    BufferedFile file;
};

}  // namespace

std::unique_ptr<Sink> makeJsonlSink(const std::string& path, OutFile::Mode mode) {
    return std::make_unique<JsonlSink>(path, mode);
}

}  // namespace tramo::cli
