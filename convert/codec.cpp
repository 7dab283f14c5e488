#include "convert/codec.h"
#include "common/dates.h"
#include "common/textblocks.h"
#include "convert/complaint.h"
#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <locale.h>
#include <numeric>
#include <vector>

namespace tramo::codec {

using namespace std::string_view_literals;

namespace {

constexpr unsigned notADigit = 16;

unsigned decimalDigit(wchar_t c) { return c >= L'0' && c <= L'9' ? static_cast<unsigned>(c - L'0') : notADigit; }

unsigned hexDigit(wchar_t c) {
    if (c >= L'a' && c <= L'f') return static_cast<unsigned>(c - L'a') + 10;
    if (c >= L'A' && c <= L'F') return static_cast<unsigned>(c - L'A') + 10;
    return decimalDigit(c);
}

// Removes leading white space and one sign from the text. Returns whether the sign was '-'.
bool takeSign(std::wstring_view& text) {
    std::size_t count = 0;
    while (count < text.size() && isBlank(text[count])) ++count;
    const bool negative = count < text.size() && text[count] == L'-';
    if (negative || (count < text.size() && text[count] == L'+')) ++count;
    text.remove_prefix(count);
    return negative;
}

enum class Reading { Good, NoDigit, TooLow, TooHigh };

// Reads the leading digits and removes them from the text.
template <unsigned base, class T> Reading takeDigits(std::wstring_view& text, bool negative, T& value) {
    const std::uint64_t limit = static_cast<std::uint64_t>(std::numeric_limits<T>::max()) + (negative ? 1 : 0);
    const std::uint64_t mayGrow = limit / base;
    constexpr std::size_t alwaysFit = 15;  // digits in 64 bits
    std::uint64_t magnitude = 0;
    std::size_t count = 0;
    for (; count < text.size(); ++count) {
        const unsigned digit = base == 10 ? decimalDigit(text[count]) : hexDigit(text[count]);
        if (digit >= base) break;
        if (count >= alwaysFit && magnitude > mayGrow) magnitude = limit + 1;
        else magnitude = magnitude * base + digit;
    }
    text.remove_prefix(count);
    if (count == 0) return Reading::NoDigit;
    if (magnitude > limit) return negative ? Reading::TooLow : Reading::TooHigh;
    value = static_cast<T>(negative ? 0 - magnitude : magnitude);
    return Reading::Good;
}

// Reads an integer and removes it from the text.
template <class T> Reading takeInteger(std::wstring_view& text, T& value) {
    const bool negative = takeSign(text);
    return takeDigits<10>(text, negative, value);
}

template <class T> bool toInteger(std::wstring_view label, std::wstring_view text, T& value, std::size_t blanks = 0) {
    std::wstring_view rest = text;
    rest.remove_prefix(blanks);
    return takeInteger(rest, value) == Reading::Good || complain(label, text, cannotBeConverted);
}

// Reads a hexadecimal number and removes it from the text.
Reading takeHexadecimal(std::wstring_view& text, int& value) {
    const bool negative = takeSign(text);
    if (text.size() >= 2 && text[0] == L'0' && (text[1] == L'x' || text[1] == L'X')) text.remove_prefix(2);
    return takeDigits<16>(text, negative, value);
}

// clang-format off
constexpr double powersOfTen[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18};
// clang-format on

// Reads a short decimal without an exponent: its digits and its power of ten are exact, so one division rounds correctly.
bool plainDecimal(std::wstring_view text, double& value) {
    const bool negative = takeSign(text);
    std::uint64_t digits = 0;
    std::size_t count = 0, decimals = 0;
    bool point = false;
    for (const wchar_t c : text) {
        if (const unsigned digit = decimalDigit(c); digit != notADigit) {
            if (++count > 18) return false;
            digits = digits * 10 + digit;
            if (point) ++decimals;
        } else if ((c == L'.' || c == L',') && !point) {
            point = true;
        } else if (c == L'e' || c == L'E' || c == L'x' || c == L'X') {
            return false;
        } else {
            break;
        }
    }
    if (FLT_EVAL_METHOD != 0 || count == 0 || digits > std::uint64_t{1} << 53) return false;
    const auto whole = static_cast<double>(digits);
    value = (negative ? -whole : whole) / powersOfTen[decimals];
    return true;
}

bool isNothing(wchar_t c) { return isBlank(c) || c == 0; }

std::wstring_view withoutTrailingSpace(std::wstring_view text) {
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

constexpr int alwaysKept = 15;  // decimal digits that every double preserves

// Returns whether the text is only a sign, digits and at most one point or comma, so few that no digit can be lost.
bool isDigitsAndPoint(std::wstring_view text) {
    takeSign(text);
    int digits = 0, points = 0;
    for (const wchar_t c : text) {
        if (decimalDigit(c) != notADigit) ++digits;
        else if (c == L'.' || c == L',') ++points;
        else return false;
    }
    return digits <= alwaysKept && points <= 1;
}

// Returns the digits of a decimal, from the first one that differs from its value on.
std::wstring_view digitsLost(std::wstring_view text, double value) {
    const auto count = std::ranges::count_if(text, [](wchar_t c) { return decimalDigit(c) != notADigit; });
    if (count <= alwaysKept || text.find_first_of(L"xXnN") != std::wstring_view::npos) return {};
    text = text.substr(0, text.find_first_of(L"eE"));
    std::string digits;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (decimalDigit(text[i]) == notADigit || (digits.empty() && text[i] == L'0')) continue;
        digits += static_cast<char>(text[i]);
        places.push_back(i);
    }
    while (!digits.empty() && digits.back() == '0') digits.pop_back();
    if (std::ssize(digits) <= alwaysKept) return {};
    std::string kept(digits.size() + 16, '\0');  // sign, point, exponent
    const auto decimals = static_cast<int>(digits.size()) - 1;
    const auto result = std::to_chars(kept.data(), kept.data() + kept.size(), value, std::chars_format::scientific, decimals);
    kept.resize(static_cast<std::size_t>(result.ptr - kept.data()));
    kept.erase(kept.find('e'));
    std::erase_if(kept, [](char c) { return c < '0' || c > '9'; });
    const auto lost = static_cast<std::size_t>(std::ranges::mismatch(digits, kept).in1 - digits.begin());
    return lost == digits.size() ? std::wstring_view{} : text.substr(places[lost], places[digits.size() - 1] + 1 - places[lost]);
}

// The decimal point that toDoubleInCLocale reads.
char decimalPoint() {
#ifdef __MINGW32__
    return *std::localeconv()->decimal_point;
#else
    return '.';
#endif
}

double toDoubleInCLocale(const char* text, char** end) {
#ifdef __MINGW32__
    // MinGW's own conversion, because that of Windows is inexact and reads neither hexadecimal numbers nor infinity. It
    // skips only two white space characters and reads the decimal point of the locale.
    const char* const begin = text + std::strspn(text, " \t\n\v\f\r");
    const double value = __mingw_strtod(begin, end);
    if (*end == begin) *end = const_cast<char*>(text);
    return value;
#elif defined(_WIN32)
    static const _locale_t c = _create_locale(LC_ALL, "C");
    return _strtod_l(text, end, c);
#else
    static const locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);  // a constant of the C library, not allocated
    return strtod_l(text, end, c);
#endif
}

// Reads any number that the standard conversion reads. Returns the number of characters read, 0 on failure. `text` is ASCII,
// terminated by a zero.
std::size_t readAnyNumber(const char* text, double& value) {
    const int saved = errno;
    errno = 0;
    char* end = nullptr;
    const double result = toDoubleInCLocale(text, &end);
    const bool good = end != text && errno != ERANGE;
    errno = saved;
    if (good) value = result;
    return good ? static_cast<std::size_t>(end - text) : 0;
}

// Copies the text for the standard conversion, up to the first character that no number contains.
void narrow(std::wstring_view text, char* out) {
    const char point = decimalPoint();
    for (const wchar_t c : text) {
        const bool isAscii = c > 0 && c < 0x80;
        if (c == L',' || c == L'.') *out++ = point;
        else *out++ = isAscii ? static_cast<char>(c) : '\0';
    }
    *out = '\0';
}

// Reads any number and removes it from the text. Returns false if there is none or it is out of range.
bool takeAnyNumber(std::wstring_view& text, double& value) {
    char buffer[1024];
    std::string longer;
    char* narrowed = buffer;
    if (text.size() >= sizeof buffer) {
        longer.resize(text.size() + 1);
        narrowed = longer.data();
    }
    narrow(text, narrowed);
    const std::size_t count = readAnyNumber(narrowed, value);
    text.remove_prefix(count);
    return count > 0;
}

// Truncates on the right.
void justify(std::string_view text, wchar_t* dest, int width) {
    if (width <= 0) return;
    const auto columns = static_cast<std::size_t>(width);
    const std::size_t blanks = columns - std::min(columns, text.size());
    std::fill_n(dest, blanks, L' ');
    std::copy_n(text.begin(), columns - blanks, dest + blanks);
}

// For a number that may be too long for its columns.
void fromLongInteger(long long value, wchar_t* dest, int width) {
    char buffer[20];
    const auto result = std::to_chars(std::begin(buffer), std::end(buffer), value);
    justify({buffer, static_cast<std::size_t>(result.ptr - buffer)}, dest, width);
}

// The longest text of a double: sign, 309 digits, point, and the 1074 decimals that can differ from 0.
constexpr int maxDecimals = 1074;
using DoubleText = char[1 + 309 + 1 + maxDecimals];

std::string_view print(double value, int decimals, DoubleText& buffer) {
    if (std::isnan(value)) return std::signbit(value) ? "-nan" : "nan";  // some C++ libraries write "-nan(ind)"
    const auto result = std::to_chars(std::begin(buffer), std::end(buffer), value, std::chars_format::fixed, decimals);
    return {buffer, static_cast<std::size_t>(result.ptr - buffer)};
}

// Writes a value of few digits. Returns false if the value is so close to the middle between two results that the error of
// the product matters. The product is below 2^43, so its error is below 2^-10.
bool putPlainDecimal(double value, int decimals, wchar_t* dest, int width) {
    if (FLT_EVAL_METHOD != 0 || decimals > 6) return false;
    const double scaled = std::fabs(value) * powersOfTen[decimals];
    if (!(scaled < 8e12)) return false;
    const double rounded = scaled + 0.5;
    const auto whole = static_cast<std::uint64_t>(rounded);
    if (std::fabs(std::fabs(scaled - static_cast<double>(whole)) - 0.5) < 0.01) return false;
    char buffer[1 + 13 + 1];  // sign, digits, point
    char* text = std::end(buffer);
    std::uint64_t digits = whole;
    for (int i = 0; i <= decimals || digits != 0; ++i, digits /= 10) {
        if (i == decimals && i > 0) *--text = '.';
        *--text = static_cast<char>('0' + digits % 10);
    }
    if (std::signbit(value)) *--text = '-';
    justify({text, static_cast<std::size_t>(std::end(buffer) - text)}, dest, width);
    return true;
}

// Uses only the low eight bits of each character, as the format does.
class DateDigits {
public:
    explicit DateDigits(const wchar_t* text) : next(text) {}

