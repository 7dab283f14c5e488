#include "convert/codec.h"
#include "common/dates.h"
#include "common/putdecimal.h"
#include "convert/complaint.h"
#include <algorithm>
#include <cfloat>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <vector>

namespace tramo::codec {

using namespace std::string_view_literals;

namespace {

template <class T> bool toInteger(std::wstring_view label, std::wstring_view text, T& value, std::size_t blanks = 0) {
    std::wstring_view rest = text;
    rest.remove_prefix(blanks);
    return takeInteger(rest, value) == Outcome::Good || complain(label, text, cannotBeConverted);
}

std::wstring_view withoutTrailingSpace(std::wstring_view text) {
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
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
    char* const end = putDecimal(kept.data(), kept.data() + kept.size(), value, std::chars_format::scientific, decimals);
    kept.resize(static_cast<std::size_t>(end - kept.data()));
    kept.erase(kept.find('e'));
    std::erase_if(kept, [](char c) { return c < '0' || c > '9'; });
    const auto lost = static_cast<std::size_t>(std::ranges::mismatch(digits, kept).in1 - digits.begin());
    return lost == digits.size() ? std::wstring_view{} : text.substr(places[lost], places[digits.size() - 1] + 1 - places[lost]);
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

// The longest text of a double: sign, 309 digits, point, and the 1074 decimals that can differ from 0; and a zero at its end.
constexpr int maxDecimals = 1074;
using DoubleText = char[1 + 309 + 1 + maxDecimals + 1];

std::string_view print(double value, int decimals, DoubleText& buffer) {
    if (std::isnan(value)) return std::signbit(value) ? "-nan" : "nan";  // some C++ libraries write "-nan(ind)"
    char* const end = putDecimal(std::begin(buffer), std::end(buffer), value, std::chars_format::fixed, decimals);
    return {buffer, static_cast<std::size_t>(end - buffer)};
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

bool readDateNotNegative(std::wstring_view text, DateFormat format, long32& seconds) {
    const long32 result = readDate(text, format);
    if (result < 0) return false;
    seconds = result;
    return true;
}

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
    if (readDecimal(rest, value)) return true;
    std::setlocale(LC_NUMERIC, "C");  // the format requires this after a failure
    std::wstring shown(text);
    std::replace(shown.begin(), shown.end(), L',', L'.');
    return complain(L"toDouble: ", shown, cannotBeConverted);
}

bool hexStrToInt(std::wstring_view text, int& value) {
    if (text.empty()) return true;
    return readHexadecimal(text, value) || complain(L"hexStrToInt (", text, parseFailed);
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
    return takeInteger(text, value) == Outcome::NoDigit ? std::wstring_view{} : content(text);
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
    if (takeInteger(rest, number) != Outcome::Good) return {};
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
    const bool good = takeHexadecimal(rest, bits) == Outcome::Good;
    constexpr std::size_t digitsWithFlags = 3;
    const bool hasBitsWithoutFlag = bits >> AlarmFlags{}.size() > 0;
    if (text.empty() || (good && rest.empty() && !hasBitsWithoutFlag)) return {};

    // From the first to the last character, in the order of the text, that is not read or sets no flag.
    const std::size_t end = good ? text.size() - rest.size() : 0, begin = hasBitsWithoutFlag ? end - digitsWithFlags : 0;
    std::wstring places(text.size(), L'\0');
    std::iota(places.begin(), places.end(), L'\0');
    const InWordOrder<wchar_t> order(places);
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
