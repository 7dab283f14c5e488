// The field codecs on views of fixed-width text; StrConv is their public interface.
//
// A failed conversion prints the format's message, does not change the value and returns false. A successful one does not
// allocate, throw, use a locale or touch state that threads share.
#pragma once
#include "convert/codetables.h"
#include "convert/reading.h"
#include "tramostream/types.h"
#include <array>
#include <string>
#include <string_view>

namespace tramo::codec {

using AlarmFlags = std::array<bool, alarmFlagCount>;

// From text. `blanks` is the number of leading white space characters to skip, if known.
bool toInt(std::wstring_view text, int& value, std::size_t blanks = 0);
bool toLong(std::wstring_view text, long32& value);
bool toLongLong(std::wstring_view text, long long& value, std::size_t blanks = 0);
bool toDouble(std::wstring_view text, double& value, std::size_t blanks = 0);
bool hexStrToInt(std::wstring_view text, int& value);
bool toDate(std::wstring_view text, long32& seconds);
bool toDateTime(std::wstring_view text, long32& seconds);
void toYear(std::wstring_view text, long32& seconds);
void toAlarmFlags(std::wstring_view text, AlarmFlags& flags);

// Returns the text without surrounding white space and zero characters.
std::wstring_view content(std::wstring_view text);

// Returns the content() of the part of a text that its value does not preserve: text after a number, digits beyond the
// precision of a double, a year that is read as absent, a flag other than 0 and 1, characters that set no alarm flag.
// Returns an empty text if there is none, or if the text cannot be parsed, which is a parse error.
std::wstring_view ignoredByInteger(std::wstring_view text);
std::wstring_view ignoredByDouble(std::wstring_view text);
std::wstring_view ignoredByYear(std::wstring_view text);
std::wstring_view ignoredByFlag(std::wstring_view text);
std::wstring_view ignoredByAlarmFlags(std::wstring_view text);

// Into `width` columns of a line, starting at `dest`. Numbers that are too long are truncated on the right; an empty text
// writes nothing; a text that is too long writes nothing and returns false.
bool fromText(std::wstring_view text, wchar_t* dest, int width);
void fromInteger(long long value, wchar_t* dest, int width);
void fromDouble(double value, wchar_t* dest, int width, int decimals);  // decimals below 0: six
bool fromDate(long32 seconds, wchar_t* dest, DateFormat format);
void fromAlarmFlags(const AlarmFlags& flags, wchar_t* dest);  // four digits, then a zero character

// Code characters, by the tables of codetables.h; the failure message prints `shown`.
template <class E> bool toCode(wchar_t code, E& value, std::wstring_view shown);
template <class E> bool toCode(wchar_t code, E& value) { return toCode(code, value, std::wstring_view(&code, 1)); }
template <class E> bool fromCode(E value, wchar_t* dest);

// Append to a text; numbers as "%lld" and "%f" print them.
void append(std::string_view ascii, std::wstring& out);
void appendInteger(long long value, std::wstring& out);
void appendDouble(double value, std::wstring& out);

}  // namespace tramo::codec
