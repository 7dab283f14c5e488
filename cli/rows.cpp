#include "rows.h"
#include "celltext.h"
#include "findings.h"
#include "text.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <deque>
#include <fmt/format.h>
#include <limits>
#include <tramostream/keyline.h>
#include <tramostream/stringconverter.h>
#include <utility>

namespace tramo::cli {

namespace {

constexpr const char* textColumn = "text";

Column::Type typeOf(const Field& field) {
    switch (field.kind) {
    case FieldKind::Integer: return Column::Type::Integer;
    case FieldKind::Decimal: return Column::Type::Real;
    case FieldKind::Flag: return Column::Type::Flag;
    default: return Column::Type::Text;
    }
}

std::string identifierOf(std::string name) {
    std::ranges::replace(name, ' ', '_');
    return name;
}

Table tableOf(const RecordKind& kind) {
    static std::deque<LineModel> blanks;  // which stay where they are
    const LineModel& blank = blanks.emplace_back(LineModel::blank(kind));
    Table table{kind.name, identifierOf(kind.name), {}, &blank};
    for (const Field& field : kind.fields)
        if (field.column > 0) table.columns.push_back({field.name, typeOf(field), &field, blank.get(field)});
    return table;
}

std::vector<Table> makeTables() {
    std::vector<Table> all;
    for (const RecordKind* kind : allKinds()) all.push_back(tableOf(*kind));
    Table& key = all.emplace_back(Table{"key", "key", {}, nullptr});
    for (const KeyValue& value : keyValues)
        key.columns.push_back({std::string(value.name), value.text ? Column::Type::Text : Column::Type::Integer});
    key.columns.push_back({textColumn, Column::Type::Text});
    all.push_back({textColumn, textColumn, {{textColumn, Column::Type::Text}}, nullptr});
    return all;
}

// --- From values to cells --------------------------------------------------------------------------------------------

// What reads back as another number in one form or another: JSON and SQLite have no infinities, SQLite no negative zero.
struct NamedNumber {
    const wchar_t* name;
    double value;
};
constexpr double infinity = std::numeric_limits<double>::infinity(), notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr NamedNumber namedNumbers[] = {
    {L"nan", notANumber}, {L"-nan", -notANumber}, {L"inf", infinity}, {L"-inf", -infinity}, {L"-zero", -0.0}};

bool isSame(double a, double b) { return std::signbit(a) == std::signbit(b) && (std::isnan(a) ? std::isnan(b) : a == b); }

bool isSame(const FieldValue& a, const FieldValue& b) {
    if (const auto* x = std::get_if<double>(&a), *y = std::get_if<double>(&b); x && y) return isSame(*x, *y);
    return a == b;
}

Cell cellOf(double value) {
    if (std::isfinite(value) && !isSame(value, -0.0)) return value;
    return std::ranges::find_if(namedNumbers, [&](const NamedNumber& named) { return isSame(named.value, value); })->name;
}

constexpr std::wstring_view secondsBehind = L" s";

std::optional<long long> timeOf(FieldKind kind, std::wstring_view text);

// A time that its date does not tell exactly (another minute, another midnight, an hour that a zone repeats) is seconds.
std::wstring dateOf(const Field& field, long long seconds) {
    std::wstring text = textOf(field, seconds);
    if (timeOf(field.kind, text) != seconds) text = std::to_wstring(seconds).append(secondsBehind);
    return text;
}

Cell cellOf(const Field& field, FieldValue value) {
    switch (field.kind) {
    case FieldKind::Text: return std::get<std::wstring>(std::move(value));
    case FieldKind::Integer: return std::get<long long>(value);
    case FieldKind::Decimal: return cellOf(std::get<double>(value));
    case FieldKind::Flag: return std::get<bool>(value);
    case FieldKind::Code:
    case FieldKind::AlarmFlags: return textOf(field, value);
    case FieldKind::Date:
    case FieldKind::DateTime:
    case FieldKind::Year: break;
    }
    return dateOf(field, std::get<long long>(value));
}

// --- From cells to values --------------------------------------------------------------------------------------------

template <class Number, class... Format> std::optional<Number> parsed(std::wstring_view text, Format... format) {
    std::array<char, 64> narrow{};
    if (text.empty() || text.size() > narrow.size()) return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) narrow[i] = text[i] < 0x80 ? static_cast<char>(text[i]) : '?';
    Number value{};
    const char* end = narrow.data() + text.size();
    const auto [stop, error] = std::from_chars(narrow.data(), end, value, format...);
    return error == std::errc{} && stop == end ? std::optional(value) : std::nullopt;
}

// "0000-00-00T00:00": a digit for each zero, everything else as it stands. Gives the digits.
std::optional<std::wstring> digitsOf(std::wstring_view text, std::wstring_view pattern) {
    if (text.size() != pattern.size()) return std::nullopt;
    std::wstring digits;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isDigit = text[i] >= L'0' && text[i] <= L'9';
        if (pattern[i] == L'0' ? !isDigit : text[i] != pattern[i]) return std::nullopt;
        if (isDigit) digits += text[i];
    }
    return digits;
}

