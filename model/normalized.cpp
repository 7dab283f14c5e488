// Compares the bytes of a line with what its model would write. The facts about a record come from its rows and from its empty
// model; normalized_test.cpp holds the result against the models.
//
// A line is normalized if each field that is filled is written, in the same form, and each one that is blank is not.
#include "tramostream/normalized.h"
#include "convert/codec.h"
#include "model/frame.h"
#include "tramostream/anyrecord.h"
#include <algorithm>
#include <optional>
#include <tuple>
#include <vector>

namespace tramo {

namespace {

constexpr std::size_t lineLength = std::tuple_size_v<TramoLine::tramoLine_t> - 2;
using FilledColumns = BlankMap<lineLength, char>;

constexpr int none = -1;
constexpr std::size_t mostMeasures = 64, mostGroups = 64;

// What is known of a field before its line is read.
struct Form {
    FieldReading reading;
    int decimals = 0;
    Test written = always;
    CodeSet codesKept = {};           // those that are written as they are read
    int group = none;                 // the condition on which it is written
    int otherwise = none;             // the condition on which a text in the same columns is written in its place
    int measure = none;               // the number of its value in conditions
    bool fills = false;               // its value on a blank line is not written as blanks, if its group holds
    const Form* zeroCover = nullptr;  // the field that overwrites the zero character after these alarm flags
};

struct MeasureTest {
    int measure;
    Test test;
};
struct Group {
    std::array<MeasureTest, 2> tests{};
    int count = 0;

