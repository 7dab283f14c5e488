// The fields of a record as a test states them, and a reference model of the record made from them: slow, simple, and
// independent of the real one, so that both can be compared.
#pragma once
#include "tramostream/fielderror.h"
#include "tramostream/fields.h"
#include "tramostream/tramoline.h"
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <set>
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
void PrintTo(const Fault& fault, std::ostream* out);
inline Fault faultOf(const TE::FieldError& error) { return {error.column, error.code}; }
Faults faults(const std::vector<TE::FieldError>& errors);

// ---- Lines ----------------------------------------------------------------------------------------------------------
// Tests hold the characters of a line, without its line ending, as a text.

std::wstring blankText(wchar_t letter, int length = 512);
void put(std::wstring& line, int column, const std::wstring& text);
std::wstring columns(const std::wstring& line, int column, int width);
std::wstring blanks(int width);

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
bool same(const FieldValue& a, const FieldValue& b);
std::string display(const FieldValue& value);

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
struct RowOptions {
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
    RowOptions options = {};
};

void PrintTo(const Row& row, std::ostream* out);

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

    const Row& row(const std::string& name) const;
    std::vector<const Row*> inOrder(const std::vector<std::string>& names) const;  // no names: all rows
    std::vector<const Row*> asWritten() const { return inOrder(writingOrder); }
    std::vector<const Row*> asShown() const { return inOrder(showingOrder.empty() ? writingOrder : showingOrder); }
};

// ---- Values and texts, by the standard library ----------------------------------------------------------------------

// The seconds of a local time; nothing if the date is invalid or 32 bits cannot hold them.
std::optional<long long> seconds(int year, int month, int day, int hour = 0, int minute = 0);

std::wstring trimmed(std::wstring text);

// The number of `count` digits from `first` on, using the low eight bits of each character; -1: not digits.
int digits(const std::wstring& text, std::size_t first, std::size_t count);

std::optional<FieldValue> numberIn(const std::wstring& text);

// The value of a text that is not empty; nothing if it is invalid.
std::optional<FieldValue> valueIn(const Row& row, std::wstring text);

std::wstring wide(const std::string& ascii);

// The text of a value, before it is fitted into its columns; nothing if it cannot be written.
std::optional<std::wstring> writtenText(const Row& row, const FieldValue& value);

// Writes a value into its columns. Returns false if it does not fit or has no code.
bool writeInto(std::wstring& line, const Row& row, const FieldValue& value);

// ---- The reference model --------------------------------------------------------------------------------------------

double measure(const FieldValue& value);
bool isWritten(const Row& row, const State& state);
bool neverWritten(const Row& row);

State absentState(const Table& table);
void setIn(State& state, const Table& table, const std::string& name, const FieldValue& value);

// Reads a line with the letter of the table.
State read(const Table& table, const std::wstring& line, Faults& errors);
State read(const Table& table, const std::wstring& line);

std::wstring written(const Table& table, const State& state, Faults& errors);
std::wstring written(const Table& table, const State& state);

// What toString returns.
std::wstring shown(const Table& table, const State& state);

}  // namespace records