std::optional<long long> timeOf(FieldKind kind, std::wstring_view text) {
    if (text.ends_with(secondsBehind)) {
        const auto seconds = parsed<long long>(text.substr(0, text.size() - secondsBehind.size()));
        return seconds && std::in_range<std::int32_t>(*seconds) ? seconds : std::nullopt;
    }
    const wchar_t* pattern = kind == FieldKind::Year ? L"0000" : kind == FieldKind::Date ? L"0000-00-00" : L"0000-00-00T00:00";
    std::optional<std::wstring> digits = digitsOf(text, pattern);
    if (!digits) return std::nullopt;
    long32 seconds{};
    if (kind == FieldKind::Year
            ? !StrConv::toYear(*digits, seconds)
            : !(kind == FieldKind::Date ? StrConv::toDate(*digits, seconds) : StrConv::toDateTime(*digits, seconds)))
        return std::nullopt;
    return seconds;
}

std::optional<double> realOf(const Cell& cell) {
    if (const auto* real = std::get_if<double>(&cell)) return *real;
    if (const auto* integer = std::get_if<long long>(&cell)) return static_cast<double>(*integer);
    const auto* text = std::get_if<std::wstring>(&cell);
    if (!text) return std::nullopt;
    for (const NamedNumber& named : namedNumbers)
        if (*text == named.name) return named.value;
    const auto value = parsed<double>(*text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<long long> integerOf(const Cell& cell) {
    if (const auto* integer = std::get_if<long long>(&cell)) return *integer;
    const auto* text = std::get_if<std::wstring>(&cell);
    return text ? parsed<long long>(*text) : std::nullopt;
}

std::optional<bool> flagOf(const Cell& cell) {
    if (const auto* flag = std::get_if<bool>(&cell)) return *flag;
    if (const auto* text = std::get_if<std::wstring>(&cell)) {
        if (*text == L"true") return true;
        if (*text == L"false") return false;
    }
    const auto integer = integerOf(cell);
    return integer && (*integer == 0 || *integer == 1) ? std::optional(*integer == 1) : std::nullopt;
}

template <class T> std::optional<FieldValue> wrapped(const std::optional<T>& value) {
    return value ? std::optional<FieldValue>(*value) : std::nullopt;
}

std::optional<FieldValue> valueOf(const Field& field, const Cell& cell) {
    const auto* text = std::get_if<std::wstring>(&cell);
    switch (field.kind) {
    case FieldKind::Integer: return wrapped(integerOf(cell));
    case FieldKind::Decimal: return wrapped(realOf(cell));
    case FieldKind::Flag: return wrapped(flagOf(cell));
    default: break;
    }
    if (!text) return std::nullopt;
    switch (field.kind) {
    case FieldKind::Text: return *text;
    case FieldKind::Code: return text->size() == 1 ? std::optional<FieldValue>(text->front()) : std::nullopt;
    case FieldKind::AlarmFlags: return text->size() == 4 ? wrapped(parsed<long long>(*text, 16)) : std::nullopt;
    default: return wrapped(timeOf(field.kind, *text));
    }
}

const char* whatFits(const Field& field) {
    switch (field.kind) {
    case FieldKind::Text: return "no text";
    case FieldKind::Integer: return "no whole number that the field can hold";
    case FieldKind::Decimal: return "no number";
    case FieldKind::Date: return "no date YYYY-MM-DD that the field can hold";
    case FieldKind::DateTime: return "no date and time YYYY-MM-DDThh:mm that the field can hold";
    case FieldKind::Year: return "no year YYYY";
    case FieldKind::Code: return "no code of the field";
    case FieldKind::Flag: return "neither true (1) nor false (0)";
    case FieldKind::AlarmFlags: return "no set of alarm flags, four hexadecimal digits";
    }
    return "";
}

// Texts and whole numbers that the library would cut or leave out. What it has read always fits.
bool isTooWide(const Field& field, const FieldValue& value) {
    const auto width = static_cast<std::size_t>(field.width);
    if (const auto* text = std::get_if<std::wstring>(&value)) return text->size() > width;
    return field.kind == FieldKind::Integer && std::to_string(std::get<long long>(value)).size() > width;
}

LineModel modelOf(const Row& row) {
    LineModel model = *row.table->blank;
    for (std::size_t i = 0; i < row.cells.size(); ++i) {
        const Cell& cell = row.cells[i];
        if (std::holds_alternative<std::monostate>(cell)) continue;
        const Field& field = *row.table->columns[i].field;
        const std::optional<FieldValue> value = valueOf(field, cell);
        if (!value) throw Unfit{fmt::format("{}: is {}", field.name, whatFits(field))};
        if (isTooWide(field, *value))
            throw Unfit{fmt::format("{}: is longer than the field, which has {}", field.name,
                counted(static_cast<unsigned long long>(field.width), "character"))};
        if (!model.set(field, *value)) throw Unfit{fmt::format("{}: is {}", field.name, whatFits(field))};
    }
    return model;
}

std::wstring withoutLineEnd(std::wstring line) {
    if (line.find(L'\n') != std::wstring::npos) throw Unfit{"a text holds a line end"};
    return line;
}

bool isDifferent(const Field& field, std::wstring_view a, std::wstring_view b) {
    const auto first = static_cast<std::size_t>(field.column - 1), count = static_cast<std::size_t>(field.width);
    return a.substr(first, count) != b.substr(first, count);
}

Row textRow(long long number, std::wstring_view text) { return {&textTable(), number, {std::wstring(text)}}; }

// A cell stands for its value and for nothing else, so that the row is proved by its values.
Row modelRow(long long number, const Table& table, LineModel& model) {
    Row row{&table, number, std::vector<Cell>(table.columns.size()), !model.parseErrors().empty()};
    LineModel proof = *table.blank;
    auto say = [&](std::size_t i, FieldValue value) {
        const Field& field = *table.columns[i].field;
        proof.set(field, value);
        row.cells[i] = cellOf(field, std::move(value));
    };
    for (std::size_t i = 0; i < row.cells.size(); ++i) {
        const Column& column = table.columns[i];
        FieldValue value = model.get(*column.field);
        if (!isSame(value, column.blank) || !isSame(value, column.field->defaultValue)) say(i, std::move(value));
    }
    const std::wstring wanted = model.built();
    std::wstring made = proof.built();
    if (made == wanted) return row;
    // A value can be the one of a blank line and written nevertheless, because it has been read.
    for (std::size_t i = 0; i < row.cells.size(); ++i) {
        const Field& field = *table.columns[i].field;
        if (std::holds_alternative<std::monostate>(row.cells[i]) && isDifferent(field, made, wanted)) say(i, model.get(field));
    }
    made = proof.built();
    return made == wanted ? row : textRow(number, wanted);
}

// The text of a key line says everything, its values are for the reader. A damaged one may hold keys anywhere.
Row keyRow(const Line& line, Keys keys) {
    Row row{&keyTable(), line.number, std::vector<Cell>(keyTable().columns.size())};
    ParsedKeyLine parsed = parseKeyLine(line.text);
    for (std::size_t i = 0; i < std::size(keyValues); ++i) {
        const KeyValue& value = keyValues[i];
        if (parsed.error || value.isAbsent(parsed.line)) continue;
        if (!value.text) row.cells[i] = static_cast<long long>(parsed.line.wmBusAddress[value.part]);
        else if (value.secret && keys == Keys::Masked) row.cells[i] = std::wstring(masked);
        else row.cells[i] = parsed.line.*value.text;
    }
    if (keys == Keys::Shown) row.cells.back() = std::wstring(line.text);
    wipe(parsed.line.line);
    for (const KeyValue& value : keyValues)
        if (value.text) wipe(parsed.line.*value.text);
    return row;
}

const Table& tableOfKind(const RecordKind& kind) {
    const auto& kinds = allKinds();
    return tables()[static_cast<std::size_t>(std::ranges::find(kinds, &kind) - kinds.begin())];
}

}  // namespace

const std::vector<Table>& tables() {
    static const std::vector<Table> all = makeTables();
    return all;
}

const Table& textTable() { return tables().back(); }
const Table& keyTable() { return tables()[tables().size() - 2]; }

const Table* tableNamed(std::string_view name) {
    const auto found = std::ranges::find(tables(), name, &Table::name);
    return found == tables().end() ? nullptr : &*found;
}

Row rowOf(const Line& line, std::optional<LineKind> kind, LineModel* model, Keys keys) {
    if (kind == LineKind::Key && !line.text.empty()) return keyRow(line, keys);
    return model ? modelRow(line.number, tableOfKind(model->kind()), *model) : textRow(line.number, line.text);
}

std::wstring lineOf(const Row& row, std::vector<std::string>& faults) {
    if (!row.table->blank) {
        const auto* text = std::get_if<std::wstring>(&row.cells.back());
        if (!text && row.table == &keyTable())
            throw Unfit{"the key line has no text, because its keys are masked; export it with --show-keys"};
        return text ? withoutLineEnd(*text) : std::wstring{};
    }
    LineModel model = modelOf(row);
    std::wstring line = model.built();
    for (const TE::FieldError& error : model.buildErrors()) {
        const Field* field = model.kind().fieldOf(error);
        faults.push_back(fmt::format("{} ({})", field ? field->name : model.kind().name, errorName(error.code)));
    }
    return withoutLineEnd(std::move(line));
}

const Table& findingTable() {
    using enum Column::Type;
    static const Table table{"finding", "finding",
        {{"severity", Text}, {"rule", Text}, {"code", Integer}, {"record", Text}, {"field", Text}, {"column", Integer},
            {"endColumn", Integer}, {"found", Text}, {"message", Text}},
        nullptr};
    return table;
}

Row rowOf(const Finding& finding, long long line) {
    auto text = [](std::string_view utf8) { return utf8.empty() ? Cell{} : Cell{fromUtf8(utf8).value_or(L"")}; };
    auto number = [](int value) { return value ? Cell{static_cast<long long>(value)} : Cell{}; };
    const std::string message = finding.message + (finding.detail.empty() ? "" : ": " + finding.detail);
    return {&findingTable(), line,
        {text(finding.rule->isError(false) ? "error" : "warning"), text(finding.rule->name), number(finding.rule->code),
            text(finding.kind), text(finding.field), number(finding.column), number(finding.endColumn),
            finding.field.empty() || !finding.column ? Cell{} : Cell{finding.found}, text(message)}};
}

void wipe(Row& row) {
    for (Cell& cell : row.cells)
        if (auto* text = std::get_if<std::wstring>(&cell)) wipe(*text);
}

}  // namespace tramo::cli
