// The fields of a record as a test states them, and a reference model of the record made from them: slow, simple, and
// independent of the real one, so that both can be compared.
#pragma once
#include "common/hosttime.h"
#include "support/numbers.h"
#include "tramostream/fielderror.h"
#include "tramostream/fields.h"
#include "tramostream/tramoline.h"
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace records {

using tramo::Field;
using tramo::FieldKind;
using tramo::FieldValue;
using enum tramo::FieldKind;

// Dates in these tests are in a zone with summer time, independent of the machine; the rule is spelled out, so that no zone
// database is needed.
inline const bool zoneIsSet = [] {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    return true;
}();

// ---- Errors ---------------------------------------------------------------------------------------------------------

// An error as a test states it: {column, code}. Code 0: none.
struct Fault {
    int column = 0, code = 0;
    bool operator==(const Fault&) const = default;
};
using Faults = std::vector<Fault>;
inline void PrintTo(const Fault& fault, std::ostream* out) {
    *out << '{' << std::dec << fault.column << ", 0x" << std::hex << fault.code << std::dec << '}';
}
inline Fault faultOf(const TE::FieldError& error) { return {error.column, error.code}; }
inline Faults faults(const std::vector<TE::FieldError>& errors) {
    Faults all;
    for (const TE::FieldError& error : errors) all.push_back(faultOf(error));
    return all;
}

// ---- Lines ----------------------------------------------------------------------------------------------------------
// Tests hold the characters of a line, without its line ending, as a text.

inline std::wstring blankText(wchar_t letter, int length = 512) {
    std::wstring line(static_cast<std::size_t>(length), L' ');
    if (letter) line[0] = letter;
    return line;
}
inline void put(std::wstring& line, int column, const std::wstring& text) {
    line.replace(static_cast<std::size_t>(column - 1), text.size(), text);
}
inline std::wstring columns(const std::wstring& line, int column, int width) {
    return line.substr(static_cast<std::size_t>(column - 1), static_cast<std::size_t>(width));
}
inline std::wstring blanks(int width) { return std::wstring(static_cast<std::size_t>(width), L' '); }

template <class Line> Line lineOf(const std::wstring& text, const wchar_t* end = L"\r\n") {
    Line line{};
    std::copy(text.begin(), text.end(), line.begin());
    line[line.size() - 2] = end[0];
    line[line.size() - 1] = end[0] ? end[1] : L'\0';
    return line;
}
template <class Line> std::wstring textOf(const Line& line) { return std::wstring(line.begin(), line.end() - 2); }
template <class Line> std::wstring lineEndOf(const Line& line) { return std::wstring(line.end() - 2, line.end()); }

// ---- Values ---------------------------------------------------------------------------------------------------------

// Equality, except that not-a-number equals itself.
inline bool same(const FieldValue& a, const FieldValue& b) {
    const double* x = std::get_if<double>(&a);
    const double* y = std::get_if<double>(&b);
    return x && y && std::isnan(*x) ? std::isnan(*y) : a == b;
}
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
inline std::string display(const FieldValue& value) {
    std::ostringstream out;
    std::visit(Display{out}, value);
    return out.str();
}

// ---- The table ------------------------------------------------------------------------------------------------------

// A comparison of the value of a field: texts by their length; codes count as 1 if set, otherwise as 0.
struct Need {
    enum Operation { Above, AtLeast, AtMost, Not, WasSet, Never } operation;
    double limit = 0;
    std::string field = {};  // empty: the row's own
};
using Needs = std::vector<Need>;  // all must hold
inline Need above(double limit) { return {Need::Above, limit}; }
inline Need above(const std::string& field, double limit) { return {Need::Above, limit, field}; }
inline Need atLeast(double limit) { return {Need::AtLeast, limit}; }
inline Need atLeast(const std::string& field, double limit) { return {Need::AtLeast, limit, field}; }
inline Need atMost(const std::string& field, double limit) { return {Need::AtMost, limit, field}; }  // or not-a-number
inline Need isNot(double value) { return {Need::Not, value}; }
inline Need isNot(const std::string& field, double value) { return {Need::Not, value, field}; }
inline Need filled(const std::string& field) { return {Need::Above, 0, field}; }
inline Need filled() { return {Need::Above, 0}; }
inline Need wasSet() { return {Need::WasSet}; }
inline Need never() { return {Need::Never}; }

// The characters of a code table, and the character written for each; L'\0': cannot be written.
struct Codes {
    std::wstring read, written;
};
inline const Codes tramoTypes{L"12ABDHNYdn", L"122BDH1Ydn"};
inline const Codes fluids{L"WCEGHT", L"WCEGHT"};
inline const Codes readMethods{L"MTA", std::wstring(L"M\0A", 3)};
inline const Codes readStatuses{L"1234", L"1234"};
inline const Codes alarmCodes{L"01234567", L"01234567"};
inline const Codes enquiryAreaTypes{L"CNA", L"CNA"};
inline const Codes enquiryAreaModes{L"HNRU", L"HNRU"};

inline constexpr long long noYear = std::numeric_limits<std::int32_t>::min();
inline constexpr wchar_t unset = L'!';

// The deviations of a field from the rules of its kind.
struct Particulars {
    Needs written = {};                    // none: always
    Fault mandatory = {};                  // the error of its mandatory check
    bool toParseList = false;              // that check reports to the parse errors
    const Codes* codes = nullptr;          // Code only
    int decimals = 0;                      // Decimal only; -1: six
    std::string into = {};                 // the field that receives the value instead of this one
    std::optional<FieldValue> blank = {};  // the value of blank columns instead of the default
    std::wstring blankText = {};           // and the text that is then kept
    int writtenWidth = 0;                  // instead of the width
    bool asCharacter = false;              // shown as the character of that code
    bool overlaid = false;                 // shares its columns with the previous row
    std::wstring example = {};             // a valid text for its columns, if not every text is valid
};

struct Row {
    int column, width;        // width 0: not in the line, only shown
    std::string name, label;  // the stem of the accessors, first letter lower case; the label in toString, "": not shown
    FieldKind kind;
    FieldValue absent;  // the default; integers as long long
    Fault parse = {}, build = {};
    Particulars but = {};
};

// The values of a record, their parsed texts, and the fields that were set.
struct State {
    std::map<std::string, FieldValue, std::less<>> values;
    std::map<std::string, std::wstring, std::less<>> texts;
    std::set<std::string, std::less<>> present;

    template <class T> const T& get(const std::string& name) const { return std::get<T>(values.at(name)); }
    long long number(const std::string& name) const { return get<long long>(name); }
    double decimal(const std::string& name) const { return get<double>(name); }
    const std::wstring& text(const std::string& name) const { return get<std::wstring>(name); }
    wchar_t code(const std::string& name) const { return get<wchar_t>(name); }
};

// A value that a line does not preserve, and the value that is read back instead.
struct Asymmetry {
    std::string reason;
    std::function<bool(const Row&, const State&)> applies;
    std::optional<FieldValue> becomes = {};                              // nothing: the default, or the value of blank columns
    std::function<FieldValue(const Row&, const State&)> becomesBy = {};  // if it depends on other values
    Fault reported = {};                                                 // by the parser
};

struct Table {
    wchar_t letter;                              // 0: none
    std::string model;                           // the class, and its name in messages and dumps
    std::vector<Row> rows;                       // in the order of columns, in which lines are read
    std::vector<std::string> writingOrder = {};  // of the names, if not that of the rows
    std::vector<std::string> showingOrder = {};  // of the names, if not the writing order
    std::function<void(const State&, Faults& mandatory, Faults& parse)> check = {};
    std::function<void(State&, const std::string& name)> onSet = {};  // additional effects of a setter
    std::function<void(State&)> onRead = {};                          // additional effects of parsing
    std::vector<Asymmetry> asymmetries = {};
    std::string inMessages = model, inDump = model;
    int length = 512;
    int turns = 1;  // rounds of parsing and building until nothing changes any more

    const Row& row(const std::string& name) const {
        for (const Row& each : rows)
            if (each.name == name) return each;
        throw std::logic_error("no row " + name);
    }
    std::vector<const Row*> inOrder(const std::vector<std::string>& names) const {
        std::vector<const Row*> all;
        if (names.empty())
            for (const Row& each : rows) all.push_back(&each);
        else
            for (const std::string& name : names) all.push_back(&row(name));
        return all;
    }
    std::vector<const Row*> asWritten() const { return inOrder(writingOrder); }
    std::vector<const Row*> asShown() const { return inOrder(showingOrder.empty() ? writingOrder : showingOrder); }
};

// ---- Values and texts, by the standard library ----------------------------------------------------------------------

// The seconds of a local time; nothing if the date is invalid or 32 bits cannot hold them.
inline std::optional<long long> seconds(int year, int month, int day, int hour = 0, int minute = 0) {
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

inline std::wstring trimmed(std::wstring text) {
    const auto last = text.find_last_not_of(L" \t\n\v\f\r");
    text.erase(last == std::wstring::npos ? 0 : last + 1);
    return text;
}

// The number of `count` digits from `first` on, using the low eight bits of each character; -1: not digits.
inline int digits(const std::wstring& text, std::size_t first, std::size_t count) {
    int value = 0;
    for (std::size_t i = first; i < first + count; ++i) {
        const int digit = (text[i] & 0xFF) - '0';
        if (digit < 0 || digit > 9) return -1;
        value = value * 10 + digit;
    }
    return value;
}
inline std::optional<long long> secondsOf(const std::wstring& text, FieldKind kind) {
    if (text.size() != (kind == Date ? 8u : kind == DateTime ? 12u : 4u)) return {};
    int part[5] = {digits(text, 0, 4), 1, 1, 0, 0};
    for (std::size_t i = 4; i < text.size(); i += 2) part[i / 2 - 1] = digits(text, i, 2);
    for (int each : part)
        if (each < 0) return {};
    return seconds(part[0], part[1], part[2], part[3], part[4]);
}

inline std::optional<FieldValue> numberIn(const std::wstring& text) {
    std::size_t used = 0;
    errno = 0;
    const long long value = standardInteger(text.c_str(), used);
    if (used == 0 || errno == ERANGE) return {};
    return FieldValue(value);
}

// The value of a text that is not empty; nothing if it is invalid.
inline std::optional<FieldValue> valueIn(const Row& row, std::wstring text) {
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
        if (row.but.codes->read.find(text[0]) == std::wstring::npos) return {};
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

inline std::wstring wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }
inline std::wstring decimalText(double value, int decimals) {
    const CLocale plain;
    char buffer[400];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals < 0 ? 6 : decimals, value);
    return wide(buffer);
}

// The text of a value, before it is fitted into its columns; nothing if it cannot be written.
inline std::optional<std::wstring> writtenText(const Row& row, const FieldValue& value) {
    switch (row.kind) {
    case Text: return std::get<std::wstring>(value);
    case Integer: return std::to_wstring(std::get<long long>(value));
    case Decimal: return decimalText(std::get<double>(value), row.but.decimals);
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
        if (row.but.codes == &fluids && code == L' ') return L" ";
        const auto place = row.but.codes->read.find(code);
        if (place == std::wstring::npos || row.but.codes->written[place] == 0) return {};
        return std::wstring(1, row.but.codes->written[place]);
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

// Writes a value into its columns. Returns false if it does not fit or has no code.
inline bool writeInto(std::wstring& line, const Row& row, const FieldValue& value) {
    const auto width = static_cast<std::size_t>(row.but.writtenWidth ? row.but.writtenWidth : row.width);
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

inline double measure(const FieldValue& value) {
    struct {
        double operator()(const std::wstring& v) { return static_cast<double>(v.size()); }
        double operator()(long long v) { return static_cast<double>(v); }
        double operator()(double v) { return v; }
        double operator()(bool v) { return v; }
        double operator()(wchar_t v) { return v != unset; }
    } size;
    return std::visit(size, value);
}
inline bool holds(const Need& need, const Row& row, const State& state) {
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
inline bool isWritten(const Row& row, const State& state) {
    for (const Need& need : row.but.written)
        if (!holds(need, row, state)) return false;
    return row.width != 0;
}

inline bool neverWritten(const Row& row) {
    for (const Need& need : row.but.written)
        if (need.operation == Need::Never) return true;
    return false;
}

inline State absentState(const Table& table) {
    State state;
    for (const Row& row : table.rows) {
        state.values[row.name] = row.absent;
        state.texts[row.name];
    }
    return state;
}
inline void setIn(State& state, const Table& table, const std::string& name, const FieldValue& value) {
    state.values[name] = value;
    state.present.insert(name);
    if (table.onSet) table.onSet(state, name);
}

// Reads a line with the letter of the table.
inline State read(const Table& table, const std::wstring& line, Faults& errors) {
    State state = absentState(table);
    for (const Row& row : table.rows) {
        if (row.width == 0) continue;
        const std::wstring text = trimmed(columns(line, row.column, row.width));
        state.texts[row.name] = text;
        if (text.empty()) {
            if (row.but.blank) state.values[row.name] = *row.but.blank, state.texts[row.name] = row.but.blankText;
            continue;
        }
        const auto value = valueIn(row, text);
        if (value) {
            state.values[row.but.into.empty() ? row.name : row.but.into] = *value;
            state.present.insert(row.name);
        } else {
            errors.push_back(row.parse);
        }
    }
    if (table.onRead) table.onRead(state);
    return state;
}
inline State read(const Table& table, const std::wstring& line) {
    Faults errors;
    return read(table, line, errors);
}

inline std::wstring written(const Table& table, const State& state, Faults& errors) {
    std::wstring line = blankText(table.letter, table.length);
    for (const Row* row : table.asWritten())
        if (isWritten(*row, state) && !writeInto(line, *row, state.values.at(row->name))) errors.push_back(row->build);
    return line;
}
inline std::wstring written(const Table& table, const State& state) {
    Faults errors;
    return written(table, state, errors);
}

inline std::wstring shown(const Row& row, const FieldValue& value) {
    if (row.but.asCharacter) return std::wstring(1, static_cast<wchar_t>(static_cast<long long>(measure(value)) & 0xFFFF));
    switch (row.kind) {
    case Text: return std::get<std::wstring>(value);
    case Decimal: return decimalText(std::get<double>(value), -1);
    case Code: return std::wstring(1, std::get<wchar_t>(value));
    case Flag: return std::get<bool>(value) ? L"1" : L"0";
    default: return std::to_wstring(std::get<long long>(value));
    }
}
inline std::wstring shown(const Table& table, const State& state) {
    std::wstring all;
    for (const Row* row : table.asShown())
        if (!row->label.empty())
            all += (all.empty() ? L"" : L",") + wide(row->label) + L":" + shown(*row, state.values.at(row->name));
    return wide(table.inDump) + L"[" + all + L"]";
}

}  // namespace records