    unsigned take(int count) {
        unsigned value = 0;
        for (; count > 0; --count) {
            const auto digit = static_cast<unsigned char>(*next++ - L'0');
            bad |= digit > 9;
            value = value * 10 + digit;
        }
        return value;
    }
    bool areGood() const { return !bad; }

private:
    const wchar_t* next;
    bool bad = false;
};

long32 readDate(std::wstring_view text, DateFormat format) {
    if (text.size() != widthOf(format)) return dates::noTime;
    DateDigits digits(text.data());
    const unsigned year = digits.take(4);
    const unsigned month = format == DateFormat::Year ? 1 : digits.take(2);
    const unsigned day = format == DateFormat::Year ? 1 : digits.take(2);
    const unsigned hour = format == DateFormat::DateTime ? digits.take(2) : 0;
    const unsigned minute = format == DateFormat::DateTime ? digits.take(2) : 0;
    return digits.areGood() ? dates::toInstant(year, month, day, hour, minute) : dates::noTime;
}

bool readDateNotNegative(std::wstring_view text, DateFormat format, long32& seconds) {
    const long32 result = readDate(text, format);
    if (result < 0) return false;
    seconds = result;
    return true;
}

// The text of alarm flags with its blocks of two characters in reverse order, as it is read.
class InWordOrder {
public:
    explicit InWordOrder(std::wstring_view text) : size(text.size()) {
        constexpr std::size_t blockSize = 2;
        if (size > std::size(field)) longer.resize(size);
        textblocks::reverse(text, blockSize, size > std::size(field) ? longer.data() : field);
    }
    std::wstring_view view() const { return {size > std::size(field) ? longer.data() : field, size}; }

private:
    std::size_t size;
    wchar_t field[4];
    std::wstring longer;
};

void putTwoDigits(wchar_t* dest, unsigned value) {
    dest[0] = static_cast<wchar_t>(L'0' + value / 10);
    dest[1] = static_cast<wchar_t>(L'0' + value % 10);
}

}  // namespace

