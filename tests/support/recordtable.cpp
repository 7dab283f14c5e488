#include "support/recordtable.h"
#include "common/hosttime.h"
#include "support/numbers.h"
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace records {

// ---- Errors and lines ------------------------------------------------------------------------------------------------

void PrintTo(const Fault& fault, std::ostream* out) {
    *out << '{' << std::dec << fault.column << ", 0x" << std::hex << fault.code << std::dec << '}';
}

Faults faults(const std::vector<TE::FieldError>& errors) {
    Faults all;
    for (const TE::FieldError& error : errors) all.push_back(faultOf(error));
    return all;
}

std::wstring blankText(wchar_t letter, int length) {
    std::wstring line(static_cast<std::size_t>(length), L' ');
    if (letter) line[0] = letter;
    return line;
}

void put(std::wstring& line, int column, const std::wstring& text) {
    line.replace(static_cast<std::size_t>(column - 1), text.size(), text);
}

std::wstring columns(const std::wstring& line, int column, int width) {
    return line.substr(static_cast<std::size_t>(column - 1), static_cast<std::size_t>(width));
}

std::wstring blanks(int width) { return std::wstring(static_cast<std::size_t>(width), L' '); }

// ---- Values ---------------------------------------------------------------------------------------------------------

bool same(const FieldValue& a, const FieldValue& b) {
    const double* x = std::get_if<double>(&a);
    const double* y = std::get_if<double>(&b);
    return x && y && std::isnan(*x) ? std::isnan(*y) : a == b;
}

namespace {

struct Display {
    std::ostream& out;
    void operator()(const std::wstring& text) {
        out << '"';
        for (const wchar_t c : text)
            if (c >= L' ' && c < 127) out << static_cast<char>(c);
            else out << "\\x" << std::hex << static_cast<unsigned long>(c) << std::dec;
        out << '"';
    }
    void operator()(wchar_t code) { (*this)(std::wstring(1, code)); }
    void operator()(bool flag) { out << (flag ? "true" : "false"); }
    void operator()(auto number) { out << number; }
};

}  // namespace

std::string display(const FieldValue& value) {
    std::ostringstream out;
    std::visit(Display{out}, value);
    return out.str();
}

// ---- The table ------------------------------------------------------------------------------------------------------

void PrintTo(const Row& row, std::ostream* out) { *out << row.name << " at " << row.column; }

const Row& Table::row(const std::string& name) const {
    for (const Row& each : rows)
        if (each.name == name) return each;
    throw std::logic_error("no row " + name);
}

std::vector<const Row*> Table::inOrder(const std::vector<std::string>& names) const {
    std::vector<const Row*> all;
    if (names.empty())
        for (const Row& each : rows) all.push_back(&each);
    else
        for (const std::string& name : names) all.push_back(&row(name));
    return all;
}

// ---- Values and texts, by the standard library ----------------------------------------------------------------------

std::optional<long long> seconds(int year, int month, int day, int hour, int minute) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (month < 1 || month > 12 || day < 1 || day > days[month - 1] + (leap && month == 2) || hour > 23 || minute > 59) return {};
    using namespace std::chrono;
    const sys_seconds local = sys_days{std::chrono::year{year} / month / day} + hours{hour} + minutes{minute};
    const long long winter = local.time_since_epoch().count() - 3600, summer = winter - 3600;
    // If the clock is set back, both show this time. If it is set forward, neither does, and the winter offset gives the later.
    const long long result = tramo::hosttime::local(summer).tm_isdst > 0 ? summer : winter;
    if (result < std::numeric_limits<std::int32_t>::min() || result > std::numeric_limits<std::int32_t>::max()) return {};
    return result;
}

std::wstring trimmed(std::wstring text) {
    const auto last = text.find_last_not_of(L" \t\n\v\f\r");
    text.erase(last == std::wstring::npos ? 0 : last + 1);
    return text;
}

int digits(const std::wstring& text, std::size_t first, std::size_t count) {
    int value = 0;
    for (std::size_t i = first; i < first + count; ++i) {
        const int digit = (text[i] & 0xFF) - '0';
        if (digit < 0 || digit > 9) return -1;
        value = value * 10 + digit;
    }
    return value;
}

