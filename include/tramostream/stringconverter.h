// Converts between the fixed-width text of a line and typed values.
#pragma once
#include "tramostream/codes.h"
#include "tramostream/export.h"
#include "tramostream/types.h"
#include <climits>
#include <string>

/// Converts between the fixed-width text of a line and typed values.
///
/// Text is wide, one UTF-16 code unit in each wchar_t. The `to` functions read the text of a field, usually the result of
/// resize(). The `from` functions write into a line buffer through a pointer to the first character of the field.
///
/// Functions return true on success. A `to` function sets its result only on success, except where noted. A `from` function
/// writes the whole field or nothing, and no terminating zero except fromAmrAlarms.
///
/// Failures print a line on the wide standard output (the date functions print nothing) and never throw.
///
/// Thread-safe as long as the calls succeed; a failed toDouble sets the numeric locale of the process to "C". No result
/// depends on a locale, except that of fromDate with a format other than the three below. Dates are in the host's local
/// time; a change of the TZ variable takes effect at the next call.
///
/// @snippet docs/examples.cpp StrConv
class TRAMO_EXPORT StrConv {
public:
    StrConv() = delete;

    /// @name Encodings of a file
    /// @{
    static constexpr int ENCODING_ANSI = 0;     ///< one byte per character
    static constexpr int ENCODING_UTF8BOM = 1;  ///< neither read nor written
    static constexpr int ENCODING_UTF16LE = 2;  ///< the low byte first, after the byte order mark FF FE
    static constexpr int ENCODING_UTF16BE = 3;  ///< neither read nor written
    /// @}

    /// @name Formats for fromDate
    /// @{
    static constexpr const wchar_t* DATEFORMAT = L"%Y%m%d";          ///< 8 characters
    static constexpr const wchar_t* DATETIMEFORMAT = L"%Y%m%d%H%M";  ///< 12 characters
    static constexpr const wchar_t* YEARFORMAT = L"%Y";              ///< 4 characters
    /// @}

    /// @name Text
    /// White space is space, tab, line feed, vertical tab, form feed and carriage return.
    /// @{

    /// Removes trailing white space from `s` and returns it.
    static std::wstring rtrim(std::wstring& s);

    /// Removes leading white space from `s` and returns it.
    static std::wstring ltrim(std::wstring& s);

    /// Returns the `n` characters at `p`, zeros included; without trailing white space if `trim` is true.
    static std::wstring resize(wchar_t* p, unsigned int n, bool trim);

    /// Writes the text left-justified, padded with spaces. Empty text writes nothing and succeeds; text longer than `width`
    /// writes nothing and fails.
    static bool fromWString(const std::wstring& s, wchar_t* dest, unsigned int width);
    /// @}

    /// @name Numbers
    /// @{

    /// Reads optional leading white space, an optional sign and decimal digits; ignores everything after the digits. Fails
    /// without a digit or outside the range of the type, and prints "toInt: ", the text and " cannot be converted.".
    static bool toInt(std::wstring& s, int& v);
    static bool toLong(std::wstring& s, long32& v);         ///< as toInt, but prints "toLong: "
    static bool toLongLong(std::wstring& s, long long& v);  ///< as toInt, but prints "toLongLong: "

    /// Reads a number as the standard conversion does in the "C" locale, including exponents, hexadecimal floats,
    /// infinities and not-a-number; ignores trailing text. Replaces every ',' in `s` with '.'. Fails without a number and
    /// on overflow or underflow, and prints "toDouble: ", the changed text and " cannot be converted.".
    static bool toDouble(std::wstring& s, double& v);

    /// Writes the number right-justified, padded with spaces, truncated on the right to `width` characters. Always succeeds.
    static bool fromInt(const int& v, wchar_t* dest, unsigned int width);
    static bool fromLong(const long32& v, wchar_t* dest, unsigned int width);         ///< as fromInt
    static bool fromLongLong(const long long& v, wchar_t* dest, unsigned int width);  ///< as fromInt

    /// Writes the number as "%.*f" does in the "C" locale, with six decimals if `decimals` is negative. Justifies and
    /// truncates as fromInt does.
    static bool fromDouble(const double& v, wchar_t* dest, unsigned int width, int decimals);

    /// Reads optional leading white space, an optional sign, an optional "0x" or "0X" and hexadecimal digits; ignores
    /// everything after them. Empty text succeeds and does not change `v`. Fails without a digit, setting `v` to 0, and
    /// outside the range of int, setting `v` to the nearest limit; then prints "hexStrToInt (", the text, "), Parse failed"
    /// and an empty line.
    static bool hexStrToInt(std::wstring& s, int& v);

    /// Returns whether `s` is not empty and contains only the digits 0 to 9.
    static bool is_number(const std::string& s);
    static bool is_number(const std::wstring& s);  ///< the same for wide text
    /// @}

    /// @name Flags
    /// @{

    /// Sets `b` to true for '1' and to false for every other character. Always succeeds.
    static bool toBool(wchar_t& c, bool& b);

    /// Writes '1' or '0' at `dest`; ignores `width`. Always succeeds.
    static bool fromBool(const bool& b, wchar_t* dest, int width);
    static bool fromBool(const bool& b, std::wstring& s);  ///< sets `s` to "1" or "0". Always succeeds.
    /// @}

    /// @name Dates
    /// Seconds since 1970-01-01 00:00:00 UTC, read and written in the host's local time; see DateUtils::strToTime.
    /// @{

