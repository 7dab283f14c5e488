// Every conversion of StrConv compared with that of the standard library, and back. The first byte selects whether a character
// is one byte of the text or two; the next bytes are numbers to be written, and the rest is text to be read.
#include "support.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <sstream>
#include <tramostream/stringconverter.h>

namespace {

// Far from UTC, with summer time.
bool takeZone() {
    setenv("TZ", "Europe/Paris", 1);
    tzset();
    return true;
}

// ---- Numbers --------------------------------------------------------------------------------------------------------

// Up to the first character that no number contains.
std::string narrow(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t c : text) {
        if (c == 0 || c >= 0x80) break;
        bytes += static_cast<char>(c);
    }
    return bytes;
}

template <class T, class Convert> void checkInteger(const std::wstring& text, Convert convert) {
    const std::string bytes = narrow(text);
    char* end = nullptr;
    errno = 0;
    const long long expected = std::strtoll(bytes.c_str(), &end, 10);
    const bool fits = expected >= std::numeric_limits<T>::min() && expected <= std::numeric_limits<T>::max();
    const bool good = end != bytes.c_str() && errno == 0 && fits;
    std::wstring given = text;
    T value = 42;
    FUZZ_CHECK(convert(given, value) == good);
    FUZZ_CHECK(value == (good ? static_cast<T>(expected) : T{42}));
    FUZZ_CHECK(given == text);
}

void checkHexadecimal(const std::wstring& text) {
    std::wistringstream stream(text);
    int expected = 42, value = 42;
    const bool good = text.empty() || static_cast<bool>(stream >> std::hex >> expected);
    std::wstring given = text;
    FUZZ_CHECK(StrConv::hexStrToInt(given, value) == good);
    // The stream sets no value if there is only white space.
    if (!good && std::ranges::all_of(text, [](wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); })) expected = 0;
    FUZZ_CHECK(value == expected);
}

void checkDecimal(const std::wstring& text) {
    std::wstring points = text;
    std::ranges::replace(points, L',', L'.');
    const std::string bytes = narrow(points);
    char* end = nullptr;
    errno = 0;
    const double expected = std::strtod(bytes.c_str(), &end);
    const bool good = end != bytes.c_str() && errno == 0;
    std::wstring given = text;
    double value = 42;
    FUZZ_CHECK(StrConv::toDouble(given, value) == good);
    FUZZ_CHECK(given == points);
    if (!good) FUZZ_CHECK(value == 42);
    else if (std::isnan(expected)) FUZZ_CHECK(std::isnan(value));
    else FUZZ_CHECK(std::bit_cast<std::uint64_t>(value) == std::bit_cast<std::uint64_t>(expected));
}

constexpr std::size_t mostColumns = 512;

// Columns to write into, between columns that must not change.
struct Columns {
    std::array<wchar_t, mostColumns + 2> all;
    wchar_t* const first = all.data() + 1;
    Columns() { all.fill(L'#'); }

    void check(const std::string& expected) const {
        for (std::size_t i = 0; i < all.size(); ++i) {
            const bool inside = i >= 1 && i < 1 + expected.size();
            FUZZ_CHECK(all[i] == (inside ? static_cast<wchar_t>(expected[i - 1]) : L'#'));
        }
    }
};

// As printf writes it, right-justified and truncated.
template <class... T> std::string printed(std::size_t width, const char* format, T... values) {
    std::array<char, 2000> text;
    const int length = std::snprintf(text.data(), text.size(), format, values...);
    FUZZ_CHECK(length > 0 && static_cast<std::size_t>(length) < text.size());
    const std::string whole = text.data();
    return std::string(width - std::min(width, whole.size()), ' ') + whole.substr(0, width);
}

void checkNumbersWritten(long long number, unsigned width, int decimals) {
    Columns integer, whole, decimal;
    StrConv::fromLongLong(number, integer.first, width);
    integer.check(printed(width, "%lld", number));
    StrConv::fromInt(static_cast<int>(number), whole.first, width);
    whole.check(printed(width, "%d", static_cast<int>(number)));
    if (width >= 20) {
        std::wstring text(integer.first, width);
        long long read = 0;
        FUZZ_CHECK(StrConv::toLongLong(text, read) && read == number);
    }
    for (const double value : {std::bit_cast<double>(number), static_cast<double>(number % 1000000000000) / 1000}) {
        StrConv::fromDouble(value, decimal.first, width, decimals);
        decimal.check(printed(width, "%.*f", decimals < 0 ? 6 : decimals, value));
    }
}

// ---- Dates ----------------------------------------------------------------------------------------------------------