    bool holds(const double* measures) const {
        for (int i = 0; i < count; ++i) {
            const MeasureTest& each = tests[static_cast<std::size_t>(i)];
            if (!passes(each.test, [&] { return measures[each.measure]; })) return false;
        }
        return true;
    }
};

struct RecordForm {
    const RecordKind* kind = nullptr;
    std::vector<Form> fields;
    std::vector<Group> groups;
    std::array<double, mostMeasures> blankMeasures{};
    FilledColumns::Columns neverWritten{};
    std::size_t measureCount = 0;
    bool isKnown = false;  // otherwise, no line is known to be normalized
};

// Collects the form of a record from its rows. A rule that cannot be made without a model leaves the form unknown.
template <class M> class FormOf {
public:
    static RecordForm make() {
        FormOf all;
        all.form.kind = &kindOf<M>();
        all.form.isKnown = all.addFields() && all.addGroups();
        return std::move(all.form);
    }

private:
    using Row = tramo::Row<M>;

    const Record<M>& record = ModelAccess::table<M>();
    const M empty = emptyModel<M>();
    RecordForm form{};
    std::vector<const Row*> rows;  // of the form's fields
    std::vector<const Condition<M>*> conditions;

    static std::size_t end(const Row& row) { return static_cast<std::size_t>(row.column - 1 + row.width); }
    static bool haveCommonColumns(const Row& a, const Row& b) {
        return a.inLine() && b.inLine() && a.column < b.column + b.width && b.column < a.column + a.width;
    }

    // The value of a row that is read into another one is always that of the empty model.
    bool isNeverWritten(const Row& row) const {
        return !row.inLine() || row.options.written.operation == Test::Never ||
               (row.options.into && !passes(row.options.written, [&] { return row.value.measure(empty); }));
    }

    bool addFields() {
        std::array<bool, lineLength> written{true};
        form.fields.reserve(record.rows.size());  // pointers to fields stay valid
        std::size_t reading = 0;
        for (const Row& row : record.rows) {
            if (!row.inLine()) continue;
            const FieldReading& how = record.readings[reading++];
            if (isNeverWritten(row)) continue;
            if (!add(row, how)) return false;
            std::fill_n(written.begin() + how.first, how.width, true);
        }
        for (std::size_t i = 0; i < written.size(); ++i)
            if (!written[i]) form.neverWritten.add(i);
        return std::ranges::all_of(form.fields, [&](Form& field) { return findZeroCover(field); });
    }

    bool add(const Row& row, const FieldReading& reading) {
        if (row.options.into) return false;
        const bool isText = row.value.kind == FieldKind::Text;
        if (row.writtenWidth() < row.width || (row.writtenWidth() > row.width && !isText)) return false;
        // What is written beyond its columns must not overwrite a previous field.
        const auto overwrites = [&](const Row* other) {
            return static_cast<std::size_t>(other->column) > end(row) && other->column < row.column + row.writtenWidth();
        };
        if (std::ranges::any_of(rows, overwrites)) return false;
        const auto sharing = std::ranges::find_if(rows, [&](const Row* other) { return haveCommonColumns(*other, row); });
        if (sharing != rows.end()) {
            Form& other = form.fields[static_cast<std::size_t>(sharing - rows.begin())];
            const bool isWholeText = isText && (*sharing)->column == row.column && (*sharing)->width == row.width &&
                                     row.options.written.operation == Test::Always && !row.options.present;
            if (!isWholeText || !row.options.group || other.otherwise != none || isMeasured(row.value)) return false;
            other.otherwise = groupOf(row.options.group);
            return true;
        }
        Form field{
            .reading = reading, .decimals = row.value.decimals < 0 ? 6 : row.value.decimals, .written = row.options.written};
        field.codesKept = codesKept(row);
        if (row.options.group) field.group = groupOf(row.options.group);
        field.fills = fillsBlankColumns(row);
        form.fields.push_back(field);
        rows.push_back(&row);
        return true;
    }

    static CodeSet codesKept(const Row& row) {
        CodeSet all;
        const std::wstring read = row.value.codes(), written = row.value.codesWritten();
        for (std::size_t i = 0; i < read.size(); ++i)
            if (read[i] == written[i]) all.add(read[i]);
        return all;
    }

    bool fillsBlankColumns(const Row& row) const {
        if (row.options.present) return false;
        if (!row.options.blank.empty()) return true;
        if (!passes(row.options.written, [&] { return row.value.measure(empty); })) return false;
        std::array<wchar_t, lineLength + 2> columns;
        columns.fill(L' ');
        row.value.build(empty, columns.data(), row.writtenWidth());
        return std::ranges::any_of(columns, [](wchar_t c) { return c != L' '; });
    }

    bool findZeroCover(Form& field) const {
        if (field.reading.kind != FieldKind::AlarmFlags) return true;
        const int next = field.reading.first + field.reading.width;
        const auto isCover = [&](const Form& other) { return other.reading.first == next && &other > &field; };
        const auto cover = std::ranges::find_if(form.fields, isCover);
        if (cover != form.fields.end()) field.zeroCover = &*cover;
        return field.zeroCover != nullptr;
    }

    int groupOf(const Condition<M>* condition) {
        const auto found = std::ranges::find(conditions, condition);
        if (found == conditions.end()) conditions.push_back(condition);
        return static_cast<int>(std::ranges::find(conditions, condition) - conditions.begin());
    }

    bool isMeasured(const Value<M>& value) const {
        return std::ranges::any_of(record.rows, [&](const Row& row) {
            const auto isOfValue = [&](const Comparison<M>& each) { return each.value && each.value->get == value.get; };
            return row.options.group && std::ranges::any_of(row.options.group->comparisons, isOfValue);
        });
    }

    bool addGroups() {
        if (conditions.size() > mostGroups) return false;
        for (const Condition<M>* condition : conditions) {
            if (condition->isRule()) return false;
            Group group;
            for (; group.count < condition->count; ++group.count) {
                const auto place = static_cast<std::size_t>(group.count);
                const Comparison<M>& comparison = condition->comparisons[place];
                const int measure = measureOf(*comparison.value);
                if (measure == none) return false;
                group.tests[place] = {measure, comparison.test};
            }
            form.groups.push_back(group);
        }
        return true;
    }

    // The number of a value that is read from its own columns only.
    int measureOf(const Value<M>& value) {
        const auto row = std::ranges::find_if(rows, [&](const Row* each) { return each->value.get == value.get; });
        const bool isReadElsewhere = std::ranges::any_of(
            record.rows, [&](const Row& each) { return each.options.into && each.options.into->get == value.get; });
        if (row == rows.end() || isReadElsewhere || !(*row)->options.blank.empty()) return none;
        Form& field = form.fields[static_cast<std::size_t>(row - rows.begin())];
        if (field.measure != none) return field.measure;
        if (form.measureCount == mostMeasures) return none;
        form.blankMeasures[form.measureCount] = value.measure(empty);
        return field.measure = static_cast<int>(form.measureCount++);
    }
};

template <class> struct FormsOf;
template <class... M> struct FormsOf<std::variant<std::monostate, M...>> {
    static const std::array<RecordForm, sizeof...(M)>& all() {
        static const std::array<RecordForm, sizeof...(M)> forms{FormOf<M>::make()...};
        return forms;
    }
};

// Receives the value of a filled field, and finds whether it is written as it is read.
struct FormSink {
    const Form& form;
    double* measures;
    bool isKept = false;