namespace {

std::optional<long long> secondsOf(const std::wstring& text, FieldKind kind) {
    if (text.size() != (kind == Date ? 8u : kind == DateTime ? 12u : 4u)) return {};
    int part[5] = {digits(text, 0, 4), 1, 1, 0, 0};
    for (std::size_t i = 4; i < text.size(); i += 2) part[i / 2 - 1] = digits(text, i, 2);
    for (int each : part)
        if (each < 0) return {};
    return seconds(part[0], part[1], part[2], part[3], part[4]);
}

}  // namespace

std::optional<FieldValue> numberIn(const std::wstring& text) {
    std::size_t used = 0;
    errno = 0;
    const long long value = standardInteger(text.c_str(), used);
    if (used == 0 || errno == ERANGE) return {};
    return FieldValue(value);
}

std::optional<FieldValue> valueIn(const Row& row, std::wstring text) {
    switch (row.kind) {
    case Text: return FieldValue(text);
    case Integer: return numberIn(text);
    case Decimal: {
        for (wchar_t& c : text)
            if (c == L',') c = L'.';
        std::size_t used = 0;
        errno = 0;
        const double value = standardDouble(text.c_str(), used);
        if (used == 0 || errno == ERANGE) return {};
        return FieldValue(value);
    }
    case Date:
    case DateTime: {
        const auto value = secondsOf(text, row.kind);
        if (!value || *value < 0) return {};
        return FieldValue(*value);
    }
    case Year:
        if (!numberIn(text)) return {};
        return FieldValue(secondsOf(text, Year).value_or(noYear));
    case Code:
        if (row.options.codes->read.find(text[0]) == std::wstring::npos) return {};
        return FieldValue(text[0]);
    case Flag: return FieldValue(text[0] == L'1');
    case AlarmFlags: {
        const std::wstring swapped = text.size() < 3 ? text : text.substr(2) + text.substr(0, 2);
        std::wistringstream in(forStandardStream(swapped));
        in.imbue(std::locale::classic());
        int bits = 0;
        in >> std::hex >> bits;
        return FieldValue(static_cast<long long>(bits & 0xFFF));
    }
    }
    return {};
}

std::wstring wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

namespace {

std::wstring decimalText(double value, int decimals) {
    const CLocale plain;
    char buffer[400];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals < 0 ? 6 : decimals, value);
    return wide(buffer);
}

}  // namespace

std::optional<std::wstring> writtenText(const Row& row, const FieldValue& value) {
    switch (row.kind) {
    case Text: return std::get<std::wstring>(value);
    case Integer: return std::to_wstring(std::get<long long>(value));
    case Decimal: return decimalText(std::get<double>(value), row.options.decimals);
    case Date:
    case DateTime:
    case Year: {
        const std::tm time = tramo::hosttime::local(std::get<long long>(value));
        char buffer[40];
        std::strftime(buffer, sizeof buffer, row.kind == Date ? "%Y%m%d" : row.kind == DateTime ? "%Y%m%d%H%M" : "%Y", &time);
        return wide(buffer);
    }
    case Code: {
        const wchar_t code = std::get<wchar_t>(value);
        if (code == unset) return L"";
        if (row.options.codes == &fluids && code == L' ') return L" ";
        const auto place = row.options.codes->read.find(code);
        if (place == std::wstring::npos || row.options.codes->written[place] == 0) return {};
        return std::wstring(1, row.options.codes->written[place]);
    }
    case Flag: return std::get<bool>(value) ? L"1" : L"0";
    case AlarmFlags: {
        const long long bits = std::get<long long>(value);
        char buffer[8];
        std::snprintf(buffer, sizeof buffer, "%02X%02X", static_cast<unsigned>(bits & 0xFF), static_cast<unsigned>(bits >> 8));
        return wide(buffer) + L'\0';  // the zero stays after the field unless the next field overwrites it
    }
    }
    return {};
}