std::string dateTimeAt(long long instant) {
    const auto time = static_cast<std::time_t>(instant);
    std::tm local{};
    std::array<char, 20> text;
    FUZZ_CHECK(localtime_r(&time, &local) != nullptr);
    FUZZ_CHECK(std::strftime(text.data(), text.size(), "%Y%m%d%H%M", &local) > 0);
    return text.data();
}

void checkDate(const std::wstring& text, bool hasTime) {
    std::wstring given = text;
    long32 value = 42;
    const bool good = hasTime ? StrConv::toDateTime(given, value) : StrConv::toDate(given, value);
    FUZZ_CHECK(given == text);
    if (!good) FUZZ_CHECK(value == 42);

    // Only the low eight bits of a character count.
    std::string digits;
    for (const wchar_t c : text) digits += static_cast<char>(c & 0xFF);
    const bool isNumber = digits.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber || digits.size() != (hasTime ? 12U : 8U)) {
        FUZZ_CHECK(!good);
        return;
    }
    const auto part = [&](std::size_t at, std::size_t count) { return std::stoi(digits.substr(at, count)); };
    const std::chrono::year_month_day day{std::chrono::year{part(0, 4)}, std::chrono::month{static_cast<unsigned>(part(4, 2))},
        std::chrono::day{static_cast<unsigned>(part(6, 2))}};
    const int hour = hasTime ? part(8, 2) : 0, minute = hasTime ? part(10, 2) : 0;
    if (!day.ok() || hour > 23 || minute > 59) {
        FUZZ_CHECK(!good);
        return;
    }
    // Since 1970 this zone has been one or two hours east of UTC. The value is the first instant with this local time; a
    // skipped local time has none and moves forward by an hour.
    const std::chrono::sys_seconds asUtc = std::chrono::sys_days{day} + std::chrono::hours{hour} + std::chrono::minutes{minute};
    const long long winter = asUtc.time_since_epoch().count() - 3600, summer = winter - 3600;
    const std::string wanted = hasTime ? digits : digits + "0000";
    const long long instant = dateTimeAt(summer) == wanted ? summer : winter;
    FUZZ_CHECK(good == (instant >= 0 && instant <= std::numeric_limits<long32>::max()));
    if (!good) return;
    FUZZ_CHECK(value == instant);
    if (dateTimeAt(instant) != wanted) return;
    Columns columns;
    FUZZ_CHECK(StrConv::fromDate(value, columns.first, hasTime ? StrConv::DATETIMEFORMAT : StrConv::DATEFORMAT));
    columns.check(digits);
}

void checkDateWritten(long32 seconds) {
    const std::time_t instant = seconds;
    std::tm time{};
    FUZZ_CHECK(localtime_r(&instant, &time) != nullptr);
    const std::array<std::pair<const wchar_t*, const char*>, 3> formats{
        {{StrConv::DATEFORMAT, "%Y%m%d"}, {StrConv::DATETIMEFORMAT, "%Y%m%d%H%M"}, {StrConv::YEARFORMAT, "%Y"}}};
    for (const auto& [wide, format] : formats) {
        Columns columns;
        FUZZ_CHECK(StrConv::fromDate(seconds, columns.first, wide));
        std::array<char, 20> expected;
        FUZZ_CHECK(std::strftime(expected.data(), expected.size(), format, &time) > 0);
        columns.check(expected.data());
    }
}

// ---- Flags, codes, text -----------------------------------------------------------------------------------------------

void checkAlarms(const std::wstring& text, unsigned bits) {
    std::array<bool, 12> f{};
    FUZZ_CHECK(StrConv::toAmrAlarm(text, f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11]));
    for (std::size_t k = 0; k < f.size(); ++k) f[k] = bits >> k & 1;
    Columns columns;
    wchar_t* const four = columns.first;
    FUZZ_CHECK(StrConv::fromAmrAlarms(f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11], four));
    std::array<char, 5> expected{};
    std::snprintf(expected.data(), expected.size(), "%02X%02X", bits & 0xFF, bits >> 8 & 0x0F);
    columns.check({expected.data(), expected.size()});
    std::array<bool, 12> g{};
    const std::wstring read(four, 4);
    FUZZ_CHECK(StrConv::toAmrAlarm(read, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7], g[8], g[9], g[10], g[11]));
    FUZZ_CHECK(f == g);
}

// A code that was read is written unchanged, except the codes `other`, which are written differently or not at all.
template <class E, class To, class From>
void checkCode(wchar_t code, std::wstring_view known, std::wstring_view other, To to, From from) {
    wchar_t given = code;
    E value = E::Unset;
    const bool good = to(given, value);
    FUZZ_CHECK(good == (known.find(code) != std::wstring_view::npos || other.find(code) != std::wstring_view::npos));
    FUZZ_CHECK(good == (value != E::Unset));
    wchar_t written = L'#';
    const bool isWritten = from(value, &written);
    if (!good) FUZZ_CHECK(isWritten && written == L'#');
    else if (other.find(code) == std::wstring_view::npos) FUZZ_CHECK(isWritten && written == code);
    else FUZZ_CHECK(written != code);
}