bool toInt(std::wstring_view text, int& value, std::size_t blanks) { return toInteger(L"toInt: "sv, text, value, blanks); }
bool toLong(std::wstring_view text, long32& value) { return toInteger(L"toLong: "sv, text, value); }
bool toLongLong(std::wstring_view text, long long& value, std::size_t blanks) {
    return toInteger(L"toLongLong: "sv, text, value, blanks);
}

bool toDouble(std::wstring_view text, double& value, std::size_t blanks) {
    std::wstring_view rest = text;
    rest.remove_prefix(blanks);
    if (plainDecimal(rest, value) || takeAnyNumber(rest, value)) return true;
    std::setlocale(LC_NUMERIC, "C");  // the format requires this after a failure
    std::wstring shown(text);
    std::replace(shown.begin(), shown.end(), L',', L'.');
    return complain(L"toDouble: ", shown, cannotBeConverted);
}

bool hexStrToInt(std::wstring_view text, int& value) {
    if (text.empty()) return true;
    std::wstring_view rest = text;
    switch (takeHexadecimal(rest, value)) {
    case Reading::Good: return true;
    case Reading::NoDigit: value = 0; break;
    case Reading::TooLow: value = std::numeric_limits<int>::min(); break;
    case Reading::TooHigh: value = std::numeric_limits<int>::max(); break;
    }
    return complain(L"hexStrToInt (", text, parseFailed);
}

