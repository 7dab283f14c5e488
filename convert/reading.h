// Reads values from fixed-width text of any character type: the bytes of an ANSI file, the units of a UTF-16 file, and wide
// characters. The functions print nothing; codec.h adds the format's messages.
//
// A successful reading does not allocate, throw, use a locale or touch state that threads share.
#pragma once
#include "common/dates.h"
#include "common/textblocks.h"
#include "convert/digits.h"
#include <array>
#include <bit>
#include <cfloat>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

namespace tramo::codec {

template <class Char> using TextOf = std::basic_string_view<Char>;

enum class Outcome { Good, NoDigit, TooLow, TooHigh };

enum class DateFormat : char { Year = 4, Date = 8, DateTime = 12 };  // YYYY, YYYYMMDD, YYYYMMDDhhmm, by their widths
constexpr std::size_t widthOf(DateFormat format) { return static_cast<std::size_t>(format); }

// The number of a character, which is not negative.
template <class Char> constexpr std::uint32_t codeOf(Char c) { return static_cast<std::make_unsigned_t<Char>>(c); }

template <class Char> constexpr bool isBlank(Char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
template <class Char> constexpr bool isNothing(Char c) { return isBlank(c) || c == 0; }

inline constexpr unsigned notADigit = 16;

template <class Char> constexpr unsigned decimalDigit(Char c) {
    return c >= '0' && c <= '9' ? static_cast<unsigned>(c - '0') : notADigit;
}

template <class Char> constexpr unsigned hexDigit(Char c) {
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
    return decimalDigit(c);
}

// The functions take...() remove what they have read from the text.

// Takes leading white space and one sign. Returns whether the sign was '-'.
template <class Char> constexpr bool takeSign(TextOf<Char>& text) {
    std::size_t count = 0;
    while (count < text.size() && isBlank(text[count])) ++count;
    const bool negative = count < text.size() && text[count] == '-';
    if (negative || (count < text.size() && text[count] == '+')) ++count;
    text.remove_prefix(count);
    return negative;
}

template <unsigned base, class Char, class T> constexpr Outcome takeDigits(TextOf<Char>& text, bool negative, T& value) {
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
    if (count == 0) return Outcome::NoDigit;
    if (magnitude > limit) return negative ? Outcome::TooLow : Outcome::TooHigh;
    value = static_cast<T>(negative ? 0 - magnitude : magnitude);
    return Outcome::Good;
}

template <class Char, class T> constexpr Outcome takeInteger(TextOf<Char>& text, T& value) {
    const bool negative = takeSign(text);
    return takeDigits<10>(text, negative, value);
}

template <class Char> constexpr Outcome takeHexadecimal(TextOf<Char>& text, int& value) {
    const bool negative = takeSign(text);
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
    return takeDigits<16>(text, negative, value);
}

// clang-format off
inline constexpr double powersOfTen[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18};
// clang-format on

// Reads a short decimal without an exponent: its digits and its power of ten are exact, so one division rounds correctly.
template <class Char> bool plainDecimal(TextOf<Char> text, double& value) {
    const bool negative = takeSign(text);
    std::uint64_t digits = 0;
    std::size_t count = 0, decimals = 0;
    bool point = false;
    for (const Char c : text) {
        if (const unsigned digit = decimalDigit(c); digit != notADigit) {
            if (++count > 18) return false;
            digits = digits * 10 + digit;
            if (point) ++decimals;
        } else if ((c == '.' || c == ',') && !point) {
            point = true;
        } else if (c == 'e' || c == 'E' || c == 'x' || c == 'X') {
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

// Reads such a decimal of at most 15 digits at once, the usual case, with the same result. `before` characters are readable
// before `end`. Returns false in any other case.
template <class Char> bool readPlainDecimal(const Char* end, unsigned count, unsigned before, double& value) {
    if (!readsEightDigits || FLT_EVAL_METHOD != 0 || count == 0 || count > 16 || before < (count > 8 ? 16U : 8U)) return false;
    PointedDigits digits;
    if (!readPointedDigits(end, count, digits)) return false;
    value = static_cast<double>(digits.whole) / powersOfTen[digits.decimals];
    return true;
}

// The decimal point that readAnyNumber expects.
char decimalPoint();

// Reads any number that the standard conversion reads. Returns the number of characters read, 0 if there is no number or it
// is out of range. `text` is ASCII, terminated by a zero.
std::size_t readAnyNumber(const char* text, double& value);

// Takes any number that the standard conversion reads, with a comma or a point. Returns false if there is none or it is out
// of range. Not inlined: its memory would slow down each function that reads fields.
template <class Char> [[gnu::noinline]] bool takeAnyNumber(TextOf<Char>& text, double& value) {
    char buffer[1024];
    std::string longer;
    char* narrowed = buffer;
    if (text.size() >= sizeof buffer) {
        longer.resize(text.size() + 1);
        narrowed = longer.data();
    }
    const char point = decimalPoint();
    char* out = narrowed;
    for (const Char c : text)  // no number contains a character beyond ASCII
        *out++ = c == ',' || c == '.' ? point : codeOf(c) < 0x80 ? static_cast<char>(c) : '\0';
    *out = '\0';
    const std::size_t count = readAnyNumber(narrowed, value);
    text.remove_prefix(count);
    return count > 0;
}

// Returns whether the text is only a sign and digits, so that no integer ignores a part of it.
template <class Char> constexpr bool isSignAndDigits(TextOf<Char> text) {
    takeSign(text);
    for (const Char c : text)
        if (decimalDigit(c) == notADigit) return false;
    return true;
}

inline constexpr int alwaysKept = 15;  // decimal digits that every double preserves

// Returns whether the text is only a sign, digits and at most one point or comma, so few that no digit can be lost.
template <class Char> constexpr bool isDigitsAndPoint(TextOf<Char> text) {
    takeSign(text);
    int digits = 0, points = 0;
    for (const Char c : text) {
        if (decimalDigit(c) != notADigit) ++digits;
        else if (c == '.' || c == ',') ++points;
        else return false;
    }
    return digits <= alwaysKept && points <= 1;
}

template <class Char> bool readDecimal(TextOf<Char> text, double& value) {
    return plainDecimal(text, value) || takeAnyNumber(text, value);
}

// The digits of a date, by the low eight bits of each character, as the format reads them.
template <class Char> class DateDigits {
public:
    explicit DateDigits(const Char* text) : next(text) {}

    // At most nine digits.
    unsigned take(int count) {
        if constexpr (readsEightDigits && sizeof(Char) == 1)
            if (count == 8) return takeEight();
        unsigned value = 0;
        for (; count > 0; --count) {
            const auto digit = static_cast<unsigned char>(*next++ - '0');
            bad |= digit > 9;
            value = value * 10 + digit;
        }
        return value;
    }
    bool areGood() const { return !bad; }

private:
    unsigned takeEight() {
        const std::uint64_t eight = digitsBefore(next += 8, 8);
        bad |= !areDigits(eight);
        return numberOf(eight);
    }

    const Char* next;
    bool bad = false;
};

// Reads a date of a day that was read before, as most are. Returns dates::noTime in any other case.
inline long32 readKnownDate(const char* text, DateFormat format, const zone::Clock& clock) {
    std::uint64_t date = 0, time = 0;
    if (format == DateFormat::Year) {
        char first[8] = {0, 0, 0, 0, '0', '1', '0', '1'};
        std::memcpy(first, text, 4);
        date = digitsBefore(first + 8, 8);
    } else {
        date = digitsBefore(text + 8, 8);
    }
    if (format == DateFormat::DateTime) time = digitsBefore(text + 12, 4);
    if (!areDigits(date) || !areDigits(time)) return dates::noTime;
    const std::uint32_t pairs = pairsOf(time), hour = pairs >> 16 & 0xFF, minute = pairs >> 24;
    const long32 midnight = clock.knownMidnight(pairsOf(date));
    return midnight == zone::unsteady || hour > 23 || minute > 59 ? dates::noTime
                                                                  : midnight + static_cast<long32>((hour * 60 + minute) * 60);
}

// Reads a text of as many characters as a date of this format has.
template <class Char> [[gnu::noinline]] long32 readAnyDate(const Char* text, DateFormat format, const zone::Clock& clock) {
    DateDigits digits(text);
    const unsigned date = format == DateFormat::Year ? digits.take(4) * 10000 + 101 : digits.take(8);
    const unsigned time = format == DateFormat::DateTime ? digits.take(4) : 0;
    if (!digits.areGood()) return dates::noTime;
    return dates::toInstant(date / 10000, date / 100 % 100, date % 100, time / 100, time % 100, clock);
}

// Returns dates::noTime if the text is no date of this format.
template <class Char>
[[gnu::always_inline]] inline long32 readDate(TextOf<Char> text, DateFormat format, const zone::Clock& clock = zone::Clock()) {
    if (text.size() != widthOf(format)) return dates::noTime;
    if constexpr (readsEightDigits && sizeof(Char) == 1)
        if (const long32 time = readKnownDate(text.data(), format, clock); time != dates::noTime) return time;
    return readAnyDate(text.data(), format, clock);
}

// The text of alarm flags with its blocks of two characters in reverse order, as it is read.
template <class Char> class InWordOrder {
public:
    explicit InWordOrder(TextOf<Char> text) : size(text.size()) {
        constexpr std::size_t blockSize = 2;
        if (size > std::size(field)) longer.resize(size);
        textblocks::reverse(text, blockSize, size > std::size(field) ? longer.data() : field);
    }
    TextOf<Char> view() const { return {size > std::size(field) ? longer.data() : field, size}; }

private:
    std::size_t size;
    Char field[4];
    std::basic_string<Char> longer;
};

// Returns whether the text begins with a hexadecimal number that an int can hold. Otherwise, the value is 0 or the limit that
// is exceeded.
template <class Char> bool readHexadecimal(TextOf<Char> text, int& value) {
    switch (takeHexadecimal(text, value)) {
    case Outcome::Good: return true;
    case Outcome::NoDigit: value = 0; break;
    case Outcome::TooLow: value = std::numeric_limits<int>::min(); break;
    case Outcome::TooHigh: value = std::numeric_limits<int>::max(); break;
    }
    return false;
}

inline constexpr std::size_t alarmFlagCount = 12;

// Reads alarm flags: flag k is bit k - 1. A text that is no number sets the flags that its value has, as the format does.
template <class Char> [[gnu::noinline]] unsigned readAlarmFlags(TextOf<Char> text) {
    int bits = 0;
    readHexadecimal(InWordOrder(text).view(), bits);
    return static_cast<unsigned>(bits) & ((1U << alarmFlagCount) - 1);
}

// Returns whether the text is a hexadecimal number that sets nothing but flags.
template <class Char> bool isAlarmFlags(TextOf<Char> text) {
    const InWordOrder word(text);
    TextOf<Char> rest = word.view();
    int bits = 0;
    return takeHexadecimal(rest, bits) == Outcome::Good && rest.empty() && bits >> alarmFlagCount == 0;
}

}  // namespace tramo::codec
