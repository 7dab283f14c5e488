#include "cli/tables/rows.h"
#include "cli/io/text.h"
#include "cli/lines/columns.h"
#include "cli/tables/celltext.h"
#include "common/secretkeyline.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <deque>
#include <fmt/format.h>
#include <limits>
#include <tramostream/check.h>
#include <tramostream/stringconverter.h>
#include <tramostream/wording.h>
#include <utility>

namespace tramo::cli {

namespace {

constexpr const char* textColumn = "text";

Column::Type columnTypeOf(const Field& field) {
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
        if (field.column > 0) table.columns.push_back({field.name, columnTypeOf(field), &field, blank.get(field)});
    return table;
}

std::vector<Table> makeTables() {
    std::vector<Table> all;
    for (const RecordKind* kind : allKinds()) all.push_back(tableOf(*kind));
    Table& key = all.emplace_back(Table{"key", "key", {}, nullptr, true});
    for (const KeyValue& value : keyValues)
        key.columns.push_back({std::string(value.name), value.text ? Column::Type::Text : Column::Type::Integer});
    key.columns.push_back({textColumn, Column::Type::Text});
    all.push_back({textColumn, textColumn, {{textColumn, Column::Type::Text}}, nullptr});
    return all;
}

// --- From values to cells --------------------------------------------------------------------------------------------

// Numbers that some form cannot hold: JSON and SQLite have no infinities, SQLite has no negative zero.
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

Cell realCell(double value) {
    if (std::isfinite(value) && !isSame(value, -0.0)) return value;
    return std::ranges::find_if(namedNumbers, [&](const NamedNumber& named) { return isSame(named.value, value); })->name;
}

constexpr std::wstring_view secondsSuffix = L" s";

std::optional<long long> timeOf(FieldKind kind, std::wstring_view text);

// A time that its date does not express exactly (another minute, another midnight, an hour that a zone repeats) is seconds.
std::wstring dateOf(const Field& field, long long seconds) {
    std::wstring text = textOf(field, seconds);
    if (timeOf(field.kind, text) != seconds) text = std::to_wstring(seconds).append(secondsSuffix);
    return text;
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

// The digits of a text like "0000-00-00T00:00", with a digit for each zero of the pattern.
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

std::wstring_view patternOf(FieldKind kind) {
    if (kind == FieldKind::Year) return L"0000";
    return kind == FieldKind::Date ? L"0000-00-00" : L"0000-00-00T00:00";
}

bool readTime(FieldKind kind, std::wstring& digits, long32& seconds) {
    if (kind == FieldKind::Year) return StrConv::toYear(digits, seconds);
    return kind == FieldKind::Date ? StrConv::toDate(digits, seconds) : StrConv::toDateTime(digits, seconds);
}

std::optional<long long> timeOf(FieldKind kind, std::wstring_view text) {
    if (text.ends_with(secondsSuffix)) {
        const auto seconds = parsed<long long>(text.substr(0, text.size() - secondsSuffix.size()));
        return seconds && std::in_range<std::int32_t>(*seconds) ? seconds : std::nullopt;
    }
    std::optional<std::wstring> digits = digitsOf(text, patternOf(kind));
    long32 seconds{};
    return digits && readTime(kind, *digits, seconds) ? std::optional<long long>(seconds) : std::nullopt;
}

std::optional<double> realOf(const Cell& cell) {
    if (const auto* real = std::get_if<double>(&cell)) return *real;
    if (const auto* integer = std::get_if<long long>(&cell)) return static_cast<double>(*integer);
    const auto* text = std::get_if<std::wstring>(&cell);
    if (!text) return std::nullopt;
    for (const NamedNumber& named : namedNumbers)
        if (*text == named.name) return named.value;
#ifdef __wasi__  // the C++ library does not read decimal numbers; only an import does
    return std::nullopt;
#else
    const auto value = parsed<double>(*text);
    return value && std::isfinite(*value) ? value : std::nullopt;
#endif
}

// Programs that keep a column with gaps as decimals write integers like this: "6054.0".
std::wstring_view withoutZeroDecimals(std::wstring_view text) {
    const std::size_t point = text.find(L'.');
    if (point == std::wstring_view::npos || point == 0 || point + 1 == text.size()) return text;
    return text.find_first_not_of(L'0', point + 1) == std::wstring_view::npos ? text.substr(0, point) : text;
}

std::optional<long long> integerOf(const Cell& cell) {
    constexpr double largestExact = 1LL << 53;
    if (const auto* integer = std::get_if<long long>(&cell)) return *integer;
    if (const auto* real = std::get_if<double>(&cell); real && std::fabs(*real) <= largestExact && std::trunc(*real) == *real)
        return static_cast<long long>(*real);
    const auto* text = std::get_if<std::wstring>(&cell);
    return text ? wholeNumber(*text) : std::nullopt;
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

// A year can be a number, too.
std::optional<long long> yearOf(const Cell& cell) {
    if (const auto* text = std::get_if<std::wstring>(&cell)) return timeOf(FieldKind::Year, withoutZeroDecimals(*text));
    const auto number = integerOf(cell);
    return number ? timeOf(FieldKind::Year, std::to_wstring(*number)) : std::nullopt;
}

std::optional<FieldValue> valueOf(const Field& field, const Cell& cell) {
    const auto* text = std::get_if<std::wstring>(&cell);
    switch (field.kind) {
    case FieldKind::Year: return wrapped(yearOf(cell));
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

// --- From values to lines --------------------------------------------------------------------------------------------

std::string shownCell(const Cell& cell) {
    constexpr std::size_t most = 60;
    if (const auto* text = std::get_if<std::wstring>(&cell))
        return text->size() <= most ? tramo::quoted(*text) : tramo::quoted(text->substr(0, most)) + "...";
    if (const auto* integer = std::get_if<long long>(&cell)) return fmt::format("{}", *integer);
    if (const auto* real = std::get_if<double>(&cell)) return fmt::format("{}", *real);
    if (const auto* flag = std::get_if<bool>(&cell)) return *flag ? "true" : "false";
    return "null";
}

// Why a value is invalid for its field.
std::string whyUnfit(const Field& field, const Cell& cell) {
    const auto invalid = [&](const char* what, const std::string& expected) {
        return fmt::format("invalid {} {}: expected {}", what, shownCell(cell), expected);
    };
    switch (field.kind) {
    case FieldKind::Text: break;
    case FieldKind::Integer: return invalid("integer", "an integer that the field can hold");
    case FieldKind::Decimal: return invalid("number", "a decimal number");
    case FieldKind::Date: return invalid("date", "YYYY-MM-DD, a day that the field can hold");
    case FieldKind::DateTime: return invalid("date and time", "YYYY-MM-DDThh:mm, a time that the field can hold");
    case FieldKind::Year: return invalid("year", "YYYY, a year that the field can hold");
    case FieldKind::Code: return invalid("code", "one of " + listed(field.codes));
    case FieldKind::Flag: return invalid("flag", "true (1) or false (0)");
    case FieldKind::AlarmFlags: return invalid("alarm flags", "four hexadecimal digits");
    }
    return invalid("text", "a text");
}

// The width of texts and integers, which the library would truncate or leave out. Values that it has read always fit.
std::size_t widthOf(const Field& field, const FieldValue& value) {
    if (const auto* text = std::get_if<std::wstring>(&value)) return text->size();
    return field.kind == FieldKind::Integer ? std::to_string(std::get<long long>(value)).size() : 0;
}

struct GivenValue {
    std::size_t column;
    FieldValue value;
};

LineModel modelOf(const TableRow& row, std::vector<GivenValue>& given) {
    LineModel model = *row.table->blank;
    for (std::size_t i = 0; i < row.cells.size(); ++i) {
        const Cell& cell = row.cells[i];
        if (std::holds_alternative<std::monostate>(cell)) continue;
        const Field& field = *row.table->columns[i].field;
        auto refuse = [&](const std::string& reason) { throw Unfit{{i, fmt::format("{}: {}", field.name, reason)}}; };
        std::optional<FieldValue> value = valueOf(field, cell);
        if (!value) refuse(whyUnfit(field, cell));
        if (const auto* text = std::get_if<std::wstring>(&*value); text && text->find(L'\n') != std::wstring::npos)
            refuse(fmt::format("{} holds a line ending", shownCell(cell)));
        const std::size_t width = widthOf(field, *value);
        if (width > static_cast<std::size_t>(field.width))
            refuse(fmt::format("{} has {}, the field has {}", shownCell(cell), counted(width, "character"), field.width));
        if (!model.set(field, *value)) refuse(whyUnfit(field, cell));
        given.push_back({i, std::move(*value)});
    }
    return model;
}

// Why a value that was given is not the one that the format reads.
std::string whyLost(
    const Field& field, const Cell& cell, std::wstring_view line, const LineModel& written, const LineModel& read) {
    const auto isOfField = [&](const TE::FieldError& error) { return read.kind().fieldOf(error) == &field; };
    const std::vector<TE::FieldError> build = written.buildErrors(), parse = read.parseErrors();
    if (const auto error = std::ranges::find_if(build, isOfField); error != build.end())
        return fmt::format("cannot be written ({})", errorName(error->code));
    std::wstring_view text = trimmed(rawText(line, field));
    text.remove_prefix(std::min(text.find_first_not_of(L' '), text.size()));
    if (text.empty() && field.written == "never") return "is never written";
    if (text.empty() && field.written != "always")
        return fmt::format("is not written: the format writes this field only when {}", field.written);
    if (!field.readInto.empty()) return fmt::format("is written, but the format reads it as {}", field.readInto);
    if (std::ranges::any_of(parse, isOfField)) return fmt::format("is written as {}, which cannot be read", tramo::quoted(text));
    const Cell back = cellOf(field, read.get(field));
    const bool isText = std::holds_alternative<std::wstring>(cell) && std::holds_alternative<std::wstring>(back);
    return isText ? fmt::format("is read back as {}", shownCell(back))
                  : fmt::format("is written as {}, which is read as {}", tramo::quoted(text), shownCell(back));
}

// The line is read again, and every value that was given must be there.
void findLost(const TableRow& row, const std::vector<GivenValue>& given, const LineModel& written, std::wstring_view line,
    std::vector<RowFault>& lost) {
    const LineModel read = LineModel::of(written.kind(), line);
    for (const auto& [column, value] : given) {
        const Field& field = *row.table->columns[column].field;
        if (isSame(value, read.get(field))) continue;
        const Cell& cell = row.cells[column];
        lost.push_back(
            {column, fmt::format("{}: {} {}", field.name, shownCell(cell), whyLost(field, cell, line, written, read))});
    }
}

// A line is its text; values beside it can only say the same, and are never shown.
void findLostKeys(const TableRow& row, std::wstring_view line, std::vector<RowFault>& lost) {
    const SecretKeyLine parsed(line);
    for (std::size_t i = 0; i < std::size(keyValues); ++i) {
        const KeyValue& value = keyValues[i];
        const Cell& cell = row.cells[i];
        if (std::holds_alternative<std::monostate>(cell)) continue;
        const auto* text = std::get_if<std::wstring>(&cell);
        const bool isInLine = !parsed.error() && !value.isAbsent(parsed.values()) &&
                              (value.text ? text && *text == parsed.values().*value.text
                                          : integerOf(cell) == static_cast<long long>(parsed.values().wmBusAddress[value.part]));
        if (!isInLine) lost.push_back({i, fmt::format("{}: is not the value in \"text\", which is the line", value.name)});
    }
}

// The text of a row that is nothing else.
SecretText verbatimLine(const TableRow& row, std::vector<RowFault>& lost) {
    const std::size_t column = row.cells.size() - 1;
    const auto* text = std::get_if<std::wstring>(&row.cells[column]);
    const bool isKey = row.table == &keyTable();
    if (!text && isKey)
        throw Unfit{{RowFault::wholeRow, "the key line has no text, because its keys are masked; export it with --show-keys"}};
    if (!text && !std::holds_alternative<std::monostate>(row.cells[column]))
        throw Unfit{{column, fmt::format("text: invalid text {}: expected a text", shownCell(row.cells[column]))}};
    if (!text) return {};
    if (text->find(L'\n') != std::wstring::npos) throw Unfit{{column, "text: the text holds a line ending"}};
    if (isKey) findLostKeys(row, *text, lost);
    return SecretText(std::wstring_view(*text));
}

bool isDifferent(const Field& field, std::wstring_view a, std::wstring_view b) {
    const auto first = static_cast<std::size_t>(field.column - 1), count = static_cast<std::size_t>(field.width);
    return a.substr(first, count) != b.substr(first, count);
}

TableRow textRow(long long number, std::wstring_view text) { return {&textTable(), number, {std::wstring(text)}}; }

TableRow textRow(const Line& line) {
    if (!line.whole) return textRow(line.number, line.text);
    TableRow row{&textTable(), line.number, std::vector<Cell>(1)};
    row.longText = line.whole;
    return row;
}

// A cell has only its value, so the row is tested by the line that its values make.
TableRow modelRow(long long number, const Table& table, LineModel& model) {
    TableRow row{&table, number, std::vector<Cell>(table.columns.size()), !model.parseErrors().empty()};
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
    if (made != wanted) return textRow(number, wanted);
    return row;
}

// The text of a key line says everything, its values are for the reader. A damaged one may hold keys anywhere.
TableRow keyRow(const Line& line, Keys keys) {
    TableRow row{&keyTable(), line.number, std::vector<Cell>(keyTable().columns.size())};
    if (line.whole) {
        row.lacksMembers = keys == Keys::Masked;
        if (keys == Keys::Shown) row.longText = line.whole;
        return row;
    }
    const SecretKeyLine parsed(line.text);
    for (std::size_t i = 0; i < std::size(keyValues); ++i) {
        const KeyValue& value = keyValues[i];
        if (parsed.error() || value.isAbsent(parsed.values())) continue;
        if (!value.text) row.cells[i] = static_cast<long long>(parsed.values().wmBusAddress[value.part]);
        else if (value.secret && keys == Keys::Masked) row.cells[i] = std::wstring(masked);
        else row.cells[i] = parsed.values().*value.text;
    }
    if (keys == Keys::Shown) row.cells.back() = std::wstring(line.text);
    else row.lacksMembers = parsed.error() || !parsed.remarks().empty();
    return row;
}

}  // namespace

const std::vector<Table>& tables() {
    static const std::vector<Table> all = makeTables();
    return all;
}

const Table& textTable() { return tables().back(); }
const Table& keyTable() { return tables()[tables().size() - 2]; }

std::optional<long long> wholeNumber(std::wstring_view text) { return parsed<long long>(withoutZeroDecimals(text)); }

const Table& tableOfKind(const RecordKind& kind) {
    const auto& kinds = allKinds();
    return tables()[static_cast<std::size_t>(std::ranges::find(kinds, &kind) - kinds.begin())];
}

const Table* tableNamed(std::string_view name) {
    const auto found = std::ranges::find(tables(), name, &Table::name);
    return found == tables().end() ? nullptr : &*found;
}

Cell cellOf(const Field& field, FieldValue value) {
    switch (field.kind) {
    case FieldKind::Text: return std::get<std::wstring>(std::move(value));
    case FieldKind::Integer: return std::get<long long>(value);
    case FieldKind::Decimal: return realCell(std::get<double>(value));
    case FieldKind::Flag: return std::get<bool>(value);
    case FieldKind::Code:
    case FieldKind::AlarmFlags: return textOf(field, value);
    case FieldKind::Date:
    case FieldKind::DateTime:
    case FieldKind::Year: break;
    }
    return dateOf(field, std::get<long long>(value));
}

bool holdsMore(const LineModel& model, std::wstring_view line) {
    const auto isMissing = [&](const IgnoredText& text) { return !isKept(text, model.kind()); };
    return std::ranges::any_of(ignoredTexts(model, line), isMissing);
}

TableRow rowOf(const Line& line, std::optional<LineKind> kind, LineModel* model, Keys keys) {
    if (kind == LineKind::Key && !line.text.empty()) return keyRow(line, keys);
    return model ? modelRow(line.number, tableOfKind(model->kind()), *model) : textRow(line);
}

SecretText lineOf(const TableRow& row, std::vector<RowFault>& lost) {
    if (!row.table->blank) return verbatimLine(row, lost);
    std::vector<GivenValue> given;
    given.reserve(row.cells.size());
    LineModel model = modelOf(row, given);
    SecretText line(std::wstring_view(model.built()));
    findLost(row, given, model, line, lost);
    return line;
}

const Table& findingTable() {
    using enum Column::Type;
    static const Table table{"finding", "finding",
        {{"severity", Text}, {"rule", Text}, {"code", Integer}, {"record", Text}, {"field", Text}, {"column", Integer},
            {"endColumn", Integer}, {"found", Text}, {"message", Text}},
        nullptr};
    return table;
}

TableRow rowOf(const Finding& finding, long long line) {
    auto text = [](std::string_view bytes) { return bytes.empty() ? Cell{} : Cell{utf8::decodeValid(bytes).value_or(L"")}; };
    auto number = [](int value) { return value ? Cell{static_cast<long long>(value)} : Cell{}; };
    const std::string message = finding.sentence + (finding.reason.empty() ? "" : ": " + finding.reason);
    return {&findingTable(), line,
        {text(finding.rule->isError(false) ? "error" : "warning"), text(finding.rule->name), number(finding.rule->code),
            text(finding.kind), text(finding.field), number(finding.column), number(finding.endColumn),
            finding.field.empty() || !finding.column ? Cell{} : Cell{finding.found}, text(message)}};
}

TableRow& TableRow::operator=(TableRow&& other) noexcept {
    if (this == &other) return *this;
    wipeKeys();
    table = other.table;
    line = other.line;
    cells = std::move(other.cells);
    unread = other.unread;
    lacksMembers = other.lacksMembers;
    longText = std::move(other.longText);
    return *this;
}

void TableRow::wipeKeys() noexcept {
    if (!table || !table->holdsKeys) return;
    for (Cell& cell : cells)
        if (auto* text = std::get_if<std::wstring>(&cell)) wipe(*text);
}

}  // namespace tramo::cli
