// Files read line by line with Reader: three fields by name, all fields at once, and all fields one after the other.
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

// Adds a value. What is absent adds nothing. `buffer`: for texts.
void add(const LineView& line, const Field& field, std::string& buffer, Sums& sums) {
    const auto addNumber = [&](const auto& number) {
        if (number) sums << *number;
    };
    switch (field.kind) {
    case FieldKind::Text:
        if (const auto text = line[field].text(buffer)) sums << *text;
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

// Adds a value that was decoded. `textOf` returns its text.
void addDecoded(const tramo::DecodedValue& value, const Field& field, const auto& textOf, Sums& sums) {
    if (!value.present) return;
    switch (field.kind) {
    case FieldKind::Text: sums << std::string_view(textOf(value)); break;
    case FieldKind::Decimal: sums << value.real; break;
    default: sums << value.integer;
    }
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
    return readWith(file, fields, [buffer = std::string()](const LineView& line, const Fields& which, Sums& sums) mutable {
        for (const Field* field : which) add(line, *field, buffer, sums);
    });
}

Sums readAtOnce(const DataFile& file, const Fields& fields) {
    std::vector<tramo::DecodedValue> values(tramo::kindOf<MeterSubscriberTramoModel>().fields.size());
    return readWith(file, fields, [&, buffer = std::string()](const LineView& line, const Fields& which, Sums& sums) mutable {
        line.decode(values);
        const auto textOf = [&](const tramo::DecodedValue& value) { return line.text(value, buffer); };
        for (const Field* field : which) addDecoded(values[field->index], *field, textOf, sums);
    });
}

// Independent of Reader's fields. `isYear`: a year counts as its number, not as its first second.
template <bool isYear> Sums readDecoded(const DataFile& file, const Fields& fields) {
    std::vector<tramo::DecodedValue> values(tramo::kindOf<MeterSubscriberTramoModel>().fields.size());
    return readWith(file, fields, [&](const LineView& line, const Fields& which, Sums& sums) {
        tramo::decode(*line.kind(), line.bytes(), values);
        const auto textOf = [&](const tramo::DecodedValue& value) {
            return utf8Of(line.bytes().substr(value.first, value.size));
        };
        for (const Field* field : which) {
            tramo::DecodedValue& value = values[field->index];
            if (isYear && field->kind == FieldKind::Year && value.present)
                value.integer = std::stoi(tramo::textOf(*field, value.integer));
            addDecoded(value, *field, textOf, sums);
        }
    });
}

}  // namespace

void addReader(std::vector<Row>& rows, const Options& options) {
    struct Choice {
        const char* name;
        std::vector<std::string> fields;
        double limit;
        Sums (*read)(const DataFile&, const Fields&);
        Sums (*readSlowly)(const DataFile&, const Fields&);
    };
    const Choice choices[] = {{"all fields", {}, 2.0, readAtOnce, readDecoded<false>},
        {"all fields, one by one", {}, 0, readByName, readDecoded<true>},
        {"three fields", {"meterSerialNumber", "meterReadingIndex", "meterReadingDate"}, 1.0, readByName, readDecoded<true>}};
    const std::string section = "Reader", kind = "meter subscriber";
    for (const int encoding : {StrConv::ENCODING_ANSI, StrConv::ENCODING_UTF16LE})
        for (const Choice& choice : choices) {
            const bool isAnsi = encoding == StrConv::ENCODING_ANSI;
            const std::string name = choice.name + std::string(", ") + kind;
            const Goal goal = isAnsi ? Goal{choice.limit, fullName(references, "hand-tuned"), Goal::Record}
                                     : Goal{1.5, fullName(section, name), Goal::Record};
            rows.push_back({section, isAnsi ? name : name + ", UTF-16",
                [&options, kind, encoding, names = choice.fields, read = choice.read, slow = choice.readSlowly](
                    benchmark::State& state) {
                    const DataFile file = dataFile(options, kind, encoding);
                    const Fields fields = fieldsOf(names);
                    const Sums expected = slow(dataFile(options, kind, StrConv::ENCODING_ANSI), fields);
                    if (expected.records != file.records || expected.numbers == 0) throw std::runtime_error("no values");
                    for (auto _ : state)
                        if (read(file, fields) != expected) throw std::runtime_error("other values");
                    setWork(state, file.records, file.bytes, file.characters);
                },
                goal});
        }
}

}  // namespace bench
