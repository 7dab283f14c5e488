// Between the fixed-width text of a line and typed values.
#pragma once
#include "tramostream/codes.h"
#include "tramostream/export.h"
#include "tramostream/types.h"
#include <climits>
#include <string>

/// Between the fixed-width text of a line and typed values.
///
/// Text is wide, one UTF-16 code unit in each wchar_t. The `to` functions read a field's text, usually the result of
/// resize(); the `from` functions write into a line buffer through a pointer to the field's first character.
///
/// Results: true means success. A `to` function writes its result only on success, except where it says otherwise.
/// A `from` function writes the whole field or nothing, and no terminating zero except fromAmrAlarms.
///
/// Failures print a line on the wide standard output (the date functions are silent) and never throw.
///
/// Threads: every function may run on several threads at once as long as it succeeds. A failed toDouble leaves the
/// process's numeric locale at "C". No answer depends on a locale; dates are the host's local time, and a change of the
/// TZ variable is noticed at the next call.
///
/// @snippet docs/examples.cpp StrConv
class TRAMO_EXPORT StrConv {
public:
    StrConv() = delete;

    /// @name Encodings of a file
    /// @{
    static constexpr int ENCODING_ANSI = 0;     ///< one byte a character
    static constexpr int ENCODING_UTF8BOM = 1;  ///< neither read nor written
    static constexpr int ENCODING_UTF16LE = 2;  ///< the low byte first, behind the mark FF FE
    static constexpr int ENCODING_UTF16BE = 3;  ///< neither read nor written
    /// @}

    /// @name Formats for fromDate
    /// @{
    static constexpr const wchar_t* DATEFORMAT = L"%Y%m%d";          ///< 8 characters
    static constexpr const wchar_t* DATETIMEFORMAT = L"%Y%m%d%H%M";  ///< 12 characters
    static constexpr const wchar_t* YEARFORMAT = L"%Y";              ///< 4 characters
    /// @}

    /// @name Text
    /// White space is blank, tab, line feed, vertical tab, form feed and carriage return.
    /// @{

    /// Removes trailing white space, from `s` itself too.
    static std::wstring rtrim(std::wstring& s);

    /// Removes leading white space, from `s` itself too.
    static std::wstring ltrim(std::wstring& s);

    /// The `n` characters at `p`, zeros included; with `trim`, without trailing white space.
    static std::wstring resize(wchar_t* p, unsigned int n, bool trim);

    /// Left-justified, filled with blanks. Empty text writes nothing and succeeds; text longer than `width` writes
    /// nothing and fails.
    static bool fromWString(const std::wstring& s, wchar_t* dest, unsigned int width);
    /// @}

    /// @name Numbers
    /// @{

    /// Leading white space, a sign, decimal digits; whatever follows the digits is ignored. Fails without a digit and
    /// outside the type's range, and prints "toInt: ", the text and " cannot be converted.".
    static bool toInt(std::wstring& s, int& v);
    static bool toLong(std::wstring& s, long32& v);         ///< as toInt; prints "toLong: " and so on
    static bool toLongLong(std::wstring& s, long long& v);  ///< as toInt; prints "toLongLong: " and so on

    /// What the standard conversion reads in the "C" locale: exponents, hexadecimal floats, infinities and
    /// not-a-number included; trailing text ignored. Every ',' in `s` becomes a '.', for good. Fails without a number
    /// and on overflow or underflow, and prints "toDouble: ", the changed text and " cannot be converted.".
    static bool toDouble(std::wstring& s, double& v);

    /// Right-justified, filled with blanks, cut on the right to `width` characters. Always true.
    static bool fromInt(const int& v, wchar_t* dest, unsigned int width);
    static bool fromLong(const long32& v, wchar_t* dest, unsigned int width);         ///< as fromInt
    static bool fromLongLong(const long long& v, wchar_t* dest, unsigned int width);  ///< as fromInt

    /// As "%.*f" prints it in the "C" locale; six decimals when `decimals` is negative. Justified and cut as fromInt does.
    static bool fromDouble(const double& v, wchar_t* dest, unsigned int width, int decimals);

    /// Leading white space, a sign, "0x" or "0X", hexadecimal digits; whatever follows is ignored. Empty text succeeds
    /// and leaves `v`. Without a digit it fails with `v` 0, outside the range of int with `v` its nearest limit, and
    /// prints "hexStrToInt (", the text, "), Parse failed" and a blank line.
    static bool hexStrToInt(std::wstring& s, int& v);

    /// Whether `s` is not empty and made of the digits 0 to 9 alone.
    static bool is_number(const std::string& s);
    static bool is_number(const std::wstring& s);  ///< as for narrow text
    /// @}

    /// @name Flags
    /// @{

    /// True for '1', false for every other character. Always true.
    static bool toBool(wchar_t& c, bool& b);

    /// '1' or '0' at `dest`; `width` is ignored. Always true.
    static bool fromBool(const bool& b, wchar_t* dest, int width);
    static bool fromBool(const bool& b, std::wstring& s);  ///< "1" or "0". Always true.
    /// @}

    /// @name Dates
    /// Seconds since 1970-01-01 00:00:00 UTC, shown and read in the host's local time; see DateUtils::strToTime.
    /// @{

