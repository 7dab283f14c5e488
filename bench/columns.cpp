// Records as columns: all fields of a file's lines, and a choice of three.
#include "bench/data.h"
#include "bench/table.h"
#include <map>
#include <stdexcept>
#include <tramostream/columns.h>
#include <tramostream/reader.h>

namespace bench {

namespace {

using tramo::Columns, tramo::LineView, tramo::RecordKind;

constexpr std::size_t rowsPerBatch = 1024;  // so that the batches of all kinds fit into the processor's caches

// Counts the values, so that the files of both encodings can be compared.
struct Counter {
    std::size_t rows = 0, values = 0, unreadable = 0;

    void take(Columns& columns) {
        rows += columns.rows();
        unreadable += columns.unreadable();
        for (std::size_t i = 0; i < columns.size(); ++i) values += columns.rows() - columns[i].absent;
        columns.clear();
    }
    bool operator==(const Counter&) const = default;
};

// Reads all lines into columns of their kind, with these fields or with all.
Counter readColumns(const DataFile& file, const std::vector<std::string>& fields) {
    std::map<const RecordKind*, Columns> kinds;
    for (const RecordKind* kind : tramo::recordKinds()) {
        std::vector<const tramo::Field*> chosen;
        for (const std::string& name : fields)
            if (const tramo::Field* field = kind->field(name)) chosen.push_back(field);
        kinds.emplace(kind, Columns(*kind, chosen));
    }
    Counter counter;
    for (const LineView& line : tramo::Reader(file.path)) {
        const auto kind = kinds.find(line.kind());
        if (kind == kinds.end()) continue;
        Columns& columns = kind->second;
        columns.add(line);
        if (columns.rows() == rowsPerBatch) counter.take(columns);
    }
    for (auto& [_, columns] : kinds) counter.take(columns);
    return counter;
}

}  // namespace

void addColumns(std::vector<Row>& rows, const Options& options) {
    struct Choice {
        const char* name;
        std::vector<std::string> fields;
        double limit;
    };
    const Choice choices[] = {
        {"all fields", {}, 1.5}, {"three fields", {"meterSerialNumber", "meterReadingIndex", "meterReadingDate"}, 0.7}};
    for (const char* kind : {"meter subscriber", "mixed"})
        for (const int encoding : {StrConv::ENCODING_ANSI, StrConv::ENCODING_UTF16LE})
            for (const Choice& choice : choices) {
                const bool isAnsi = encoding == StrConv::ENCODING_ANSI;
                const std::string section = "columns", suffix = std::string(", ") + kind + (isAnsi ? "" : ", UTF-16");
                const Goal goal = isAnsi ? Goal{choice.limit, fullName(references, "hand-tuned"), Goal::Record}
                                         : Goal{1.5, fullName(section, choice.name + std::string(", ") + kind), Goal::Record};
                rows.push_back({section, choice.name + suffix,
                    [&options, kind = std::string(kind), encoding, fields = choice.fields](benchmark::State& state) {
                        const DataFile file = dataFile(options, kind, encoding);
                        const Counter expected = readColumns(dataFile(options, kind, StrConv::ENCODING_ANSI), fields);
                        if (expected.rows == 0 || expected.values == 0) throw std::runtime_error("no values");
                        for (auto _ : state)
                            if (readColumns(file, fields) != expected) throw std::runtime_error("other values");
                        setWork(state, file.records, file.bytes, file.characters);
                    },
                    goal});
            }
}

}  // namespace bench
