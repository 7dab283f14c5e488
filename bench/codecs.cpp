// Every codec alone: the functions of StrConv, and the internal functions of the most important ones.
#include "bench/table.h"
#include "convert/codec.h"
#include <array>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <tramostream/stringconverter.h>

namespace bench {

namespace {

// Values as in files. Their number is a power of two; they are used in turn, so that branch prediction cannot learn them.
constexpr std::size_t many = 64;

// Calls a codec with each of many values; `width` is the width of the field in columns.
template <class Value, class Codec>
void run(benchmark::State& state, std::array<Value, many>& values, std::size_t width, Codec codec) {
    for (auto _ : state) {
        for (Value& value : values) {
            codec(value);
            benchmark::ClobberMemory();
        }
    }
    setWork(state, many, many * width, 0);  // nothing to compare with files
}

template <class Make> auto made(Make make) {
    std::array<decltype(make(0U)), many> values;
    unsigned seed = 12345;
    for (auto& value : values) value = make((seed = seed * 1103515245 + 12345) >> 8);
    return values;
}

std::wstring rightJustified(const std::wstring& text, std::size_t width) {
    return std::wstring(width - std::min(width, text.size()), L' ') + text;
}
std::wstring digits(unsigned value, std::size_t count) {
    std::wstring text(count, L'0');
    for (std::size_t i = count; i-- > 0; value /= 10) text[i] = static_cast<wchar_t>(L'0' + value % 10);
    return text;
}
std::wstring day(unsigned random) {
    return digits(2008 + random % 17, 4) + digits(1 + random / 32 % 12, 2) + digits(1 + random / 512 % 28, 2);
}

std::wstring whole(unsigned random) { return rightJustified(std::to_wstring(random % 1000000), 10); }
std::wstring decimal(unsigned random) { return rightJustified(std::to_wstring(random % 1000) + L".500000", 12); }
std::wstring date(unsigned random) { return day(random); }
std::wstring dateTime(unsigned random) { return day(random) + digits(random / 64 % 24, 2) + digits(random / 2048 % 60, 2); }
std::wstring year(unsigned random) { return digits(1990 + random % 40, 4); }
std::wstring hexadecimal(unsigned random) {
    std::wstring text = digits(random, 4);
    text[1] = L"0123456789ABCDEF"[random % 16];
    return text;
}
std::wstring padded(unsigned random) { return std::wstring(random % 30, L'x') + std::wstring(30 - random % 30, L' '); }
long32 seconds(unsigned random) { return static_cast<long32>(1300000000 + random * 16); }

wchar_t line[514];

}  // namespace

void addCodecs(std::vector<Row>& rows) {
    auto add = [&](const char* section, const char* name, std::size_t width, auto make, auto codec) {
        auto measured = [make, width, codec](benchmark::State& state) {
            auto values = made(make);
            run(state, values, width, codec);
        };
        rows.push_back({.section = section, .name = name, .run = measured, .isLong = false});
    };
    auto strConv = [&](const char* name, std::size_t width, auto make, auto codec) { add("StrConv", name, width, make, codec); };
    auto view = [&](const char* name, std::size_t width, auto make, auto codec) {
        add("codecs of views", name, width, make, codec);
    };
    auto among = [](const wchar_t* codes, unsigned count) { return [=](unsigned random) { return codes[random % count]; }; };
    auto keep = [](const auto& value) { benchmark::DoNotOptimize(value); };
    // The result of a reading codec.
    auto into = [keep]<class T>(T value, auto codec) {
        return [=](auto& text) mutable {
            codec(text, value);
            keep(value);
        };
    };

    // clang-format off
    strConv("resize, trimmed",  30, padded,      [keep](auto& s) { keep(StrConv::resize(s.data(), 30, true)); });
    strConv("rtrim of a copy",  30, padded,      [keep](auto& s) { std::wstring copy = s; keep(StrConv::rtrim(copy)); });
    strConv("ltrim of a copy",  10, whole,       [keep](auto& s) { std::wstring copy = s; keep(StrConv::ltrim(copy)); });
    strConv("is_number",         8, date,        [keep](auto& s) { keep(StrConv::is_number(s)); });
    strConv("toInt",            10, whole,       into(int{},       [](auto& s, auto& v) { return StrConv::toInt(s, v); }));
    strConv("toLong",           10, whole,       into(long32{},    [](auto& s, auto& v) { return StrConv::toLong(s, v); }));
    strConv("toLongLong",       10, whole,       into(0LL,         [](auto& s, auto& v) { return StrConv::toLongLong(s, v); }));
    strConv("toDouble",         12, decimal,     into(0.0,         [](auto& s, auto& v) { return StrConv::toDouble(s, v); }));
    strConv("hexStrToInt",       4, hexadecimal, into(int{},       [](auto& s, auto& v) { return StrConv::hexStrToInt(s, v); }));
    strConv("toDate",            8, date,        into(long32{},    [](auto& s, auto& v) { return StrConv::toDate(s, v); }));
    strConv("toDateTime",       12, dateTime,    into(long32{},    [](auto& s, auto& v) { return StrConv::toDateTime(s, v); }));
    strConv("toYear",            4, year,        into(long32{},    [](auto& s, auto& v) { return StrConv::toYear(s, v); }));
    strConv("toAmrAlarm",        4, hexadecimal, [keep](auto& s) {
        bool f[12];
        keep(StrConv::toAmrAlarm(s, f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11]));
        keep(f);
    });
    strConv("toBool",            1, among(L"01", 2),        into(false,                 [](auto& c, auto& v) { return StrConv::toBool(c, v); }));
    strConv("toLineType",        1, among(L"012345679", 9), into(TF::TramoLineType{},   [](auto& c, auto& v) { return StrConv::toLineType(c, v); }));
    strConv("toFluidType",       1, among(L"WGH ", 4),      into(TF::MeterFluid{},      [](auto& c, auto& v) { return StrConv::toFluidType(c, v); }));
    strConv("toTramoType",       1, among(L"12", 2),        into(TF::TramoType{},       [](auto& c, auto& v) { return StrConv::toTramoType(c, v); }));
    strConv("toReadMethod",      1, among(L"MA", 2),        into(TF::ReadMethod{},      [](auto& c, auto& v) { return StrConv::toReadMethod(c, v); }));
    strConv("toReadStatus",      1, among(L"12", 2),        into(TF::ReadStatus{},      [](auto& c, auto& v) { return StrConv::toReadStatus(c, v); }));
    strConv("toAmrAlarms",       1, among(L"02", 2),        into(TF::AmrAlarms{},       [](auto& c, auto& v) { return StrConv::toAmrAlarms(c, v); }));
    strConv("toEnquryAreaType",  1, among(L"CNA", 3),       into(TF::EnquiryAreaType{}, [](auto& c, auto& v) { return StrConv::toEnquryAreaType(c, v); }));
    strConv("toEnquiryAreaMode",  1, among(L"HNU", 3),       into(TF::EnquiryAreaMode{}, [](auto& c, auto& v) { return StrConv::toEnquiryAreaMode(c, v); }));
    strConv("fromWString",      30, padded,      [keep](auto& s) { keep(StrConv::fromWString(s, line, 30)); });
    strConv("fromInt",          10, [](unsigned r) { return static_cast<int>(r % 1000000); },       [keep](auto& v) { keep(StrConv::fromInt(v, line, 10)); });
    strConv("fromLong",         10, [](unsigned r) { return static_cast<long32>(r % 1000000); },    [keep](auto& v) { keep(StrConv::fromLong(v, line, 10)); });
    strConv("fromLongLong",     10, [](unsigned r) { return static_cast<long long>(r % 1000000); }, [keep](auto& v) { keep(StrConv::fromLongLong(v, line, 10)); });
    strConv("fromDouble",       12, [](unsigned r) { return r % 10000 / 4.0; },                     [keep](auto& v) { keep(StrConv::fromDouble(v, line, 12, 6)); });
    strConv("fromBool",          1, [](unsigned r) { return r % 2 == 0; },                          [keep](auto& v) { keep(StrConv::fromBool(v, line, 1)); });
    strConv("fromDate, a date", 8, seconds,      [keep](auto& t) { keep(StrConv::fromDate(t, line, StrConv::DATEFORMAT)); });
    strConv("fromDate, a date and time", 12, seconds, [keep](auto& t) { keep(StrConv::fromDate(t, line, StrConv::DATETIMEFORMAT)); });
    strConv("fromDate, a year",  4, seconds,     [keep](auto& t) { keep(StrConv::fromDate(t, line, StrConv::YEARFORMAT)); });
    strConv("fromAmrAlarms",     4, [](unsigned r) { return r; }, [keep](auto& r) {
        bool f[12];
        for (unsigned k = 0; k < 12; ++k) f[k] = (r >> k & 1) != 0;
        keep(StrConv::fromAmrAlarms(f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11], line));
    });
    strConv("fromLineType",        1, among(L"012345679", 9), [keep](auto& c) { keep(StrConv::fromLineType(TF::TramoLineType{c}, line)); });
    strConv("fromFluidType",       1, among(L"WGH", 3),       [keep](auto& c) { keep(StrConv::fromFluidType(TF::MeterFluid{c}, line, 1)); });
    strConv("fromTramoType",       1, among(L"12", 2),        [keep](auto& c) { keep(StrConv::fromTramoType(TF::TramoType{c}, line, 1)); });
    strConv("fromReadMethod",      1, among(L"MA", 2),        [keep](auto& c) { keep(StrConv::fromReadMethod(TF::ReadMethod{c}, line, 1)); });
    strConv("fromReadStatus",      1, among(L"12", 2),        [keep](auto& c) { keep(StrConv::fromReadStatus(TF::ReadStatus{c}, line, 1)); });
    strConv("fromAmrAlarm",        1, among(L"02", 2),        [keep](auto& c) { keep(StrConv::fromAmrAlarm(TF::AmrAlarms{c}, line, 1)); });
    strConv("fromEnquryAreaType",  1, among(L"CNA", 3),       [keep](auto& c) { keep(StrConv::fromEnquryAreaType(TF::EnquiryAreaType{c}, line, 1)); });
    strConv("fromEnquiryAreaMode", 1, among(L"HNU", 3),       [keep](auto& c) { keep(StrConv::fromEnquiryAreaMode(TF::EnquiryAreaMode{c}, line, 1)); });

    using namespace tramo;
    view("toInt",        10, whole,       into(int{},               [](auto& s, auto& v) { return codec::toInt(s, v); }));
    view("toLong",       10, whole,       into(long32{},            [](auto& s, auto& v) { return codec::toLong(s, v); }));
    view("toLongLong",   10, whole,       into(0LL,                 [](auto& s, auto& v) { return codec::toLongLong(s, v); }));
    view("toDouble",     12, decimal,     into(0.0,                 [](auto& s, auto& v) { return codec::toDouble(s, v); }));
    view("hexStrToInt",   4, hexadecimal, into(int{},               [](auto& s, auto& v) { return codec::hexStrToInt(s, v); }));
    view("toDate",        8, date,        into(long32{},            [](auto& s, auto& v) { return codec::toDate(s, v); }));
    view("toDateTime",   12, dateTime,    into(long32{},            [](auto& s, auto& v) { return codec::toDateTime(s, v); }));
    view("toYear",        4, year,        into(long32{},            [](auto& s, auto& v) { codec::toYear(s, v); }));
    view("toAlarmFlags",  4, hexadecimal, into(codec::AlarmFlags{}, [](auto& s, auto& v) { codec::toAlarmFlags(s, v); }));
    view("fromText",     30, padded,      [keep](auto& s) { keep(codec::fromText(s, line, 30)); });
    view("fromInteger",  10, [](unsigned r) { return static_cast<long long>(r % 1000000); }, [](auto& v) { codec::fromInteger(v, line, 10); });
    view("fromDouble",   12, [](unsigned r) { return r % 10000 / 4.0; },                     [](auto& v) { codec::fromDouble(v, line, 12, 6); });
    view("fromDate, a date",           8, seconds, [](auto& t) { codec::fromDate(t, line, codec::DateFormat::Date); });
    view("fromDate, a date and time", 12, seconds, [](auto& t) { codec::fromDate(t, line, codec::DateFormat::DateTime); });
    // clang-format on
}

}  // namespace bench