    // `isSame`: the value is written in these characters.
    void take(bool isSame, auto value) {
        const auto measure = static_cast<double>(value);
        if (form.measure != none) measures[form.measure] = measure;
        isKept = isSame && passes(form.written, [&] { return measure; });
    }

    // Returns whether the field holds a time of a day without a clock change, as nearly all of them do: then it is written as it
    // is read.
    bool takeSteadyTime(std::string_view text, const zone::Clock& clock) {
        if (!isTimeOf(form.reading.kind, text.size())) return false;
        unsigned date = 0, time = 0;
        if (!takeDigits(text, std::min<std::size_t>(text.size(), 8), date) || !takeDigits(text, text.size(), time)) return false;
        if (form.reading.kind == FieldKind::Year) date = date * 10000 + 101;
        const long32 seconds = dates::toSteadyInstant(date / 10000, date / 100 % 100, date % 100, time / 100, time % 100, clock);
        if (seconds < 0) return false;
        take(true, seconds);
        return true;
    }

    void text(const FieldReading&, auto filled) { take(true, filled.size); }

    // A value that has as many digits as the text: no character is anything else.
    void integer(const FieldReading& field, auto value, auto filled) {
        const std::uint32_t count = filled.size - filled.blanks;
        const bool isAtEnd = filled.size == field.width;
        take(isAtEnd && count <= powers.size() &&
                 (value < 0 ? count > 1 && value <= -powers[count - 2] : count == 1 || value >= powers[count - 1]),
            value);
    }

    void decimal(const FieldReading& field, double value, auto filled) {
        const std::string_view text = filled.view(), digits = text.substr(filled.blanks);
        take(filled.size == field.width && isDecimal(digits, filled.blanks == 0) &&
                 (hasExactDigits(digits) || isWritten(value, text)),
            value);
    }

    void time(const FieldReading&, long32 seconds, auto filled) {
        take(seconds != dates::noTime && isTime(seconds, filled.view()), seconds);
    }

    void code(const FieldReading&, wchar_t code, auto filled) { take(filled.size == 1 && form.codesKept.has(code), 1); }

    void flag(const FieldReading&, bool value, auto filled) {
        take(filled.size == 1 && (*filled.text == '0' || *filled.text == '1'), value);
    }

    void alarms(const FieldReading&, unsigned bits, auto filled) {
        codec::AlarmFlags flags;
        for (std::size_t k = 0; k < flags.size(); ++k) flags[k] = (bits >> k & 1U) != 0;
        wchar_t written[5];
        codec::fromAlarmFlags(flags, written);
        take(filled.size == 4 && isSame(filled.view(), written), bits);
    }

private:
    static constexpr auto powers = [] {
        std::array<long long, 18> all{1};
        for (std::size_t i = 1; i < all.size(); ++i) all[i] = all[i - 1] * 10;
        return all;
    }();

    static bool isTimeOf(FieldKind kind, std::size_t size) {
        return (kind == FieldKind::Date && size == widthOf(codec::DateFormat::Date)) ||
               (kind == FieldKind::DateTime && size == widthOf(codec::DateFormat::DateTime)) ||
               (kind == FieldKind::Year && size == widthOf(codec::DateFormat::Year));
    }

    static bool takeDigits(std::string_view& text, std::size_t count, unsigned& value) {
        unsigned worst = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const auto digit = static_cast<unsigned char>(text[i] - '0');
            worst = std::max<unsigned>(worst, digit);
            value = value * 10 + digit;
        }
        text.remove_prefix(count);
        return worst <= 9;
    }

    static bool isSame(std::string_view text, const wchar_t* written) {
        return std::ranges::all_of(text, [&](char c) { return codec::codeOf(c) == codec::codeOf(*written++); });
    }

