#include "support/records.h"
#include "support/build.h"
#include <algorithm>
#include <limits>
#include <set>
#include <stdexcept>

namespace records {

testing::AssertionResult equal(const FieldValue& found, const FieldValue& expected) {
    if (same(found, expected)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "found " << display(found) << ", expected " << display(expected);
}

const Field& fieldOf(const tramo::RecordKind& kind, const std::string& name) {
    const Field* field = kind.field(name);
    if (!field) throw std::logic_error("no field " + name);
    return *field;
}

// ---- Values to try --------------------------------------------------------------------------------------------------

std::wstring fullText(const Row& row) {
    if (!row.options.example.empty()) return row.options.example;
    const auto width = static_cast<std::size_t>(row.width);
    switch (row.kind) {
    case Text: {
        std::wstring text(width, L'-');
        for (std::size_t i = 0; i < width; ++i) text[i] = static_cast<wchar_t>(L'A' + i % 26);
        return text;
    }
    case Integer: {
        std::wstring text(width, L'0');
        for (std::size_t i = 0; i < width; ++i) text[i] = static_cast<wchar_t>(L'1' + i % 9);
        return text;
    }
    case Decimal: return L"1" + std::wstring(width - 3, L'2') + L".5";
    case Date: return L"20240131";
    case DateTime: return L"202402291405";
    case Year: return L"2013";
    case Code: return std::wstring(1, row.options.codes->read.back());
    case Flag: return L"1";
    case AlarmFlags: return L"A50C";
    }
    return {};
}

FieldValue goodValue(const Row& row) { return *valueIn(row, row.kind == Decimal ? L"7.25" : fullText(row)); }

namespace {

// An invalid text, or nothing if every text is valid.
std::optional<std::wstring> badText(const Row& row) {
    const auto width = static_cast<std::size_t>(row.width);
    switch (row.kind) {
    case Integer:
    case Decimal:
    case Year: return std::wstring(width, L'x');
    case Date: return L"20240230";
    case DateTime: return L"202402300900";
    case Code: return L"~";
    default: return {};
    }
}

// A value that passes or fails a condition, as close to its limit as the kind of the field allows.
FieldValue nearLimit(const Need& need, const Row& row, bool passing) {
    if (row.kind == Text) return passing ? std::wstring(L"a") : std::wstring();
    if (row.kind == Code) return passing ? row.options.codes->read[0] : unset;
    if (row.kind == Flag) return passing;
    const double away = row.kind == Decimal ? 0.000001 : 1;
    double value = need.limit;
    switch (need.operation) {
    case Need::Above: value = passing ? need.limit + away : need.limit; break;
    case Need::AtLeast: value = passing ? need.limit : need.limit - away; break;
    case Need::AtMost: value = passing ? need.limit : need.limit + away; break;
    case Need::Not: value = passing ? need.limit + away : need.limit; break;
    case Need::WasSet:
    case Need::Never: break;
    }
    if (row.kind == Decimal) return value;
    return static_cast<long long>(value);
}

constexpr wchar_t special[] = L"0123456789+-.,eExXinfaNT\t\r\n\v\f\0\u2003\u0130\u0131";

}  // namespace

const int manyTimes = testsOptimised ? 10000 : 1000;

// ---- Random lines ---------------------------------------------------------------------------------------------------

std::wstring Lines::next() {
    std::wstring line = blankText(table.letter, table.length);
    switch (below(6)) {
    case 0: scatter(line, 1, [&] { return static_cast<wchar_t>(L' ' + below(95)); }); break;
    case 1: scatter(line, 1, [&] { return static_cast<wchar_t>(below(0x10000)); }); break;
    case 2: scatter(line, 2, [&] { return static_cast<wchar_t>(L'0' + below(10)); }); break;
    case 3: good(line); break;
    case 4:
        good(line);
        for (int damages = below(20); damages >= 0; --damages) damage(line);
        break;
    case 5:  // characters that conversions treat specially, among spaces
        scatter(line, 3, [&] { return special[below(std::size(special) - 1)]; });
        break;
    }
    if (table.letter) line[0] = table.letter;
    return line;
}

FieldValue Lines::value(const Row& row, bool ordinary) {
    const bool any = !ordinary && below(4) == 0;
    switch (row.kind) {
    case Text: {
        if (!any && !row.options.example.empty()) return below(2) ? row.options.example : std::wstring();
        std::wstring text(static_cast<std::size_t>(below(row.width + (any ? 3 : 1))), L' ');
        for (wchar_t& c : text) c = any ? static_cast<wchar_t>(below(0x10000)) : static_cast<wchar_t>(L'!' + below(94));
        return text;
    }
    case Integer: {
        if (below(3) == 0) return static_cast<long long>(below(7)) - 1;
        if (any) return static_cast<long long>(random()) >> below(60);
        return numberOf(below(row.width) + 1);
    }
    case Decimal:
        if (any) {
            static constexpr double odd[] = {0, -0.0, 1e300, -1e300, 1e-300, -0.5, -1, 1e17,
                std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()};
            return odd[below(std::size(odd))];
        }
        if (below(4) == 0) return -1.0;
        return static_cast<double>(numberOf(4)) / 4;  // two decimals
    case Date:
    case DateTime:
    case Year: return time(row, any);
    case Code:
        if (any && row.options.codes == &fluids) return L' ';
        return below(4) == 0 ? unset : row.options.codes->read[static_cast<std::size_t>(below(row.options.codes->read.size()))];
    case Flag: return below(2) == 0;
    case AlarmFlags: return static_cast<long long>(below(0x1000));
    }
    return {};
}

FieldValue Lines::time(const Row& row, bool any) {
    if (below(4) == 0) return row.absent;
    if (any) return static_cast<long long>(static_cast<std::int32_t>(random()));
    const int year = 1971 + below(66);
    if (row.kind == Year) return *seconds(year, 1, 1);
    if (row.kind == Date) return *seconds(year, 1 + below(12), 1 + below(28));
    return *seconds(year, 1 + below(12), 1 + below(20), 4 + below(20), below(60));  // never a skipped or repeated hour
}
long long Lines::numberOf(int figures) {
    long long number = 0;
    while (figures-- > 0) number = number * 10 + below(10);
    return number;
}
template <class Character> void Lines::scatter(std::wstring& line, int oneIn, Character character) {
    for (wchar_t& c : line)
        if (below(oneIn) == 0) c = character();
}
void Lines::good(std::wstring& line) {
    for (const Row& row : table.rows)
        if (row.width != 0 && below(3) != 0) writeInto(line, row, value(row, true));
}
void Lines::damage(std::wstring& line) {
    const auto place = static_cast<std::size_t>(below(table.length));
    switch (below(5)) {
    case 0: line[place] = static_cast<wchar_t>(L' ' + below(95)); break;
    case 1: line[place] = static_cast<wchar_t>(below(0x10000)); break;
    case 2:
        line.erase(place, 1);
        line += L' ';
        break;  // shifted to the left
    case 3:
        line.insert(place, 1, L' ');
        line.pop_back();
        break;  // and to the right
    case 4:
        if (below(10) == 0) line.replace(place, std::wstring::npos, line.size() - place, L'\0');
        break;  // short
    }
}

// ---- Comparison with the reference model ----------------------------------------------------------------------------

namespace {

std::unique_ptr<Model> parsed(const Models& models, const std::wstring& text) { return models.parsed(text + L"\r\n"); }
std::wstring builtBy(Model& model) {
    std::wstring line = model.build();
    line.resize(line.size() - 2);
    return line;
}
FieldValue valueOf(const Model& model, const std::string& name) { return model.get(fieldOf(model.kind(), name)); }
bool setValue(Model& model, const std::string& name, const FieldValue& value) {
    return model.set(fieldOf(model.kind(), name), value);
}

void setBoth(Model& model, State& state, const Table& table, const std::string& name, const FieldValue& value) {
    ASSERT_TRUE(setValue(model, name, value)) << name << " = " << display(value);
    setIn(state, table, name, value);
}

void expectBuilt(Model& model, const State& state, const Table& table) {
    Faults errors;
    const std::wstring line = written(table, state, errors);
    EXPECT_EQ(model.build(), line + L"\r\n");
    EXPECT_EQ(model.buildErrors(), errors);
}
void expectChecked(Model& model, const State& state, const Table& table) {
    Faults mandatory, parse = model.parseErrors();
    table.check(state, mandatory, parse);
    EXPECT_EQ(model.mandatoryErrors(), mandatory);
    EXPECT_EQ(model.parseErrors(), parse);
}

// Sets the values that the row needs to be written, except its own value and the condition left out.
void satisfy(Model& model, State& state, const Table& table, const Row& row, const Need* leftOut = nullptr) {
    for (const Need& need : row.options.written)
        if (&need != leftOut && need.operation != Need::WasSet && !need.field.empty() && need.field != row.name)
            setBoth(model, state, table, need.field, nearLimit(need, table.row(need.field), true));
}

}  // namespace

void expectValuesOf(const Values& values, const State& state) {
    for (const Field& field : values.kind().fields)
        EXPECT_TRUE(equal(values.get(field), state.values.at(field.name))) << field.name;
}
void expectAlike(const Models& models, const Table& table, const std::wstring& line) {
    Faults errors;
    const State state = read(table, line, errors);
    const auto model = parsed(models, line);
    EXPECT_EQ(model->parseErrors(), errors);
    EXPECT_EQ(model->toString(), shown(table, state));
    expectValuesOf(*model, state);
    expectBuilt(*model, state, table);
    expectChecked(*model, state, table);
}

namespace {

// ---- The tests of one field -----------------------------------------------------------------------------------------

void fieldIsDescribed(const Models& models, const Table&, const Row& row) {
    const Field& field = fieldOf(models.kind(), row.name);
    EXPECT_EQ(field.column, row.column);
    EXPECT_EQ(field.width, row.width);
    EXPECT_EQ(field.label, row.label);
    EXPECT_EQ(field.kind, row.kind);
    EXPECT_EQ(field.decimals, row.options.decimals);
    EXPECT_EQ(std::set<wchar_t>(field.codes.begin(), field.codes.end()),
        row.options.codes ? std::set<wchar_t>(row.options.codes->read.begin(), row.options.codes->read.end())
                          : std::set<wchar_t>());
    EXPECT_EQ(faultOf(field.parseError), row.parse);
    EXPECT_EQ(faultOf(field.buildError), row.build);
    EXPECT_EQ(faultOf(field.mandatoryError), row.options.mandatory);
    EXPECT_EQ(field.reportedInParseList, row.options.toParseList);
    EXPECT_EQ(field.mandatory.empty(), row.options.mandatory.code == 0) << field.mandatory;
    EXPECT_TRUE(equal(field.defaultValue, row.absent));
    EXPECT_EQ(field.written == "always", row.options.written.empty()) << field.written;
    EXPECT_FALSE(field.written.empty());
    EXPECT_EQ(&models.kind().fields[field.index], &field);
}

void fieldIsAbsentByDefault(const Models& models, const Table&, const Row& row) {
    EXPECT_TRUE(equal(valueOf(*models.empty(), row.name), row.absent));
}

// A text in exactly these columns belongs to this field and to no other.
void fieldReadsItsColumns(const Models& models, const Table& table, const Row& row) {
    if (row.width == 0) return;
    std::wstring line = blankText(table.letter, table.length);
    put(line, row.column, fullText(row));
    const auto model = parsed(models, line);
    EXPECT_EQ(model->parseErrors().size(), 0u);
    const std::string& target = row.options.into.empty() ? row.name : row.options.into;
    EXPECT_TRUE(equal(valueOf(*model, target), *valueIn(row, fullText(row))));
    expectValuesOf(*model, read(table, line));
}

// Every column is read, including the first and the last one.
void fieldEndsWhereItShould(const Models& models, const Table& table, const Row& row) {
    if (row.kind != Text || row.width == 0) return;
    const Silence quiet;
    for (const int column : {row.column, row.column + row.width - 1}) {
        std::wstring line = blankText(table.letter, table.length);
        put(line, column, L"z");
        EXPECT_TRUE(equal(valueOf(*parsed(models, line), row.name), blanks(column - row.column) + L"z")) << column;
    }
}

// With every other field filled, blank columns keep the default and report nothing.
void blankFieldKeepsItsDefault(const Models& models, const Table& table, const Row& row) {
    if (row.width == 0) return;
    std::wstring line = blankText(table.letter, table.length);
    for (const Row& each : table.rows)
        if (each.width != 0) put(line, each.column, fullText(each));
    put(line, row.column, blanks(row.width));
    const auto model = parsed(models, line);
    EXPECT_EQ(model->parseErrors(), Faults());
    const auto isReadInto = [&](const Row& each) { return each.options.into == row.name; };
    if (row.options.into.empty() && std::ranges::none_of(table.rows, isReadInto)) {
        EXPECT_TRUE(equal(valueOf(*model, row.name), row.options.blank.value_or(row.absent)));
    }
    expectValuesOf(*model, read(table, line));
}

void badTextGivesItsError(const Models& models, const Table& table, const Row& row) {
    if (row.width == 0) return;
    const auto bad = badText(row);
    std::wstring line = blankText(table.letter, table.length);
    put(line, row.column, bad.value_or(std::wstring(static_cast<std::size_t>(row.width), L'~')));
    const Silence quiet;
    const auto model = parsed(models, line);
    if (!row.options.overlaid) { EXPECT_EQ(model->parseErrors(), bad ? Faults{row.parse} : Faults()); }
    if (bad) { EXPECT_TRUE(equal(valueOf(*model, row.name), row.absent)); }
    expectAlike(models, table, line);
}

// A value is written into exactly its columns, justified as its kind requires.
void fieldIsWrittenIntoItsColumns(const Models& models, const Table& table, const Row& row) {
    if (row.width == 0) return;
    std::vector<FieldValue> values = {goodValue(row)};
    if (row.kind == Text) values.push_back(std::wstring(L"z"));
    if (row.kind == Integer) values.push_back(9LL);
    if (row.kind == Decimal) values.push_back(8.5);
    if (row.kind == Flag) values = {true, false};
    if (row.kind == Code) {
        values.clear();
        for (const wchar_t code : row.options.codes->read) values.push_back(code);
        values.push_back(unset);
    }
    for (const FieldValue& value : values) {
        SCOPED_TRACE(display(value));
        const Silence quiet;
        const auto model = models.empty();
        State state = absentState(table);
        satisfy(*model, state, table, row);
        setBoth(*model, state, table, row.name, value);
        const std::wstring line = builtBy(*model);
        std::wstring expected = blankText(0, table.length);
        const bool fits = writeInto(expected, row, value);
        if (!neverWritten(row)) {
            EXPECT_EQ(columns(line, row.column, row.width), columns(expected, row.column, row.width));
            EXPECT_EQ(model->buildErrors(), fits ? Faults() : Faults{row.build});
        }
        expectBuilt(*model, state, table);
    }
}

// On both sides of each limit of each condition.
void fieldIsWrittenOnItsConditions(const Models& models, const Table& table, const Row& row) {
    if (row.width == 0 || neverWritten(row)) return;
    if (row.options.written.empty()) {  // always: even in a model without any other value
        auto model = models.empty();
        setValue(*model, row.name, goodValue(row));
        EXPECT_NE(columns(builtBy(*model), row.column, row.width), blanks(row.width));
    }
    for (const Need& need : row.options.written) {
        for (const bool passing : {true, false}) {
            auto model = models.empty();
            State state = absentState(table);
            satisfy(*model, state, table, row, &need);
            const bool own = need.field.empty() || need.field == row.name;
            if (!own || need.operation == Need::WasSet) setBoth(*model, state, table, row.name, goodValue(row));
            const std::string& name = own ? row.name : need.field;
            if (need.operation != Need::WasSet) setBoth(*model, state, table, name, nearLimit(need, table.row(name), passing));
            else if (!passing) {
                model = models.empty();
                state = absentState(table);
            }
            SCOPED_TRACE(name + " = " + display(state.values.at(name)));
            const bool filled = columns(builtBy(*model), row.column, row.width) != blanks(row.width);
            if (passing || !row.options.overlaid) { EXPECT_EQ(filled, passing); }
            expectBuilt(*model, state, table);
        }
    }
}

// A text that is too long is left out and reported; a number that is too long is truncated on the right without an error.
void tooLongIsLeftOutOrCut(const Models& models, const Table& table, const Row& row) {
    const auto width = static_cast<std::size_t>(row.options.writtenWidth ? row.options.writtenWidth : row.width);
    if (width == 0 || neverWritten(row)) return;
    const auto model = models.empty();
    State state = absentState(table);
    satisfy(*model, state, table, row);
    if (row.kind == Text) {
        const std::wstring without = builtBy(*model);
        setBoth(*model, state, table, row.name, std::wstring(width + 1, L'q'));
        const std::wstring line = builtBy(*model);
        EXPECT_EQ(columns(line, row.column, row.width), columns(without, row.column, row.width));
        EXPECT_EQ(model->buildErrors(), Faults{row.build});
        setBoth(*model, state, table, row.name, std::wstring(width, L'q'));
        model->build();
        EXPECT_EQ(model->buildErrors(), Faults());  // the list is that of the last build
    }
    if (row.kind == Integer && width < 18) {
        const std::wstring number = std::wstring(L"123456789123456789").substr(0, width + 1);
        if (!setValue(*model, row.name, std::stoll(number))) return;  // the number type of the model holds no longer numbers
        setIn(state, table, row.name, std::stoll(number));
        EXPECT_EQ(columns(builtBy(*model), row.column, row.width), number.substr(0, width));
        EXPECT_EQ(model->buildErrors(), Faults());
    }
    if (row.kind == Decimal) {
        setBoth(*model, state, table, row.name, 123456789123456789.0);
        EXPECT_EQ(columns(builtBy(*model), row.column, row.width), std::wstring(L"123456789123456784.000").substr(0, width));
        EXPECT_EQ(model->buildErrors(), Faults());
    }
    expectBuilt(*model, state, table);
}

// ---- The tests of a whole record ------------------------------------------------------------------------------------

void recordIsDescribed(const Models& models, const Table& table) {
    const tramo::RecordKind& kind = models.kind();
    EXPECT_EQ(kind.letter, table.letter);
    EXPECT_EQ(kind.model, table.model);
    EXPECT_EQ(kind.length, table.length);
    std::vector<std::string> names, expected;
    for (const Field& field : kind.fields) names.push_back(field.name);
    for (const Row* row : table.asWritten()) expected.push_back(row->name);
    EXPECT_EQ(names, expected);  // in the order of writing
}

void defaultsAreWrittenShownAndChecked(const Models& models, const Table& table) {
    const auto model = models.empty();
    const State state = absentState(table);
    EXPECT_EQ(model->toString(), shown(table, state));
    expectBuilt(*model, state, table);
    expectChecked(*model, state, table);
}

void randomLinesAreReadAlike(const Models& models, const Table& table) {
    const Silence quiet;
    Lines lines(table, 1);
    for (int i = 0; i < manyTimes; ++i) {
        const std::wstring line = lines.next();
        expectAlike(models, table, line);
        STOP_AT_FAILURE("line " << i << ": " << display(line));
    }
}

void anotherTurnChangesNothing(const Models& models, const Table& table) {
    const Silence quiet;
    Lines lines(table, 2);
    for (int i = 0; i < manyTimes; ++i) {
        const std::wstring line = lines.next();
        const auto turned = [&](const std::wstring& from) { return builtBy(*parsed(models, from)); };
        std::wstring settled = line;
        for (int turn = 0; turn < table.turns; ++turn) settled = turned(settled);
        EXPECT_EQ(turned(settled), settled);
        STOP_AT_FAILURE("line " << i << ": " << display(line));
    }
}

void randomValuesAreWrittenAlike(const Models& models, const Table& table) {
    const Silence quiet;
    Lines lines(table, 3);
    for (int i = 0; i < manyTimes; ++i) {
        const auto model = models.empty();
        State state = absentState(table);
        for (const Row& row : table.rows) {
            const FieldValue value = lines.value(row, false);
            if (lines.below(3) != 0 && setValue(*model, row.name, value)) setIn(state, table, row.name, value);
        }
        expectValuesOf(*model, state);
        EXPECT_EQ(model->toString(), shown(table, state));
        expectBuilt(*model, state, table);
        expectChecked(*model, state, table);
        STOP_AT_FAILURE("record " << i << ": " << display(model->toString()));
    }
}

// parse(build(x)) equals x, except for the asymmetries of the table, each of which must occur.
void ordinaryValuesSurvive(const Models& models, const Table& table) {
    const Silence quiet;
    Lines lines(table, 4);
    std::vector<int> met(table.asymmetries.size());
    for (int i = 0; i < manyTimes; ++i) {
        const auto model = models.empty();
        State state = absentState(table);
        for (const Row& row : table.rows)
            if (lines.below(3) != 0) setBoth(*model, state, table, row.name, lines.value(row, true));
        const auto again = models.parsed(model->build());
        Faults reported;
        for (const Row& row : table.rows) {
            FieldValue expected = state.values.at(row.name);
            for (std::size_t k = 0; k < table.asymmetries.size(); ++k) {
                const Asymmetry& asymmetry = table.asymmetries[k];
                if (!asymmetry.applies(row, state)) continue;
                ++met[k];
                if (asymmetry.becomesBy) expected = asymmetry.becomesBy(row, state);
                else expected = asymmetry.becomes ? *asymmetry.becomes : row.options.blank.value_or(row.absent);
                if (asymmetry.reported.code) reported.push_back(asymmetry.reported);
                break;
            }
            EXPECT_TRUE(equal(valueOf(*again, row.name), expected)) << row.name << " was " << display(state.values.at(row.name));
        }
        EXPECT_EQ(again->parseErrors(), reported);
        STOP_AT_FAILURE("record " << i << ": " << display(model->toString()));
    }
    for (std::size_t k = 0; k < met.size(); ++k) EXPECT_GT(met[k], 0) << table.asymmetries[k].reason;
}

// ---- Registration ---------------------------------------------------------------------------------------------------

using Property = void (*)(const Models&, const Table&, const Row&);
using Whole = void (*)(const Models&, const Table&);

class TableTest : public testing::Test {
public:
    explicit TableTest(std::function<void()> of) : body(std::move(of)) {}
    void TestBody() override { body(); }

private:
    std::function<void()> body;
};

void add(const std::string& suite, const std::string& name, const std::string& value, const char* file, int line,
    const std::function<void()>& body) {
    testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, value.empty() ? nullptr : value.c_str(), file, line,
        [body]() -> testing::Test* { return new TableTest(body); });
}

}  // namespace

bool testEveryField(const std::string& model, const Models& models, const Table& table, const char* file, int line) {
    static constexpr std::pair<const char*, Property> ofFields[] = {
        {"IsDescribed", fieldIsDescribed},
        {"IsAbsentByDefault", fieldIsAbsentByDefault},
        {"ReadsItsColumns", fieldReadsItsColumns},
        {"ReadsItsFirstAndLastColumn", fieldEndsWhereItShould},
        {"BlankKeepsItsDefault", blankFieldKeepsItsDefault},
        {"InvalidTextReportsItsError", badTextGivesItsError},
        {"IsWrittenIntoItsColumns", fieldIsWrittenIntoItsColumns},
        {"IsWrittenUnderItsConditions", fieldIsWrittenOnItsConditions},
        {"TooLongIsLeftOutOrTruncated", tooLongIsLeftOutOrCut},
    };
    static constexpr std::pair<const char*, Whole> ofRecords[] = {
        {"IsDescribed", recordIsDescribed},
        {"DefaultsAreWrittenShownAndChecked", defaultsAreWrittenShownAndChecked},
        {"RandomLinesAreReadAsTheTableStates", randomLinesAreReadAlike},
        {"AnotherTurnChangesNothing", anotherTurnChangesNothing},
        {"RandomValuesAreWrittenAsTheTableStates", randomValuesAreWrittenAlike},
        {"OrdinaryValuesSurvive", ordinaryValuesSurvive},
    };
    for (const auto& [name, test] : ofFields)
        for (const Row& row : table.rows)
            add("Of/" + model + "Field", name + ("/" + row.name), testing::PrintToString(row), file, line,
                [&models, &table, &row, test = test] { test(models, table, row); });
    for (const auto& [name, test] : ofRecords)
        add(model + "Record", name, "", file, line, [&models, &table, test = test] { test(models, table); });
    return true;
}

}  // namespace records
