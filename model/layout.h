// How a record describes its line: one row per field.
//
// A row has a column, a width, a name, a value and then, by name, only the deviations from the rules of the value's kind. A
// short row is a regular field, a long row is a quirk of the format, and every quirk can be searched for
// (`.parseColumn = 8`).
#pragma once
#include "convert/codec.h"
#include "model/fieldreading.h"
#include "tramostream/fields.h"
#include "tramostream/modelparts.h"
#include "tramostream/personal.h"
#include <algorithm>
#include <limits>
#include <utility>

namespace tramo {

// A comparison of a field's own value with a constant. Texts compare by their length; codes count as 1 if set, otherwise as 0.
struct Test {
    enum Operation : char { Always, Never, Above, AtLeast, Below, NotAbove, OtherThan } operation;
    double limit = 0;
};
inline constexpr Test always{Test::Always}, never{Test::Never}, filled{Test::Above, 0}, empty{Test::Below, 1};
constexpr Test above(double limit) { return {Test::Above, limit}; }
constexpr Test atLeast(double limit) { return {Test::AtLeast, limit}; }
constexpr Test below(double limit) { return {Test::Below, limit}; }
constexpr Test notAbove(double limit) { return {Test::NotAbove, limit}; }  // unlike below, also for a value that is not a number
constexpr Test otherThan(double limit) { return {Test::OtherThan, limit}; }

// Returns whether a value passes; calls `measure` only if the result depends on it.
constexpr bool passes(Test test, auto measure) {
    switch (test.operation) {
    case Test::Always: return true;
    case Test::Never: return false;
    case Test::Above: return measure() > test.limit;
    case Test::AtLeast: return measure() >= test.limit;
    case Test::Below: return measure() < test.limit;
    case Test::NotAbove: return !(measure() > test.limit);
    case Test::OtherThan: return measure() != test.limit;
    }
    return false;
}

// The text of a field in the line: its start, the known number of leading white space characters, and its size without
// trailing white space. Small enough for registers.
struct Cut {
    const wchar_t* text;
    std::uint16_t first, blanks;
    std::uint32_t size;
    std::wstring_view view() const { return {text, size}; }
};

// Access to one value of a model and its conversions, as plain functions.
template <class M> struct Value {
    FieldKind kind;
    bool isLong;  // an integer of 64 bits
    int decimals;
    CodeSet codesRead;
    std::wstring (*codes)();
    std::wstring (*codesWritten)();
    TE::errorType parseCode, buildCode;
    std::size_t size;    // of the value itself, in bytes; 0: a text
    void* (*place)(M&);  // of the value itself
    bool (*parse)(M&, Cut);
    bool (*build)(const M&, wchar_t* dest, int width);
    void (*print)(const M&, std::wstring& out);
    double (*measure)(const M&);
    FieldValue (*get)(const M&);
    bool (*set)(M&, const FieldValue&);
};

// A comparison of a value with a constant.
template <class M> struct Comparison {
    const Value<M>* value = nullptr;
    Test test = always;
};

// A condition on other values, with a description in words: one or two comparisons that hold, or a rule. Comparisons can be
// made without a model. A condition that decides about a mandatory error looks at the sizes of texts, not at their characters,
// which a FilledModel does not have.
template <class M> struct Condition {
    using Rule = bool (*)(const M&);

    constexpr Condition(const char* inWords, Rule inCode) : words(inWords), rule(inCode) {}
    constexpr Condition(const char* inWords, Comparison<M> first) : words(inWords), comparisons{first}, count(1) {}
    constexpr Condition(const char* inWords, Comparison<M> first, Comparison<M> second)
        : words(inWords), comparisons{first, second}, count(2) {}

    bool isRule() const { return count == 0; }
    bool holds(const M& m) const {
        if (isRule()) return rule(m);
        return std::all_of(comparisons.begin(), comparisons.begin() + count,
            [&](const Comparison<M>& each) { return passes(each.test, [&] { return each.value->measure(m); }); });
    }

    const char* words;
    Rule rule = nullptr;
    std::array<Comparison<M>, 2> comparisons{};
    int count = 0;
};

// An optional pointer in the options of a row. The flag is needed because GCC with sanitizers cannot compare a pointer with null
// in a constant expression.
template <class T> struct Stated {
    T what = nullptr;
    bool stated = false;

    constexpr Stated() = default;
    constexpr Stated(T pointer) : what(pointer), stated(true) {}
    constexpr explicit operator bool() const { return stated; }
    constexpr auto& operator*() const { return *what; }
    constexpr auto* operator->() const { return what; }
    constexpr auto& operator()(auto& model) const { return what(model); }
};

// The deviations of a field from the rules of its kind.
template <class M> struct RowOptions {
    Stated<const char*> label = {};                // in toString, unless it is the name after the record's labelPrefix
    Test written = always;                         // written only if its value passes
    const Condition<M>* group = nullptr;           // written only if this holds, too
    bool M::*present = nullptr;                    // set when a text is parsed; written only if set
    Test missing = never;                          // reported as missing if its value (or its kept text) passes
    const Condition<M>* missingIf = nullptr;       // reported as missing if this holds, independent of its value
    const Condition<M>* inconsistentIf = nullptr;  // reported as inconsistent if this holds
    bool toParseList = false;                      // a mandatory error goes to the list of parse errors
    bool onGoodLines = false;                      // a mandatory error is reported on correct lines, too
    Stated<const Value<M>*> into = {};             // parsed into another field's value
    Stated<FieldText& (*)(M&)> kept = {};          // keeps the cut text here; `missing` then looks at this text
    std::wstring_view blank = {};                  // a blank field is read as this text, if any
    void (*set)(M&) = nullptr;                     // what the setter does in addition to storing the value
    bool overlaid = false;                         // deliberately shares its columns with the previous row
    std::int32_t parseColumn = 0, buildColumn = 0, missingColumn = 0;  // columns that errors name instead of its own
    TE::errorType parseCode{}, buildCode{};                            // error codes instead of those of its kind
    int buildWidth = 0;                                                // width written instead of the width read
    int slot = 0;                                                      // number of the repeated group, for '#' in name and label
    Personal holds = Personal::No;                                     // what it says about a person, a home or a device
    bool returned = false;                                             // the field agent may change it in an exported line
};
inline constexpr const char* notShown = "";  // the label of a field that toString does not show

inline constexpr std::size_t mostRows = 256;  // of a record

template <class M> struct Row {
    std::int32_t column;  // of the first character, 1-based
    int width;            // 0: not in the line, only shown
    const char* name;     // as in its accessors
    Value<M> value;
    RowOptions<M> options = {};

    constexpr bool inLine() const { return width != 0; }
    constexpr bool isMandatory() const {
        return options.missing.operation != Test::Never || options.missingIf || options.inconsistentIf;
    }
    constexpr int writtenWidth() const { return options.buildWidth ? options.buildWidth : width; }
    constexpr const char* label() const { return options.label ? options.label.what : name; }
    constexpr TE::FieldError parseError() const {
        return {options.parseColumn ? options.parseColumn : column, options.parseCode ? options.parseCode : value.parseCode};
    }
    constexpr TE::FieldError buildError() const {
        return {options.buildColumn ? options.buildColumn : column, options.buildCode ? options.buildCode : value.buildCode};
    }
    constexpr std::int32_t missingColumn() const { return options.missingColumn ? options.missingColumn : column; }
};

// The parts of a row that the parser needs, close together in memory.
template <class M> struct ParseStep {
    bool (*parse)(M&, Cut);
    const Row<M>* row;
    std::uint16_t first, width;  // an index, unlike a column
    bool plain;                  // only a value: the parser can skip the rest of the row
};

// A whole record: its letter, its names, and its rows in the order of writing. frame.h implements the operations of all
// models.
template <class M> struct Record {
    wchar_t letter;     // in column 1; 0: none
    const char* model;  // the class
    const char* name;   // for people
    std::span<const Row<M>> rows;
    const char* inMessages = model;               // the name in the message about a line of another kind
    const char* inDump = model;                   // the beginning of toString
    const char* labelPrefix = "";                 // in toString, before the names of fields: with "amr", "data" becomes "amrData"
    std::span<const ParseStep<M>> steps = {};     // added by checked()
    std::span<const FieldReading> readings = {};  // added by checked()
    std::span<const Row<M>* const> mandatory = {};  // the rows that check() looks at; added by checked()

    void parse(M& model) const;
    auto build(M& model) const;
    std::vector<TE::FieldError> check(M& model) const;
    void findMandatory(M& model, auto report) const;  // report(error, it belongs to the parse errors)
    std::wstring print(const M& model) const;
};

// Access to the private members of the models.
struct ModelAccess {
    template <class M> static const Record<M>& table() { return M::table(); }
    template <class M> static auto& line(M& model) { return model.line; }
    template <class M> static auto& errors(M& model) { return model.errors; }
    template <class M> static wchar_t letter(const M& model) {
        if constexpr (requires { model.type; }) return static_cast<wchar_t>(model.type);
        else return M::table().letter;
    }
};
template <class M> using LineOf = std::remove_cvref_t<decltype(ModelAccess::line(std::declval<M&>()))>;

// Kinds of values: the conversions of one type, and its measure for a Test. ------------------------------------------

// The error for a member of another type, in words. Each kind states it with the types that it expects.
#define TRAMO_EXPECTED(KIND, TYPES)                                                                    \
    template <class T> struct Misfit {                                                                 \
        static_assert(fits<T>, "the member's type does not fit the kind '" KIND "': expected " TYPES); \
    }

namespace kind {

template <class... Types> struct For {
    template <class T> static constexpr bool fits = (std::is_same_v<T, Types> || ...);

    static constexpr int decimals = 0;
    static constexpr CodeSet codesRead = {};
    static constexpr TE::errorType parseCode{}, buildCode{};
    static std::wstring codes() { return {}; }
    static std::wstring codesWritten() { return {}; }
};

struct Text : For<FieldText> {
    TRAMO_EXPECTED("text", "tramo::FieldText");
    static constexpr FieldKind kind = FieldKind::Text;
    static constexpr TE::errorType buildCode = TE::BuildText;
    static bool parse(FieldText& v, Cut cut) {
        v.stretch(cut.first, cut.size);
        return true;
    }
    static bool build(const FieldText& v, const auto& line, wchar_t* dest, int width) {
        return codec::fromText(v.view(line), dest, width);
    }
    static void print(const FieldText& v, const auto& line, std::wstring& out) { out += v.view(line); }
    static double measure(const FieldText& v, const auto& line) { return static_cast<double>(v.view(line).size()); }
    static FieldValue get(const FieldText& v, const auto& line) { return v.text(line); }
    static bool set(FieldText& v, const FieldValue& to) {
        const auto* text = std::get_if<std::wstring>(&to);
        if (text) v = *text;
        return text != nullptr;
    }
};

struct Number : For<int, long long, long32> {
    TRAMO_EXPECTED("number", "int, long long or long32");
    static constexpr FieldKind kind = FieldKind::Integer;
    static constexpr TE::errorType parseCode = TE::ParseInteger, buildCode = TE::BuildInteger;
    static bool parse(int& v, Cut cut) { return readPlain(v, cut) || codec::toInt(cut.view(), v, cut.blanks); }
    static bool parse(long long& v, Cut cut) { return readPlain(v, cut) || codec::toLongLong(cut.view(), v, cut.blanks); }
    static bool build(auto v, const auto&, wchar_t* dest, int width) {
        codec::fromInteger(v, dest, width);
        return true;
    }
    static void print(auto v, const auto&, std::wstring& out) { codec::appendInteger(v, out); }
    static double measure(auto v, const auto&) { return static_cast<double>(v); }
    static FieldValue get(auto v, const auto&) { return static_cast<long long>(v); }
    template <class Int> static bool set(Int& v, const FieldValue& to) {
        const auto* number = std::get_if<long long>(&to);
        if (!number || !std::in_range<Int>(*number)) return false;
        v = static_cast<Int>(*number);
        return true;
    }

private:
    static bool readPlain(auto& v, Cut cut) {
        return codec::readPlainInteger(cut.text + cut.size, cut.size - cut.blanks, cut.first + cut.size, v);
    }
};

// A number that toString shows as the character of that code.
struct Character : Number {
    TRAMO_EXPECTED("character", "int, long long or long32");
    static void print(auto v, const auto&, std::wstring& out) { out += static_cast<wchar_t>(static_cast<std::uint16_t>(v)); }
};

template <codec::DateFormat Format> struct Time : Number {
    using enum codec::DateFormat;
    template <class T> static constexpr bool fits = std::is_same_v<T, long32>;
    static constexpr TE::errorType buildCode = TE::BuildDate;
    static bool parse(long32& v, Cut cut) {
        if constexpr (Format == Date) return codec::toDate(cut.view(), v);
        if constexpr (Format == DateTime) return codec::toDateTime(cut.view(), v);
        int number = 0;  // a year must be a number; which one it is never fails
        if (!codec::toInt(cut.view(), number)) return false;
        codec::toYear(cut.view(), v);
        return true;
    }
    static bool build(long32 v, const auto&, wchar_t* dest, int) { return codec::fromDate(v, dest, Format); }
};

struct Date : Time<codec::DateFormat::Date> {
    TRAMO_EXPECTED("date", "long32");
    static constexpr FieldKind kind = FieldKind::Date;
    static constexpr TE::errorType parseCode = TE::ParseDate;
};
struct DateTime : Time<codec::DateFormat::DateTime> {
    TRAMO_EXPECTED("dateTime", "long32");
    static constexpr FieldKind kind = FieldKind::DateTime;
    static constexpr TE::errorType parseCode = TE::ParseDateTime;
};
struct Year : Time<codec::DateFormat::Year> {
    TRAMO_EXPECTED("year", "long32");
    static constexpr FieldKind kind = FieldKind::Year;
    static constexpr TE::errorType parseCode = TE::ParseInteger;
};

template <int Decimals> struct Decimal : For<double> {
    TRAMO_EXPECTED("decimal", "double");
    static constexpr FieldKind kind = FieldKind::Decimal;
    static constexpr int decimals = Decimals;
    static constexpr TE::errorType parseCode = TE::ParseDouble, buildCode = TE::BuildDouble;
    static bool parse(double& v, Cut cut) { return codec::toDouble(cut.view(), v, cut.blanks); }
    static bool build(double v, const auto&, wchar_t* dest, int width) {
        codec::fromDouble(v, dest, width, Decimals);
        return true;
    }
    static void print(double v, const auto&, std::wstring& out) { codec::appendDouble(v, out); }
    static double measure(double v, const auto&) { return v; }
    static FieldValue get(double v, const auto&) { return v; }
    static bool set(double& v, const FieldValue& to) {
        const auto* number = std::get_if<double>(&to);
        if (number) v = *number;
        return number != nullptr;
    }
};
struct SixDecimals : Decimal<-1> {
    TRAMO_EXPECTED("sixDecimals", "double");
};

struct Flag : For<bool> {
    TRAMO_EXPECTED("flag", "bool");
    static constexpr FieldKind kind = FieldKind::Flag;
    static constexpr TE::errorType parseCode = TE::ParseBool, buildCode = TE::BuildBool;
    static bool parse(bool& v, Cut cut) {
        v = *cut.text == L'1';
        return true;
    }
    static bool build(bool v, const auto&, wchar_t* dest, int) {
        *dest = v ? L'1' : L'0';
        return true;
    }
    static void print(bool v, const auto&, std::wstring& out) { out += v ? L'1' : L'0'; }
    static double measure(bool v, const auto&) { return v ? 1 : 0; }
    static FieldValue get(bool v, const auto&) { return v; }
    static bool set(bool& v, const FieldValue& to) {
        const auto* flag = std::get_if<bool>(&to);
        if (flag) v = *flag;
        return flag != nullptr;
    }
};

// A flag that toString shows as the character of code 0 or 1.
struct CharacterFlag : Flag {
    TRAMO_EXPECTED("characterFlag", "bool");
    static constexpr TE::errorType parseCode{};  // never fails: every text is a flag
    static void print(bool v, const auto&, std::wstring& out) { out += static_cast<wchar_t>(v); }
};

template <class E, TE::errorType Parse, TE::errorType Build> struct Code : For<E> {
    static constexpr FieldKind kind = FieldKind::Code;
    static constexpr TE::errorType parseCode = Parse, buildCode = Build;
    static constexpr CodeSet codesRead = [] {
        CodeSet all;
        for (const auto& row : codec::CodeTable<E>::rows)
            if (row.read != codec::neverRead) all.add(row.read);
        return all;
    }();
    static std::wstring codes() {
        std::wstring all;
        for (const auto& row : codec::CodeTable<E>::rows)
            if (row.read != codec::neverRead && row.read != L' ') all += row.read;
        return all;
    }
    static std::wstring codesWritten() {
        std::wstring all;
        for (const auto& row : codec::CodeTable<E>::rows)
            if (row.read != codec::neverRead && row.read != L' ') all += row.written;
        return all;
    }
    static bool parse(E& v, Cut cut) { return codec::toCode(*cut.text, v); }
    static bool build(E v, const auto&, wchar_t* dest, int) { return codec::fromCode(v, dest); }
    static void print(E v, const auto&, std::wstring& out) { out += static_cast<wchar_t>(v); }
    static double measure(E v, const auto&) { return v == E::Unset ? 0 : 1; }
    static FieldValue get(E v, const auto&) { return static_cast<wchar_t>(v); }
    static bool set(E& v, const FieldValue& to) {
        const auto* code = std::get_if<wchar_t>(&to);
        if (!code) return false;
        bool known = static_cast<E>(*code) == E::Unset;
        for (const auto& row : codec::CodeTable<E>::rows) known = known || row.value == static_cast<E>(*code);
        if (known) v = static_cast<E>(*code);
        return known;
    }
};

struct TramoType : Code<TF::TramoType, TE::ParseTramoType, TE::BuildTramoType> {
    TRAMO_EXPECTED("tramoType", "TF::TramoType");
};
struct Fluid : Code<TF::MeterFluid, TE::ParseFluidType, TE::BuildFluidType> {
    TRAMO_EXPECTED("fluid", "TF::MeterFluid");
};
struct ReadStatus : Code<TF::ReadStatus, TE::ParseReadStatus, TE::BuildReadStatus> {
    TRAMO_EXPECTED("readStatus", "TF::ReadStatus");
};
struct ReadMethod : Code<TF::ReadMethod, TE::ParseReadMethod, TE::BuildReadMethod> {
    TRAMO_EXPECTED("readMethod", "TF::ReadMethod");
};
struct Alarm : Code<TF::AmrAlarms, TE::ParseAmrAlarm, TE::BuildAmrAlarm> {
    TRAMO_EXPECTED("alarm", "TF::AmrAlarms");
};
struct EnquiryAreaType : Code<TF::EnquiryAreaType, TE::ParseEnquiryAreaType, TE::BuildEnquiryAreaType> {
    TRAMO_EXPECTED("enquiryAreaType", "TF::EnquiryAreaType");
};
struct EnquiryAreaMode : Code<TF::EnquiryAreaMode, TE::ParseEnquiryAreaMode, TE::BuildEnquiryAreaMode> {
    TRAMO_EXPECTED("enquiryAreaMode", "TF::EnquiryAreaMode");
};

struct Alarms : For<codec::AlarmFlags> {
    TRAMO_EXPECTED("alarms", "tramo::codec::AlarmFlags");
    static constexpr FieldKind kind = FieldKind::AlarmFlags;
    static constexpr TE::errorType parseCode = TE::ParseAmrAlarmFlags, buildCode = TE::BuildAmrAlarmFlags;
    static long long bits(const codec::AlarmFlags& v) {
        long long all = 0;
        for (std::size_t k = 0; k < v.size(); ++k) all |= static_cast<long long>(v[k]) << k;
        return all;
    }
    static bool parse(codec::AlarmFlags& v, Cut cut) {
        codec::toAlarmFlags(cut.view(), v);
        return true;
    }
    static bool build(const codec::AlarmFlags& v, const auto&, wchar_t* dest, int) {
        codec::fromAlarmFlags(v, dest);
        return true;
    }
    static void print(const codec::AlarmFlags& v, const auto&, std::wstring& out) { codec::appendInteger(bits(v), out); }
    static double measure(const codec::AlarmFlags& v, const auto&) { return static_cast<double>(bits(v)); }
    static FieldValue get(const codec::AlarmFlags& v, const auto&) { return bits(v); }
    static bool set(codec::AlarmFlags& v, const FieldValue& to) {
        const auto* all = std::get_if<long long>(&to);
        if (!all || *all < 0 || *all >= 1LL << v.size()) return false;
        for (std::size_t k = 0; k < v.size(); ++k) v[k] = (*all >> k & 1) != 0;
        return true;
    }
};

}  // namespace kind
#undef TRAMO_EXPECTED

// A path to a value in a model: a member, or member, index and member for a repeated group. --------------------------

namespace detail {
template <class M, class T> M ownerOf(T M::*);

template <auto MemberOrIndex> constexpr auto& partOf(auto& object) {
    if constexpr (std::is_member_pointer_v<decltype(MemberOrIndex)>) return object.*MemberOrIndex;
    else return object[MemberOrIndex];
}
template <auto First, auto... Rest> constexpr auto& reach(auto& object) {
    if constexpr (sizeof...(Rest) == 0) return partOf<First>(object);
    else return reach<Rest...>(partOf<First>(object));
}

template <class Kind, auto Member, auto... Rest> constexpr auto valueAt() {
    using M = decltype(ownerOf(Member));
    using Type = std::remove_cvref_t<decltype(reach<Member, Rest...>(std::declval<M&>()))>;
    if constexpr (!Kind::template fits<Type>) {
        static_assert(sizeof(typename Kind::template Misfit<Type>));
        return Value<M>{};  // so that no other error follows
    } else
        return Value<M>{Kind::kind, std::is_same_v<Type, long long>, Kind::decimals, Kind::codesRead, Kind::codes,
            Kind::codesWritten, Kind::parseCode, Kind::buildCode, std::is_same_v<Type, FieldText> ? 0 : sizeof(Type),
            [](M& m) -> void* { return &reach<Member, Rest...>(m); },
            [](M& m, Cut cut) { return Kind::parse(reach<Member, Rest...>(m), cut); },
            [](const M& m, wchar_t* dest, int width) {
                return Kind::build(reach<Member, Rest...>(m), ModelAccess::line(m), dest, width);
            },
            [](const M& m, std::wstring& out) { Kind::print(reach<Member, Rest...>(m), ModelAccess::line(m), out); },
            [](const M& m) { return Kind::measure(reach<Member, Rest...>(m), ModelAccess::line(m)); },
            [](const M& m) { return Kind::get(reach<Member, Rest...>(m), ModelAccess::line(m)); },
            [](M& m, const FieldValue& to) { return Kind::set(reach<Member, Rest...>(m), to); }};
}

template <auto Member, auto... Rest> constexpr auto keptAt() {
    using M = decltype(ownerOf(Member));
    using Pointer = FieldText& (*)(M&);
    constexpr bool fits = std::is_same_v<decltype(reach<Member, Rest...>(std::declval<M&>())), FieldText&>;
    static_assert(fits, "the member's type does not fit keptText: expected tramo::FieldText");
    if constexpr (fits) return Pointer([](M& m) -> FieldText& { return reach<Member, Rest...>(m); });
    else return Pointer();
}
}  // namespace detail

// clang-format off
template <auto... Path> inline constexpr auto text            = detail::valueAt<kind::Text, Path...>();
template <auto... Path> inline constexpr auto number          = detail::valueAt<kind::Number, Path...>();
template <auto... Path> inline constexpr auto character       = detail::valueAt<kind::Character, Path...>();
template <auto... Path> inline constexpr auto date            = detail::valueAt<kind::Date, Path...>();
template <auto... Path> inline constexpr auto dateTime        = detail::valueAt<kind::DateTime, Path...>();
template <auto... Path> inline constexpr auto year            = detail::valueAt<kind::Year, Path...>();
template <auto... Path> inline constexpr auto flag            = detail::valueAt<kind::Flag, Path...>();
template <auto... Path> inline constexpr auto characterFlag   = detail::valueAt<kind::CharacterFlag, Path...>();
template <auto... Path> inline constexpr auto alarms          = detail::valueAt<kind::Alarms, Path...>();
template <auto... Path> inline constexpr auto tramoType       = detail::valueAt<kind::TramoType, Path...>();
template <auto... Path> inline constexpr auto fluid           = detail::valueAt<kind::Fluid, Path...>();
template <auto... Path> inline constexpr auto readStatus      = detail::valueAt<kind::ReadStatus, Path...>();
template <auto... Path> inline constexpr auto readMethod      = detail::valueAt<kind::ReadMethod, Path...>();
template <auto... Path> inline constexpr auto alarm           = detail::valueAt<kind::Alarm, Path...>();
template <auto... Path> inline constexpr auto enquiryAreaType = detail::valueAt<kind::EnquiryAreaType, Path...>();
template <auto... Path> inline constexpr auto enquiryAreaMode = detail::valueAt<kind::EnquiryAreaMode, Path...>();
template <auto... Path> inline constexpr auto sixDecimals     = detail::valueAt<kind::SixDecimals, Path...>();  // as "%f" writes them
template <int Decimals, auto... Path> inline constexpr auto decimal = detail::valueAt<kind::Decimal<Decimals>, Path...>();
template <auto... Path> inline constexpr auto keptText        = detail::keptAt<Path...>();
// clang-format on

inline constexpr Test known = above(std::numeric_limits<std::int32_t>::min());  // a year that is not the lowest value

// A wrong column in a record is a compiler error; the note names the column. ------------------------------------------

namespace detail {
template <class M> constexpr int firstColumn(const Record<M>& record) { return record.letter ? 2 : 1; }
template <class M> constexpr int lastColumn() { return static_cast<int>(std::tuple_size_v<LineOf<M>>) - 2; }

inline constexpr int noColumn = std::numeric_limits<int>::min();

template <class M> constexpr int columnOutsideLine(const Record<M>& record) {
    for (const Row<M>& row : record.rows) {
        const int last = row.column + row.writtenWidth() - 1;
        if (row.inLine() && (row.column < firstColumn(record) || row.width < 1 || last > lastColumn<M>())) return row.column;
    }
    return noColumn;
}
template <class M> constexpr int columnOfTwoFields(const Record<M>& record) {
    std::array<bool, lastColumn<M>() + 1> taken{};
    for (const Row<M>& row : record.rows)
        for (int column = row.column; column < row.column + row.width; ++column)
            if (std::exchange(taken[static_cast<std::size_t>(column)], true) != row.options.overlaid) return column;
    return noColumn;
}
template <int Column> constexpr bool liesInLine = Column == noColumn;
template <int Column> constexpr bool hasOneField = Column == noColumn;
}  // namespace detail

namespace detail {
template <class M> M modelOf(const Record<M>&);

// The labels that the prefix of a record gives.
constexpr std::array<char, 64> prefixed(std::string_view prefix, std::string_view name) {
    std::array<char, 64> label{};
    char* const first = std::ranges::copy(prefix, label.data()).out;
    std::ranges::copy(name, first);
    if (*first >= 'a' && *first <= 'z') *first = static_cast<char>(*first - 'a' + 'A');
    return label;
}
template <const auto& record> consteval auto labelsOf() {
    std::array<std::array<char, 64>, record.rows.size()> labels{};
    for (std::size_t i = 0; i < labels.size(); ++i) labels[i] = prefixed(record.labelPrefix, record.rows[i].name);
    return labels;
}
template <const auto& record> inline constexpr auto labels = labelsOf<record>();

template <const auto& record> consteval auto rowsOf() {
    std::array<Row<decltype(modelOf(record))>, record.rows.size()> rows{};
    std::ranges::copy(record.rows, rows.begin());
    if (*record.labelPrefix != 0)
        for (std::size_t i = 0; i < rows.size(); ++i)
            if (!rows[i].options.label) rows[i].options.label = labels<record>[i].data();
    return rows;
}
template <const auto& record> inline constexpr auto rows = rowsOf<record>();

template <const auto& record> consteval auto stepsOf() {
    using M = decltype(modelOf(record));
    std::array<ParseStep<M>, static_cast<std::size_t>(std::ranges::count_if(record.rows, &Row<M>::inLine))> steps{};
    std::size_t i = 0;
    for (const Row<M>& row : rows<record>) {
        if (!row.inLine()) continue;
        const auto& options = row.options;
        steps[i++] = {options.into ? options.into->parse : row.value.parse, &row, static_cast<std::uint16_t>(row.column - 1),
            static_cast<std::uint16_t>(row.width), !options.kept && options.blank.empty() && !options.present};
    }
    return steps;
}
template <const auto& record> inline constexpr auto steps = stepsOf<record>();

// The index of the row that has this value.
template <class M> consteval std::uint16_t fieldOf(const Record<M>& record, const Value<M>& value) {
    for (std::uint16_t i = 0; i < record.rows.size(); ++i)
        if (record.rows[i].value.get == value.get) return i;
    return std::uint16_t{0xFFFF};
}

template <const auto& record> consteval auto readingsOf() {
    std::array<FieldReading, steps<record>.size()> readings{};
    std::size_t i = 0;
    for (std::uint16_t field = 0; field < record.rows.size(); ++field) {
        const auto& row = record.rows[field];
        if (!row.inLine()) continue;
        const auto& value = row.options.into ? *row.options.into : row.value;
        readings[i++] = {.first = static_cast<std::uint16_t>(row.column - 1),
            .width = static_cast<std::uint16_t>(row.width),
            .field = field,
            .into = row.options.into ? fieldOf(record, value) : field,
            .kind = value.kind,
            .isLong = value.isLong,
            .blank = row.options.blank.empty() ? L'\0' : row.options.blank.front(),
            .codes = value.codesRead,
            .holds = row.options.holds,
            .overlaid = row.options.overlaid,
            .returned = row.options.returned};
    }
    return readings;
}
template <const auto& record> inline constexpr auto readings = readingsOf<record>();
template <const auto& record> consteval auto mandatoryRowsOf() {
    using Row = Row<decltype(modelOf(record))>;
    std::array<const Row*, static_cast<std::size_t>(std::ranges::count_if(record.rows, &Row::isMandatory))> mandatory{};
    std::size_t i = 0;
    for (const Row& row : rows<record>)
        if (row.isMandatory()) mandatory[i++] = &row;
    return mandatory;
}
template <const auto& record> inline constexpr auto mandatoryRows = mandatoryRowsOf<record>();
template <const auto& record> inline constexpr auto withSteps = [] {
    auto copy = record;
    copy.rows = rows<record>;
    copy.steps = steps<record>;
    copy.readings = readings<record>;
    copy.mandatory = mandatoryRows<record>;
    return copy;
}();
}  // namespace detail

template <const auto& record> constexpr const auto& checked() {
    constexpr int outside = detail::columnOutsideLine(record);
    constexpr int shared = outside == detail::noColumn ? detail::columnOfTwoFields(record) : detail::noColumn;
    static_assert(detail::liesInLine<outside>, "a field lies outside its line");
    static_assert(detail::hasOneField<shared>, "two fields share a column");
    static_assert(record.rows.size() <= mostRows);
    return detail::withSteps<record>;
}

// Tables with repeated groups: joined() puts their parts, each made by fields({...}), in order. The parts of a repeated group
// differ in their `slot`.
template <class M, std::size_t N> consteval std::array<Row<M>, N> fields(const Row<M> (&rows)[N], int slot = 0) {
    std::array<Row<M>, N> all = std::to_array(rows);
    for (Row<M>& row : all) row.options.slot = slot;
    return all;
}
template <class M, std::size_t... N> consteval auto joined(const std::array<Row<M>, N>&... parts) {
    std::array<Row<M>, (N + ...)> all{};
    std::size_t size = 0;
    auto append = [&](const auto& part) {
        for (const Row<M>& row : part) all[size++] = row;
    };
    (append(parts), ...);
    return all;
}

}  // namespace tramo