    /// Reads YYYYMMDD: the whole text, digits only. Fails for a date outside the calendar, before 1970 or after 2038-01-19
    /// 03:14:07 UTC. Treats repeated and skipped local times as DateUtils::strToTime does. Prints nothing.
    static bool toDate(std::wstring& s, long32& t);
    static bool toDateTime(std::wstring& s, long32& t);  ///< reads YYYYMMDDhhmm, otherwise as toDate

    /// Reads YYYY and sets `t` to the start of that year, negative before 1970; to the lowest 32-bit value if the year is
    /// invalid or does not fit. Always succeeds.
    static bool toYear(const std::wstring& s, long32& t);

    /// Writes exactly the characters that the standard time formatting prints for `format`. Writes nothing and returns false
    /// if that formatting fails.
    static bool fromDate(const long32& t, wchar_t* dest, const wchar_t* format);

    /// @}

#if LONG_MAX > 0x7FFFFFFF
    /// @name For callers that hold these values in a 64-bit long
    /// The range is still that of 32 bits.
    /// @{
    static bool toLong(std::wstring& s, long& v);        ///< as for long32
    static bool toDate(std::wstring& s, long& t);        ///< as for long32
    static bool toDateTime(std::wstring& s, long& t);    ///< as for long32
    static bool toYear(const std::wstring& s, long& t);  ///< as for long32
    /// @}
#endif

    /// @name Reading codes
    /// One character each. For an unknown code they fail and print the function's name and " (", the code, "), Parse failed"
    /// and an empty line. The functions that take a text read its first character and print the whole text.
    /// @{
    static bool toLineType(wchar_t& code, TF::TramoLineType& value);           ///< the letter in column 1
    static bool toFluidType(wchar_t& code, TF::MeterFluid& value);             ///< a space is W
    static bool toFluidType(const wchar_t* text, TF::MeterFluid& value);       ///< a space is W
    static bool toTramoType(wchar_t& code, TF::TramoType& value);              ///< case-sensitive
    static bool toTramoType(const wchar_t* text, TF::TramoType& value);        ///< case-sensitive
    static bool toReadMethod(wchar_t& code, TF::ReadMethod& value);            ///< how a reading was taken
    static bool toReadMethod(const wchar_t* text, TF::ReadMethod& value);      ///< how a reading was taken
    static bool toReadStatus(wchar_t& code, TF::ReadStatus& value);            ///< the status of a reading
    static bool toReadStatus(const char* text, TF::ReadStatus& value);         ///< from narrow text
    static bool toAmrAlarms(wchar_t& code, TF::AmrAlarms& value);              ///< one alarm
    static bool toEnquryAreaType(wchar_t& code, TF::EnquiryAreaType& value);   ///< what an area asks for
    static bool toEnquiryAreaMode(wchar_t& code, TF::EnquiryAreaMode& value);  ///< how it was answered
    /// @}

    /// @name Writing codes
    /// They write one character at `dest` and ignore the width. `Unset` writes nothing and succeeds; a value without a code
    /// writes nothing and fails. fromFluidType prints "toFluidType (" like toFluidType.
    /// @{
    static bool fromLineType(const TF::TramoLineType& value, wchar_t* dest);                      ///< the letter in column 1
    static bool fromFluidType(const TF::MeterFluid& value, wchar_t* dest, int width);             ///< Blank as a space
    static bool fromTramoType(const TF::TramoType& value, wchar_t* dest, int width);              ///< TypeN as '1', TypeA as '2'
    static bool fromReadMethod(const TF::ReadMethod& value, wchar_t* dest, int width);            ///< MethodT fails
    static bool fromReadStatus(const TF::ReadStatus& value, wchar_t* dest, int width);            ///< the status of a reading
    static bool fromAmrAlarm(const TF::AmrAlarms& value, wchar_t* dest, int width);               ///< one alarm
    static bool fromEnquryAreaType(const TF::EnquiryAreaType& value, wchar_t* dest, int width);   ///< what an area asks for
    static bool fromEnquiryAreaMode(const TF::EnquiryAreaMode& value, wchar_t* dest, int width);  ///< how it was answered

    /// Sets the text to "M" or "A"; `Unset` does not change it and succeeds; MethodT fails.
    static bool stringFromReadMethod(const TF::ReadMethod& value, std::wstring* text);
    /// @}

    /// @name Twelve alarm flags as four hexadecimal digits, low byte first
    /// @{

    /// Reverses the order of the two-character blocks of the text and reads it with hexStrToInt; flag k is bit k - 1. Always
    /// succeeds: the flags are set even if hexStrToInt fails and prints its message. An empty text clears all flags.
    static bool toAmrAlarm(std::wstring text, bool& flag1, bool& flag2, bool& flag3, bool& flag4, bool& flag5, bool& flag6,
        bool& flag7, bool& flag8, bool& flag9, bool& flag10, bool& flag11, bool& flag12);

    /// Writes four upper-case digits and a zero character after them, five characters in all. Always succeeds.
    static bool fromAmrAlarms(const bool& flag1, const bool& flag2, const bool& flag3, const bool& flag4, const bool& flag5,
        const bool& flag6, const bool& flag7, const bool& flag8, const bool& flag9, const bool& flag10, const bool& flag11,
        const bool& flag12, wchar_t* dest);
    /// @}
};
