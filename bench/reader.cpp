// Files read line by line with Reader: three fields and all fields of meter subscribers.
#include "bench/data.h"
#include "bench/sums.h"
#include "bench/table.h"
#include "common/utf8.h"
#include <stdexcept>
#include <tramostream/decode.h>
#include <tramostream/reader.h>

namespace bench {

namespace {

using tramo::Field, tramo::FieldKind, tramo::LineView, tramo::Reader;
using Fields = std::vector<const Field*>;

// The fields of meter subscribers with these names, or all in the line.
Fields fieldsOf(const std::vector<std::string>& names) {
    const tramo::RecordKind& kind = tramo::kindOf<MeterSubscriberTramoModel>();
    Fields fields;
    for (const std::string& name : names) fields.push_back(kind.field(name));
    for (const Field& field : kind.fields)
        if (names.empty() && field.column > 0) fields.push_back(&field);
    return fields;
}

// Adds a value. What is absent adds nothing.
void add(const LineView& line, const Field& field, Sums& sums) {
    const auto addNumber = [&](const auto& number) {
        if (number) sums << *number;
    };
    switch (field.kind) {
    case FieldKind::Text:
        if (const auto text = line[field].text()) sums << std::string_view(*text);
        break;
    case FieldKind::Integer: addNumber(line[field].integer()); break;
    case FieldKind::Decimal: addNumber(line[field].real()); break;
    case FieldKind::Flag: addNumber(line[field].flag()); break;
    case FieldKind::Code: addNumber(line[field].code()); break;
    case FieldKind::AlarmFlags: addNumber(line[field].alarms()); break;
    case FieldKind::Date:
    case FieldKind::DateTime:
        if (const auto time = line[field].time()) sums << time->time_since_epoch().count();
        break;
    case FieldKind::Year:
        if (const auto year = line[field].year()) sums << static_cast<int>(*year);
        break;
    }
}

std::string utf8Of(std::string_view ansi) {
    std::string text;
    for (const char c : ansi) tramo::utf8::append(text, static_cast<unsigned char>(c));
    return text;
}

// Adds a value that tramo::decode has read.
void addDecoded(const tramo::DecodedValue& value, std::string_view line, const Field& field, Sums& sums) {
    if (!value.present) return;
    if (field.kind == FieldKind::Text) sums << std::string_view(utf8Of(line.substr(value.first, value.size)));
    else if (field.kind == FieldKind::Decimal) sums << value.real;
    else if (field.kind == FieldKind::Year) sums << std::stoi(tramo::textOf(field, value.integer));
    else sums << value.integer;
}

Sums readWith(const DataFile& file, const Fields& fields, auto addValue) {
    Sums sums;
    for (const LineView& line : Reader(file.path)) {
        if (!line.is<MeterSubscriberTramoModel>()) continue;
        ++sums.records;
        addValue(line, fields, sums);
    }
    return sums;
}

Sums readByName(const DataFile& file, const Fields& fields) {
    return readWith(file, fields, [](const LineView& line, const Fields& which, Sums& sums) {
        for (const Field* field : which) add(line, *field, sums);
    });
}

Sums readDecoded(const DataFile& file, const Fields& fields) {
    std::vector<tramo::DecodedValue> values(tramo::kindOf<MeterSubscriberTramoModel>().fields.size());
    return readWith(file, fields, [&](const LineView& line, const Fields& which, Sums& sums) {
        tramo::decode(*line.kind(), line.bytes(), values);
        for (const Field* field : which) addDecoded(values[field->index], line.bytes(), *field, sums);
    });
}

}  // namespace

void addReader(std::vector<Row>& rows, const Options& options) {
    struct Choice {
        const char* name;
        std::vector<std::string> fields;
        double limit;
    };
    const Choice choices[] = {
        {"all fields", {}, 2.0}, {"three fields", {"meterSerialNumber", "meterReadingIndex", "meterReadingDate"}, 1.0}};
    const std::string section = "Reader", kind = "meter subscriber";
    for (const int encoding : {StrConv::ENCODING_ANSI, StrConv::ENCODING_UTF16LE})
        for (const Choice& choice : choices) {
            const bool isAnsi = encoding == StrConv::ENCODING_ANSI;
            const std::string name = choice.name + std::string(", ") + kind;
            const Goal goal = isAnsi ? Goal{choice.limit, fullName(references, "hand-tuned"), Goal::Record}
                                     : Goal{1.5, fullName(section, name), Goal::Record};
            rows.push_back({section, isAnsi ? name : name + ", UTF-16",
                [&options, kind, encoding, names = choice.fields](benchmark::State& state) {
                    const DataFile file = dataFile(options, kind, encoding);
                    const Fields fields = fieldsOf(names);
                    const Sums expected = readDecoded(dataFile(options, kind, StrConv::ENCODING_ANSI), fields);
                    if (expected.records != file.records || expected.numbers == 0) throw std::runtime_error("no values");
                    for (auto _ : state)
                        if (readByName(file, fields) != expected) throw std::runtime_error("other values");
                    setWork(state, file.records, file.bytes, file.characters);
                },
                goal});
        }
}

}  // namespace bench