bool writeInto(std::wstring& line, const Row& row, const FieldValue& value) {
    const auto width = static_cast<std::size_t>(row.options.writtenWidth ? row.options.writtenWidth : row.width);
    auto text = writtenText(row, value);
    if (!text) return false;
    if (text->empty()) return true;
    if (row.kind == Text) {
        if (text->size() > width) return false;
        text->resize(width, L' ');
    } else if (row.kind == Integer || row.kind == Decimal) {
        if (text->size() > width) text->resize(width);
        text->insert(0, width - text->size(), L' ');
    }
    put(line, row.column, *text);
    return true;
}

// ---- The reference model --------------------------------------------------------------------------------------------

double measure(const FieldValue& value) {
    struct {
        double operator()(const std::wstring& v) { return static_cast<double>(v.size()); }
        double operator()(long long v) { return static_cast<double>(v); }
        double operator()(double v) { return v; }
        double operator()(bool v) { return v; }
        double operator()(wchar_t v) { return v != unset; }
    } size;
    return std::visit(size, value);
}

namespace {

bool holds(const Need& need, const Row& row, const State& state) {
    const std::string& name = need.field.empty() ? row.name : need.field;
    if (need.operation == Need::WasSet) return state.present.contains(name);
    const double value = measure(state.values.at(name));
    switch (need.operation) {
    case Need::Above: return value > need.limit;
    case Need::AtLeast: return value >= need.limit;
    case Need::AtMost: return !(value > need.limit);
    case Need::Not: return value != need.limit;
    case Need::WasSet:
    case Need::Never: break;
    }
    return false;
}

}  // namespace

bool isWritten(const Row& row, const State& state) {
    for (const Need& need : row.options.written)
        if (!holds(need, row, state)) return false;
    return row.width != 0;
}

bool neverWritten(const Row& row) {
    for (const Need& need : row.options.written)
        if (need.operation == Need::Never) return true;
    return false;
}

State absentState(const Table& table) {
    State state;
    for (const Row& row : table.rows) {
        state.values[row.name] = row.absent;
        state.texts[row.name];
    }
    return state;
}
void setIn(State& state, const Table& table, const std::string& name, const FieldValue& value) {
    state.values[name] = value;
    state.present.insert(name);
    if (table.onSet) table.onSet(state, name);
}

State read(const Table& table, const std::wstring& line, Faults& errors) {
    State state = absentState(table);
    for (const Row& row : table.rows) {
        if (row.width == 0) continue;
        const std::wstring text = trimmed(columns(line, row.column, row.width));
        state.texts[row.name] = text;
        if (text.empty()) {
            if (row.options.blank) state.values[row.name] = *row.options.blank, state.texts[row.name] = row.options.blankText;
            continue;
        }
        const auto value = valueIn(row, text);
        if (value) {
            state.values[row.options.into.empty() ? row.name : row.options.into] = *value;
            state.present.insert(row.name);
        } else {
            errors.push_back(row.parse);
        }
    }
    if (table.onRead) table.onRead(state);
    return state;
}
State read(const Table& table, const std::wstring& line) {
    Faults errors;
    return read(table, line, errors);
}

std::wstring written(const Table& table, const State& state, Faults& errors) {
    std::wstring line = blankText(table.letter, table.length);
    for (const Row* row : table.asWritten())
        if (isWritten(*row, state) && !writeInto(line, *row, state.values.at(row->name))) errors.push_back(row->build);
    return line;
}
std::wstring written(const Table& table, const State& state) {
    Faults errors;
    return written(table, state, errors);
}

namespace {

std::wstring shown(const Row& row, const FieldValue& value) {
    if (row.options.asCharacter) return std::wstring(1, static_cast<wchar_t>(static_cast<long long>(measure(value)) & 0xFFFF));
    switch (row.kind) {
    case Text: return std::get<std::wstring>(value);
    case Decimal: return decimalText(std::get<double>(value), -1);
    case Code: return std::wstring(1, std::get<wchar_t>(value));
    case Flag: return std::get<bool>(value) ? L"1" : L"0";
    default: return std::to_wstring(std::get<long long>(value));
    }
}

}  // namespace

std::wstring shown(const Table& table, const State& state) {
    std::wstring all;
    for (const Row* row : table.asShown())
        if (!row->label.empty())
            all += (all.empty() ? L"" : L",") + wide(row->label) + L":" + shown(*row, state.values.at(row->name));
    return wide(table.inDump) + L"[" + all + L"]";
}

}  // namespace records