bool toDate(std::wstring_view text, long32& seconds) { return readDateNotNegative(text, DateFormat::Date, seconds); }
bool toDateTime(std::wstring_view text, long32& seconds) { return readDateNotNegative(text, DateFormat::DateTime, seconds); }
void toYear(std::wstring_view text, long32& seconds) { seconds = readDate(text, DateFormat::Year); }

void toAlarmFlags(std::wstring_view text, AlarmFlags& flags) {
    const InWordOrder word(text);
    int bits = 0;
    hexStrToInt(word.view(), bits);
    for (std::size_t k = 0; k < flags.size(); ++k) flags[k] = (static_cast<unsigned>(bits) >> k & 1U) != 0;
}

bool fromText(std::wstring_view text, wchar_t* dest, int width) {
    if (text.empty()) return true;
    const auto columns = static_cast<std::size_t>(std::max(width, 0));
    if (text.size() > columns) return false;
    std::fill(std::copy(text.begin(), text.end(), dest), dest + columns, L' ');
    return true;
}

void fromInteger(long long value, wchar_t* dest, int width) {
    // Writes digits from the right, as long as they and the sign fit.
    auto magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    wchar_t* digit = dest + std::max(width, 0);
    wchar_t* const last = dest + (value < 0 ? 1 : 0);
    while (digit > last) {
        *--digit = static_cast<wchar_t>(L'0' + magnitude % 10);
        magnitude /= 10;
        if (magnitude == 0) break;
    }
    if (magnitude != 0 || digit < last) return fromLongInteger(value, dest, width);
    if (value < 0) *--digit = L'-';
    std::fill(dest, digit, L' ');
}

void fromDouble(double value, wchar_t* dest, int width, int decimals) {
    if (decimals < 0) decimals = 6;
    if (putPlainDecimal(value, decimals, dest, width)) return;
    DoubleText buffer;
    const std::string_view text = print(value, std::min(decimals, maxDecimals), buffer);
    const int room = std::max(width, 0) - static_cast<int>(text.size());
    const int zeros = std::isfinite(value) ? std::clamp(decimals - maxDecimals, 0, std::max(room, 0)) : 0;
    justify(text, dest, width - zeros);
    if (zeros > 0) std::fill_n(dest + width - zeros, zeros, L'0');
}

