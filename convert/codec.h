// The field codecs on views of fixed-width text; StrConv is their public face.
//
// A failed conversion prints the format's message, leaves the value as it was and answers false. A successful one
// allocates nothing, throws nothing, looks at no locale and touches no state that threads share.
#pragma once
#include "convert/codetables.h"
#include "tramostream/types.h"
#include <array>
#include <string>
#include <string_view>

namespace tramo::codec {

using AlarmFlags = std::array<bool, 12>;
enum class DateFormat : char { Year = 4, Date = 8, DateTime = 12 };  // YYYY, YYYYMMDD, YYYYMMDDhhmm, by their widths
constexpr std::size_t widthOf(DateFormat format) { return static_cast<std::size_t>(format); }

constexpr bool isBlank(wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); }

// From text. Numbers may be told how many blanks their text begins with.
bool toInt(std::wstring_view text, int& value, std::size_t blanks = 0);
bool toLong(std::wstring_view text, long32& value);
bool toLongLong(std::wstring_view text, long long& value, std::size_t blanks = 0);
bool toDouble(std::wstring_view text, double& value, std::size_t blanks = 0);
bool hexStrToInt(std::wstring_view text, int& value);
bool toDate(std::wstring_view text, long32& seconds);
bool toDateTime(std::wstring_view text, long32& seconds);
void toYear(std::wstring_view text, long32& seconds);
void toAlarmFlags(std::wstring_view text, AlarmFlags& flags);

// The text without blanks and zeros around it.
std::wstring_view content(std::wstring_view text);

// The piece of a text that the value read from it does not hold, as its content: what follows a number,
// digits beyond the precision of a double, a year that is read as none, a flag other than 0 and 1, characters that give no
// alarm flag. Empty: there is none, or the text cannot be read, which is another matter.
std::wstring_view ignoredByInteger(std::wstring_view text);
std::wstring_view ignoredByDouble(std::wstring_view text);
std::wstring_view ignoredByYear(std::wstring_view text);
std::wstring_view ignoredByFlag(std::wstring_view text);
std::wstring_view ignoredByAlarmFlags(std::wstring_view text);

// Into the width columns of a line that start at dest. Numbers are cut on the right when they are too long, an empty
// text writes nothing, a text that is too long writes nothing and answers false.
bool fromText(std::wstring_view text, wchar_t* dest, int width);
void fromInteger(long long value, wchar_t* dest, int width);
void fromDouble(double value, wchar_t* dest, int width, int decimals);  // decimals below 0: six
bool fromDate(long32 seconds, wchar_t* dest, DateFormat format);
void fromAlarmFlags(const AlarmFlags& flags, wchar_t* dest);  // four digits and a zero behind them

// Code characters, by the tables of codetables.h; `shown` is what the failure message prints.
template <class E> bool toCode(wchar_t code, E& value, std::wstring_view shown);
template <class E> bool toCode(wchar_t code, E& value) { return toCode(code, value, std::wstring_view(&code, 1)); }
template <class E> bool fromCode(E value, wchar_t* dest);

// Into a growing text; numbers as "%lld" and "%f" print.
void append(std::string_view ascii, std::wstring& out);
void appendInteger(long long value, std::wstring& out);
void appendDouble(double value, std::wstring& out);

}  // namespace tramo::codec
