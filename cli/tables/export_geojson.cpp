// Located meters as GeoJSON (RFC 7946): a feature collection with a point for each meter, in degrees of WGS 84.
#include "cli/io/bufferedfile.h"
#include "cli/io/text.h"
#include "cli/tables/cells.h"
#include "cli/tables/celltext.h"
#include "cli/tables/sink.h"
#include <utility>

namespace tramo::cli {

namespace {

// Writes the cells of a row as members of an object.
struct Properties {
    const Table& table;
    fmt::memory_buffer& out;

    void name(std::size_t column) {
        if (column > 0) out.push_back(',');
        appendJson(out, utf8::decode(table.columns[column].name));
        out.push_back(':');
    }
    void text(std::size_t, std::wstring_view value) { appendJson(out, value); }
    void number(std::size_t, auto value) { fmt::format_to(fmt::appender(out), "{}", value); }
    void flag(std::size_t, bool value) { fmt::format_to(fmt::appender(out), "{}", value); }
};

class GeoJsonSink : public Sink {
public:
    GeoJsonSink(const std::string& path, OutFile::Mode mode) : file(path, mode) {
        file.print(R"({{"type":"FeatureCollection","features":[)");
    }

    bool describe(const TableRow&, DescribedRows&) const override { return false; }
    void describe(const PlainRow&, DescribedRows&) const override {}
    void put(const DescribedRows&) override {}

    // The last two columns are the longitude and the latitude; the others are properties. All features have all of them.
    void put(const TableRow& row) override {
        const std::size_t properties = row.cells.size() - 2;
        file.print("{}\n", std::exchange(isFirst, false) ? "" : ",");
        file.print(R"({{"type":"Feature","geometry":{{"type":"Point","coordinates":[{},{}]}},"properties":{{)",
            std::get<double>(row.cells[properties]), std::get<double>(row.cells[properties + 1]));
        Properties writer{*row.table, file.text};
        for (std::size_t i = 0; i < properties; ++i) {
            writer.name(i);
            if (std::holds_alternative<std::monostate>(row.cells[i])) file.print("null");
            else writeCell(i, row.cells[i], writer);
        }
        file.print("}}}}");
        file.settle();
    }

    void finish(std::span<const Source>) override {
        file.print("{}]}}\n", isFirst ? "" : "\n");
        file.commit();
    }

private:
    BufferedFile file;
    bool isFirst = true;
};

}  // namespace

std::unique_ptr<Sink> makeGeoJsonSink(const std::string& path, OutFile::Mode mode, const SinkOptions&) {
    return std::make_unique<GeoJsonSink>(path, mode);
}

}  // namespace tramo::cli