    static std::size_t countDigits(std::string_view text) {
        std::size_t count = 0;
        while (count < text.size() && codec::decimalDigit(text[count]) != codec::notADigit) ++count;
        return count;
    }

    // A sign, digits without leading zeros, a point and decimals. If the text fills its columns, some decimals can be missing,
    // because they were truncated.
    bool isDecimal(std::string_view text, bool fillsColumns) const {
        if (text.starts_with('-')) text.remove_prefix(1);
        const std::size_t whole = countDigits(text), decimals = static_cast<std::size_t>(form.decimals);
        if (whole == 0 || (whole > 1 && text[0] == '0')) return false;
        text.remove_prefix(whole);
        if (text.empty()) return fillsColumns;
        if (text[0] != '.' || decimals == 0) return false;
        text.remove_prefix(1);
        return countDigits(text) == text.size() && (text.size() == decimals || (fillsColumns && text.size() < decimals));
    }

    // With few digits, a double and the text that is written of it have the same ones.
    bool hasExactDigits(std::string_view text) const {
        constexpr std::size_t alwaysKept = 15;
        return std::min(text.find('.'), text.size()) + static_cast<std::size_t>(form.decimals) <= alwaysKept;
    }

    bool isWritten(double value, std::string_view text) const {
        std::array<wchar_t, lineLength> written;
        codec::fromDouble(value, written.data(), static_cast<int>(text.size()), form.decimals);
        return isSame(text, written.data());
    }

    // A clock change can skip a local time.
    static bool isTime(long32 seconds, std::string_view text) {
        wchar_t written[12];
        codec::fromDate(seconds, written, static_cast<codec::DateFormat>(text.size()));
        return isSame(text, written);
    }
};

bool holdsControls(std::string_view line) {
    unsigned char least = 0xFF;  // without early exit, so that the compiler vectorizes the loop
    for (const char c : line) least = std::min(least, static_cast<unsigned char>(c));
    return least < ' ';
}

bool isNormalized(const RecordForm& form, const char* line) {
    const FilledColumns filledColumns(line);
    if (filledColumns.isFilledIn(form.neverWritten)) return false;
    std::array<double, mostMeasures> measures;
    std::copy_n(form.blankMeasures.begin(), form.measureCount, measures.begin());
    const zone::Clock clock;
    std::uint64_t hold = 0, failToHold = 0;  // the groups that must
    for (const Form& field : form.fields) {
        const auto [blanks, size] = filledColumns.text(field.reading.first, field.reading.width);
        const auto bit = [](int group) { return std::uint64_t{1} << group; };
        if (size == 0) {
            if (field.fills && field.group == none) return false;
            if (field.fills) failToHold |= bit(field.group);
            continue;
        }
        FormSink sink{field, measures.data()};
        const FilledText<char> filled{line + field.reading.first, blanks, size};
        if (!sink.takeSteadyTime(filled.view(), clock) && !detail::decodeFilled(field.reading, filled, clock, sink)) return false;
        if (sink.isKept) {
            if (field.group != none) hold |= bit(field.group);
        } else if (field.otherwise != none) {
            hold |= bit(field.otherwise);
        } else {
            return false;
        }
        const Form* const cover = field.zeroCover;
        if (cover && filledColumns.text(cover->reading.first, cover->reading.width).size == 0) return false;
    }
    for (std::size_t i = 0; i < form.groups.size(); ++i) {
        const bool must = (hold >> i & 1) != 0, mustNot = (failToHold >> i & 1) != 0;
        if (must && mustNot) return false;
        if ((must || mustNot) && form.groups[i].holds(measures.data()) != must) return false;
    }
    return true;
}

}  // namespace

bool isSurelyNormalized(const RecordKind& kind, std::string_view line) {
    const auto& forms = FormsOf<AnyRecord::Model>::all();
    const auto form = std::ranges::find(forms, &kind, &RecordForm::kind);
    if (form == forms.end() || !form->isKnown || line.size() < lineLength) return false;
    line = line.substr(0, lineLength);
    return codec::codeOf(line.front()) == codec::codeOf(kind.letter) && !holdsControls(line) && isNormalized(*form, line.data());
}

}  // namespace tramo