bool fromDate(long32 seconds, wchar_t* dest, DateFormat format) {
    const dates::LocalTime time = dates::toLocal(seconds);
    for (std::size_t i = 0; i < 4; ++i) dest[i] = static_cast<wchar_t>(time.date[i]);
    if (format == DateFormat::Year) return true;
    for (std::size_t i = 4; i < 8; ++i) dest[i] = static_cast<wchar_t>(time.date[i]);
    if (format == DateFormat::Date) return true;
    putTwoDigits(dest + 8, time.minuteOfDay / 60);
    putTwoDigits(dest + 10, time.minuteOfDay % 60);
    return true;
}

void fromAlarmFlags(const AlarmFlags& flags, wchar_t* dest) {
    unsigned bits = 0;
    for (std::size_t k = 0; k < flags.size(); ++k) bits |= static_cast<unsigned>(flags[k]) << k;
    const unsigned word = (bits & 0xFF) << 8 | bits >> 8;
    for (int shift = 12; shift >= 0; shift -= 4) *dest++ = L"0123456789ABCDEF"[word >> shift & 0xF];
    *dest = L'\0';
}

std::wstring_view content(std::wstring_view text) {
    while (!text.empty() && isNothing(text.back())) text.remove_suffix(1);
    while (!text.empty() && isNothing(text.front())) text.remove_prefix(1);
    return text;
}

std::wstring_view ignoredByInteger(std::wstring_view text) {
    long long value = 0;
    return takeInteger(text, value) == Reading::NoDigit ? std::wstring_view{} : content(text);
}

std::wstring_view ignoredByDouble(std::wstring_view text) {
    if (isDigitsAndPoint(text)) return {};
    std::wstring_view rest = text;
    double value = 0;
    if (!takeAnyNumber(rest, value)) return {};
    const std::wstring_view after = content(rest);
    return after.empty() ? digitsLost(text.substr(0, text.size() - rest.size()), value) : after;
}

std::wstring_view ignoredByYear(std::wstring_view text) {
    std::wstring_view rest = text;
    int number = 0;
    if (takeInteger(rest, number) != Reading::Good) return {};
    return readDate(withoutTrailingSpace(text), DateFormat::Year) == dates::noTime ? content(text) : std::wstring_view{};
}

std::wstring_view ignoredByFlag(std::wstring_view text) {
    text = content(text);
    return text == L"0" || text == L"1" ? std::wstring_view{} : text;
}

std::wstring_view ignoredByAlarmFlags(std::wstring_view text) {
    text = withoutTrailingSpace(text);
    const InWordOrder word(text);
    std::wstring_view rest = word.view();
    int bits = 0;
    const bool good = takeHexadecimal(rest, bits) == Reading::Good;
    constexpr std::size_t digitsWithFlags = 3;
    const bool hasBitsWithoutFlag = bits >> AlarmFlags{}.size() > 0;
    if (text.empty() || (good && rest.empty() && !hasBitsWithoutFlag)) return {};

    // From the first to the last character, in the order of the text, that is not read or sets no flag.
    const std::size_t end = good ? text.size() - rest.size() : 0, begin = hasBitsWithoutFlag ? end - digitsWithFlags : 0;
    std::wstring places(text.size(), L'\0');
    std::iota(places.begin(), places.end(), L'\0');
    const InWordOrder order(places);
    std::size_t first = text.size(), last = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto place = static_cast<std::size_t>(order.view()[i]);
        if ((i >= begin && i < end) || isNothing(text[place])) continue;
        first = std::min(first, place);
        last = std::max(last, place);
    }
    return first > last ? std::wstring_view{} : text.substr(first, last - first + 1);
}

// Resizes first: the append function of std::wstring would copy the narrow characters into a temporary wide string.
void append(std::string_view ascii, std::wstring& out) {
    const std::size_t size = out.size();
    out.resize(size + ascii.size());
    std::copy(ascii.begin(), ascii.end(), out.begin() + static_cast<std::ptrdiff_t>(size));
}

void appendInteger(long long value, std::wstring& out) {
    char buffer[20];
    const auto result = std::to_chars(std::begin(buffer), std::end(buffer), value);
    append({buffer, static_cast<std::size_t>(result.ptr - buffer)}, out);
}

void appendDouble(double value, std::wstring& out) {
    DoubleText buffer;
    append(print(value, 6, buffer), out);
}

}  // namespace tramo::codec