void checkCodes(wchar_t code) {
    using S = StrConv;
    checkCode<TF::TramoLineType>(
        code, L"012345679", L"", [](wchar_t& c, auto& v) { return S::toLineType(c, v); },
        [](auto v, wchar_t* dest) { return S::fromLineType(v, dest); });
    checkCode<TF::MeterFluid>(
        code, L"WCEGHT", L" ", [](wchar_t& c, auto& v) { return S::toFluidType(c, v); },
        [](auto v, wchar_t* dest) { return S::fromFluidType(v, dest, 1); });
    checkCode<TF::TramoType>(
        code, L"12BDHYdn", L"AN", [](wchar_t& c, auto& v) { return S::toTramoType(c, v); },
        [](auto v, wchar_t* dest) { return S::fromTramoType(v, dest, 1); });
    checkCode<TF::ReadMethod>(
        code, L"MA", L"T", [](wchar_t& c, auto& v) { return S::toReadMethod(c, v); },
        [](auto v, wchar_t* dest) { return S::fromReadMethod(v, dest, 1); });
    checkCode<TF::ReadStatus>(
        code, L"1234", L"", [](wchar_t& c, auto& v) { return S::toReadStatus(c, v); },
        [](auto v, wchar_t* dest) { return S::fromReadStatus(v, dest, 1); });
    checkCode<TF::AmrAlarms>(
        code, L"01234567", L"", [](wchar_t& c, auto& v) { return S::toAmrAlarms(c, v); },
        [](auto v, wchar_t* dest) { return S::fromAmrAlarm(v, dest, 1); });
    checkCode<TF::EnquiryAreaType>(
        code, L"CNA", L"", [](wchar_t& c, auto& v) { return S::toEnquryAreaType(c, v); },
        [](auto v, wchar_t* dest) { return S::fromEnquryAreaType(v, dest, 1); });
    checkCode<TF::EnquiryAreaMode>(
        code, L"HNRU", L"", [](wchar_t& c, auto& v) { return S::toEnquiryAreaMode(c, v); },
        [](auto v, wchar_t* dest) { return S::fromEnquiryAreaMode(v, dest, 1); });
}

void checkText(const std::wstring& text, unsigned width) {
    constexpr const wchar_t* white = L" \t\n\v\f\r";
    std::wstring right = text, left = text;
    const std::wstring trimmed = text.substr(0, text.find_last_not_of(white) + 1);
    FUZZ_CHECK(StrConv::rtrim(right) == trimmed && right == trimmed);
    StrConv::ltrim(left);
    FUZZ_CHECK(left == text.substr(std::min(text.find_first_not_of(white), text.size())));
    std::wstring given = text;
    FUZZ_CHECK(StrConv::resize(given.data(), static_cast<unsigned>(given.size()), true) == trimmed);

    std::wstring columns(width + 1, L'#'), expected = columns;
    const bool fits = text.size() <= width;
    if (fits && !text.empty()) expected = text + std::wstring(width - text.size(), L' ') + L'#';
    FUZZ_CHECK(StrConv::fromWString(text, columns.data(), width) == fits);
    FUZZ_CHECK(columns == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool ready = fuzz::silenceLibrary() && takeZone();
    fuzz::Bytes bytes(data, size);
    const bool wide = fuzz::takeByte(bytes) & 1;
    const auto number = static_cast<long long>(fuzz::takeNumber(bytes, 8));
    const unsigned width = fuzz::takeByte(bytes);
    const int decimals = static_cast<int>(fuzz::takeByte(bytes)) - 1;
    const std::wstring text = fuzz::textOf(bytes, wide);

    checkInteger<int>(text, [](auto& s, auto& v) { return StrConv::toInt(s, v); });
    checkInteger<long32>(text, [](auto& s, auto& v) { return StrConv::toLong(s, v); });
    checkInteger<long long>(text, [](auto& s, auto& v) { return StrConv::toLongLong(s, v); });
    checkHexadecimal(text);
    checkDecimal(text);
    checkNumbersWritten(number, width, decimals);
    checkDate(text, false);
    checkDate(text, true);
    checkDateWritten(static_cast<long32>(number));
    checkAlarms(text, static_cast<unsigned>(number) & 0x0FFF);
    checkCodes(text.empty() ? static_cast<wchar_t>(number & 0xFFFF) : text[0]);
    checkText(text, width);
    return 0;
}
