#include "check/cleanlines.h"
#include "tramostream/anyrecord.h"

namespace tramo {

namespace {

constexpr std::size_t lineLength = std::tuple_size_v<TramoLine::tramoLine_t> - 2;
using Map = BlankMap<lineLength, char>;

template <class... M>
std::unique_ptr<FilledModel> filledModel(const RecordKind& kind, const std::variant<std::monostate, M...>*) {
    std::unique_ptr<FilledModel> made;
    ((&kind == &kindOf<M>() && (made = std::make_unique<FilledModelOf<M>>())) || ...);
    return made;
}

Map::Columns findColumnsOutsideFields(const RecordKind& kind) {
    std::array<bool, lineLength> taken{true};  // the letter
    for (const Field& field : kind.fields)
        if (field.column > 0) std::fill_n(taken.begin() + field.column - 1, field.width, true);
    Map::Columns outside;
    for (std::size_t i = 0; i < lineLength; ++i)
        if (!taken[i]) outside.add(i);
    return outside;
}

const Map::Columns& columnsOutsideFields(const RecordKind& kind) {
    static const auto ofKinds = [] {
        std::vector<Map::Columns> columns;
        for (const RecordKind* each : recordKinds()) columns.push_back(findColumnsOutsideFields(*each));
        return columns;
    }();
    return ofKinds[static_cast<std::size_t>(std::ranges::find(recordKinds(), &kind) - recordKinds().begin())];
}

// Returns whether a number can be tested sixteen characters at a time.
bool isInSight(const FieldReading& field, FilledText<char> filled) {
    return codec::readsEightDigits && filled.isInLine && filled.size - filled.blanks <= 16 && field.first + filled.size >= 16;
}

// Return whether the value of a number has all of its text.
bool hasOnlyDigits(const FieldReading& field, FilledText<char> filled) {
    if (isInSight(field, filled) && codec::areDigits(filled.text + filled.size, filled.size - filled.blanks)) return true;
    return codec::isSignAndDigits(filled.view().substr(filled.blanks));
}
bool hasOnlyDigitsAndPoint(const FieldReading& field, FilledText<char> filled) {
    if (isInSight(field, filled) && codec::areDigitsAndPoint(filled.text + filled.size, filled.size - filled.blanks)) return true;
    return codec::isDigitsAndPoint(filled.view().substr(filled.blanks));
}

// Takes the fields of a line and notes whether one of them can have a finding.
struct Fields {
    FilledModel& model;
    bool clean = true;

    void text(const FieldReading& field, auto filled) { model.putText(field, filled); }
    void integer(const FieldReading& field, auto value, auto filled) {
        clean = clean && hasOnlyDigits(field, filled);
        model.put(field, filled, value);
    }
    void decimal(const FieldReading& field, double value, auto filled) {
        clean = clean && hasOnlyDigitsAndPoint(field, filled);
        model.put(field, filled, value);
    }
    void time(const FieldReading& field, long32 seconds, auto filled) {
        clean = clean && seconds != dates::noTime;
        model.put(field, filled, seconds);
    }
    void code(const FieldReading& field, wchar_t code, auto filled) { model.put(field, filled, code); }
    void flag(const FieldReading& field, bool value, auto filled) {
        clean = clean && filled.size == 1 && (value || *filled.text == '0');
        model.put(field, filled, value);
    }
    void alarms(const FieldReading& field, unsigned bits, auto filled) {
        clean = clean && codec::isAlarmFlags(filled.view());
        model.putAlarms(field, filled, bits);
    }
    void faulty(const FieldReading&, auto) { clean = false; }
};

// Takes the fields of any line.
struct AnyFields {
    FilledModel& model;
    bool anyFaulty = false;

    void text(const FieldReading& field, auto filled) { model.putText(field, filled); }
    void integer(const FieldReading& field, auto value, auto filled) { model.put(field, filled, value); }
    void decimal(const FieldReading& field, double value, auto filled) { model.put(field, filled, value); }
    void time(const FieldReading& field, long32 seconds, auto filled) { model.put(field, filled, seconds); }
    void code(const FieldReading& field, wchar_t code, auto filled) { model.put(field, filled, code); }
    void flag(const FieldReading& field, bool value, auto filled) { model.put(field, filled, value); }
    void alarms(const FieldReading& field, unsigned bits, auto filled) { model.putAlarms(field, filled, bits); }
    void faulty(const FieldReading&, auto) { anyFaulty = true; }
};

}  // namespace

struct CleanLines::KindTest {
    explicit KindTest(const RecordKind& kind)
        : readings(readingsOf(kind)), outside(columnsOutsideFields(kind)),
          model(filledModel(kind, static_cast<AnyRecord::Model*>(nullptr))) {}

    bool isClean(const char* line, bool all) const {
        const Map map(line);
        if (map.isFilledIn(outside)) return false;
        model->begin();
        Fields fields{*model};
        decodeLine(readings, line, map, fields);
        model->end();
        return fields.clean && !model->breaksRule(all);
    }

    const std::span<const FieldReading> readings;
    const Map::Columns& outside;
    const std::unique_ptr<FilledModel> model;
};

CleanLines::CleanLines() : tests(recordKinds().size()) {}
CleanLines::~CleanLines() = default;

CleanLines::KindTest* CleanLines::testOf(const RecordKind& kind) {
    const auto kinds = recordKinds();
    const auto found = std::ranges::find(kinds, &kind);
    if (found == kinds.end()) return nullptr;
    std::unique_ptr<KindTest>& test = tests[static_cast<std::size_t>(found - kinds.begin())];
    if (!test) test = std::make_unique<KindTest>(kind);
    return test.get();
}

const FilledModel* CleanLines::valuesIfClean(const RecordKind& kind, std::string_view line, bool all) {
    if (line.size() != lineLength || static_cast<unsigned char>(line.front()) != kind.letter) return nullptr;
    if (line.find('\0') != std::string_view::npos) return nullptr;
    const KindTest* const test = testOf(kind);
    return test && test->isClean(line.data(), all) ? test->model.get() : nullptr;
}

const FilledModel& CleanLines::values(const RecordKind& kind, const wchar_t* line, bool& isFaulty) {
    const KindTest& test = *testOf(kind);
    test.model->begin();
    AnyFields fields{*test.model};
    decodeLine(test.readings, line, BlankMap<lineLength, wchar_t>(line), fields);
    test.model->end();
    isFaulty = fields.anyFaulty;
    return *test.model;
}

}  // namespace tramo