    /// YYYYMMDD: digits only, the whole text. Fails on a date outside the calendar, before 1970 or after 2038-01-19
    /// 03:14:07 UTC. A local time that the zone repeats is its first occurrence, one that it skips is moved by what is
    /// skipped (see DateUtils::strToTime). Prints nothing.
    static bool toDate(std::wstring& s, long32& t);
    static bool toDateTime(std::wstring& s, long32& t);  ///< YYYYMMDDhhmm, as toDate

    /// YYYY: its first moment, negative before 1970; the lowest 32-bit value for what is no year or does not fit.
    /// Always true.
    static bool toYear(const std::wstring& s, long32& t);

    /// Exactly the characters that `format` gives, as the standard time formatting prints them. False, and nothing
    /// written, when that formatting fails.
    static bool fromDate(const long32& t, wchar_t* dest, const wchar_t* format);

    /// @}

#if LONG_MAX > 0x7FFFFFFF
    /// @name For callers that hold these values in a wider long
    /// The range stays that of 32 bits.
    /// @{
    static bool toLong(std::wstring& s, long& v);        ///< as with long32
    static bool toDate(std::wstring& s, long& t);        ///< as with long32
    static bool toDateTime(std::wstring& s, long& t);    ///< as with long32
    static bool toYear(const std::wstring& s, long& t);  ///< as with long32
    /// @}
#endif

    /// @name Codes that are read
    /// One character each. An unknown code fails and prints the function's name and " (", the code, "), Parse failed"
    /// and a blank line. The functions that take a text look at its first character and print the whole text.
    /// @{
    static bool toLineType(wchar_t& code, TF::TramoLineType& value);           ///< the letter in column 1
    static bool toFluidType(wchar_t& code, TF::MeterFluid& value);             ///< a blank is W
    static bool toFluidType(const wchar_t* text, TF::MeterFluid& value);       ///< a blank is W
    static bool toTramoType(wchar_t& code, TF::TramoType& value);              ///< small and capital letters differ
    static bool toTramoType(const wchar_t* text, TF::TramoType& value);        ///< small and capital letters differ
    static bool toReadMethod(wchar_t& code, TF::ReadMethod& value);            ///< how a reading was taken
    static bool toReadMethod(const wchar_t* text, TF::ReadMethod& value);      ///< how a reading was taken
    static bool toReadStatus(wchar_t& code, TF::ReadStatus& value);            ///< the status of a reading
    static bool toReadStatus(const char* text, TF::ReadStatus& value);         ///< from narrow text
    static bool toAmrAlarms(wchar_t& code, TF::AmrAlarms& value);              ///< one alarm
    static bool toEnquryAreaType(wchar_t& code, TF::EnquiryAreaType& value);   ///< what an area asks for
    static bool toEnquiryAreaMode(wchar_t& code, TF::EnquiryAreaMode& value);  ///< how it was answered
    /// @}

    /// @name Codes that are written
    /// One character at `dest`; the width is ignored. `Unset` writes nothing and succeeds; a value that has no code
    /// writes nothing and fails. fromFluidType prints "toFluidType (", as its counterpart does.
    /// @{
    static bool fromLineType(const TF::TramoLineType& value, wchar_t* dest);                      ///< the letter of column 1
    static bool fromFluidType(const TF::MeterFluid& value, wchar_t* dest, int width);             ///< Blank as a blank
    static bool fromTramoType(const TF::TramoType& value, wchar_t* dest, int width);              ///< TypeN as '1', TypeA as '2'
    static bool fromReadMethod(const TF::ReadMethod& value, wchar_t* dest, int width);            ///< MethodT fails
    static bool fromReadStatus(const TF::ReadStatus& value, wchar_t* dest, int width);            ///< the status of a reading
    static bool fromAmrAlarm(const TF::AmrAlarms& value, wchar_t* dest, int width);               ///< one alarm
    static bool fromEnquryAreaType(const TF::EnquiryAreaType& value, wchar_t* dest, int width);   ///< what an area asks for
    static bool fromEnquiryAreaMode(const TF::EnquiryAreaMode& value, wchar_t* dest, int width);  ///< how it was answered

    /// "M" or "A"; `Unset` leaves the text as it is and succeeds, MethodT fails.
    static bool stringFromReadMethod(const TF::ReadMethod& value, std::wstring* text);
    /// @}

    /// @name Twelve alarm flags as four hexadecimal digits, low byte first
    /// @{

    /// Flag k is bit k - 1 of the number that hexStrToInt reads from the text with its two-character blocks reversed.
    /// Always true: the flags are set even when that reading failed and has printed its message. An empty text clears
    /// all flags.
    static bool toAmrAlarm(std::wstring text, bool& flag1, bool& flag2, bool& flag3, bool& flag4, bool& flag5, bool& flag6,
        bool& flag7, bool& flag8, bool& flag9, bool& flag10, bool& flag11, bool& flag12);

    /// Four upper-case digits and a zero behind them, five characters in all. Always true.
    static bool fromAmrAlarms(const bool& flag1, const bool& flag2, const bool& flag3, const bool& flag4, const bool& flag5,
        const bool& flag6, const bool& flag7, const bool& flag8, const bool& flag9, const bool& flag10, const bool& flag11,
        const bool& flag12, wchar_t* dest);
    /// @}
};
