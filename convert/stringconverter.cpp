#include "tramostream/stringconverter.h"
#include "common/zone.h"
#include "convert/codec.h"
#include "convert/complaint.h"
#include "convert/otherformats.h"
#include <algorithm>
#include <cwchar>

namespace codec = tramo::codec;

namespace {

template <class String> bool allDigits(const String& s) {
    return !s.empty() && std::all_of(s.begin(), s.end(), [](auto c) { return c >= '0' && c <= '9'; });
}

template <class Read, class Text> bool toWiderLong(Read read, Text& s, long& v) {
    long32 narrow = 0;
    if (!read(s, narrow)) return false;
    v = narrow;
    return true;
}

}  // namespace

std::wstring StrConv::rtrim(std::wstring& s) {
    while (!s.empty() && codec::isBlank(s.back())) s.pop_back();
    return s;
}

std::wstring StrConv::ltrim(std::wstring& s) {
    s.erase(s.begin(), std::find_if_not(s.begin(), s.end(), codec::isBlank<wchar_t>));
    return s;
}

std::wstring StrConv::resize(wchar_t* p, unsigned int n, bool trim) {
    if (trim)
        while (n > 0 && codec::isBlank(p[n - 1])) --n;
    return {p, n};
}

bool StrConv::fromWString(const std::wstring& s, wchar_t* dest, unsigned int width) {
    return codec::fromText(s, dest, static_cast<int>(width));
}

bool StrConv::toInt(std::wstring& s, int& v) { return codec::toInt(s, v); }
bool StrConv::toLong(std::wstring& s, long32& v) { return codec::toLong(s, v); }
bool StrConv::toLongLong(std::wstring& s, long long& v) { return codec::toLongLong(s, v); }

bool StrConv::toDouble(std::wstring& s, double& v) {
    std::replace(s.begin(), s.end(), L',', L'.');
    return codec::toDouble(s, v);
}

bool StrConv::fromInt(const int& v, wchar_t* dest, unsigned int width) {
    codec::fromInteger(v, dest, static_cast<int>(width));
    return true;
}

bool StrConv::fromLong(const long32& v, wchar_t* dest, unsigned int width) {
    codec::fromInteger(v, dest, static_cast<int>(width));
    return true;
}

bool StrConv::fromLongLong(const long long& v, wchar_t* dest, unsigned int width) {
    codec::fromInteger(v, dest, static_cast<int>(width));
    return true;
}

bool StrConv::fromDouble(const double& v, wchar_t* dest, unsigned int width, int decimals) {
    codec::fromDouble(v, dest, static_cast<int>(width), decimals);
    return true;
}

bool StrConv::hexStrToInt(std::wstring& s, int& v) { return codec::hexStrToInt(s, v); }

bool StrConv::is_number(const std::string& s) { return allDigits(s); }
bool StrConv::is_number(const std::wstring& s) { return allDigits(s); }

bool StrConv::toBool(wchar_t& c, bool& b) {
    b = c == L'1';
    return true;
}

bool StrConv::fromBool(const bool& b, wchar_t* dest, int) {
    *dest = b ? L'1' : L'0';
    return true;
}

bool StrConv::fromBool(const bool& b, std::wstring& s) {
    s = b ? L"1" : L"0";
    return true;
}

bool StrConv::toDate(std::wstring& s, long32& t) { return codec::toDate(s, t); }
bool StrConv::toDateTime(std::wstring& s, long32& t) { return codec::toDateTime(s, t); }

bool StrConv::toYear(const std::wstring& s, long32& t) {
    codec::toYear(s, t);
    return true;
}

bool StrConv::fromDate(const long32& t, wchar_t* dest, const wchar_t* format) {
    using codec::DateFormat;
    if (std::wcscmp(format, DATEFORMAT) == 0) return codec::fromDate(t, dest, DateFormat::Date);
    if (std::wcscmp(format, DATETIMEFORMAT) == 0) return codec::fromDate(t, dest, DateFormat::DateTime);
    if (std::wcscmp(format, YEARFORMAT) == 0) return codec::fromDate(t, dest, DateFormat::Year);
    return codec::fromDateByStandard(t, dest, format);
}

#if LONG_MAX > 0x7FFFFFFF
bool StrConv::toLong(std::wstring& s, long& v) { return toWiderLong(codec::toLong, s, v); }
bool StrConv::toDate(std::wstring& s, long& t) { return toWiderLong(codec::toDate, s, t); }
bool StrConv::toDateTime(std::wstring& s, long& t) { return toWiderLong(codec::toDateTime, s, t); }

bool StrConv::toYear(const std::wstring& s, long& t) {
    long32 narrow = 0;
    codec::toYear(s, narrow);
    t = narrow;
    return true;
}
#endif

bool StrConv::toLineType(wchar_t& code, TF::TramoLineType& value) { return codec::toCode(code, value); }
bool StrConv::toFluidType(wchar_t& code, TF::MeterFluid& value) { return codec::toCode(code, value); }
bool StrConv::toFluidType(const wchar_t* text, TF::MeterFluid& value) { return codec::toCode(*text, value, text); }
bool StrConv::toTramoType(wchar_t& code, TF::TramoType& value) { return codec::toCode(code, value); }
bool StrConv::toTramoType(const wchar_t* text, TF::TramoType& value) { return codec::toCode(*text, value, text); }
bool StrConv::toReadMethod(wchar_t& code, TF::ReadMethod& value) { return codec::toCode(code, value); }
bool StrConv::toReadMethod(const wchar_t* text, TF::ReadMethod& value) { return codec::toCode(*text, value, text); }
bool StrConv::toReadStatus(wchar_t& code, TF::ReadStatus& value) { return codec::toCode(code, value); }
bool StrConv::toAmrAlarms(wchar_t& code, TF::AmrAlarms& value) { return codec::toCode(code, value); }
bool StrConv::toEnquryAreaType(wchar_t& code, TF::EnquiryAreaType& value) { return codec::toCode(code, value); }
bool StrConv::toEnquiryAreaMode(wchar_t& code, TF::EnquiryAreaMode& value) { return codec::toCode(code, value); }

bool StrConv::toReadStatus(const char* text, TF::ReadStatus& value) {
    std::wstring wide;
    for (; *text; ++text) wide += static_cast<unsigned char>(*text);
    return codec::toCode(*wide.c_str(), value, wide);
}

bool StrConv::fromLineType(const TF::TramoLineType& value, wchar_t* dest) { return codec::fromCode(value, dest); }
bool StrConv::fromFluidType(const TF::MeterFluid& value, wchar_t* dest, int) { return codec::fromCode(value, dest); }
bool StrConv::fromTramoType(const TF::TramoType& value, wchar_t* dest, int) { return codec::fromCode(value, dest); }
bool StrConv::fromReadMethod(const TF::ReadMethod& value, wchar_t* dest, int) { return codec::fromCode(value, dest); }
bool StrConv::fromReadStatus(const TF::ReadStatus& value, wchar_t* dest, int) { return codec::fromCode(value, dest); }
bool StrConv::fromAmrAlarm(const TF::AmrAlarms& value, wchar_t* dest, int) { return codec::fromCode(value, dest); }
bool StrConv::fromEnquryAreaType(const TF::EnquiryAreaType& value, wchar_t* dest, int) { return codec::fromCode(value, dest); }
bool StrConv::fromEnquiryAreaMode(const TF::EnquiryAreaMode& value, wchar_t* dest, int) { return codec::fromCode(value, dest); }

bool StrConv::stringFromReadMethod(const TF::ReadMethod& value, std::wstring* text) {
    if (value == TF::ReadMethod::Unset) return true;
    const auto* row = codec::rowWriting(value);
    const auto code = static_cast<wchar_t>(value);
    if (!row) return codec::complain(L"stringFromReadMethod (", {&code, 1}, codec::parseFailed);
    text->assign(1, row->written);
    return true;
}

bool StrConv::toAmrAlarm(std::wstring text, bool& flag1, bool& flag2, bool& flag3, bool& flag4, bool& flag5, bool& flag6,
    bool& flag7, bool& flag8, bool& flag9, bool& flag10, bool& flag11, bool& flag12) {
    codec::AlarmFlags flags;
    codec::toAlarmFlags(text, flags);
    bool* const targets[] = {&flag1, &flag2, &flag3, &flag4, &flag5, &flag6, &flag7, &flag8, &flag9, &flag10, &flag11, &flag12};
    for (std::size_t k = 0; k < flags.size(); ++k) *targets[k] = flags[k];
    return true;
}

bool StrConv::fromAmrAlarms(const bool& flag1, const bool& flag2, const bool& flag3, const bool& flag4, const bool& flag5,
    const bool& flag6, const bool& flag7, const bool& flag8, const bool& flag9, const bool& flag10, const bool& flag11,
    const bool& flag12, wchar_t* dest) {
    codec::fromAlarmFlags({flag1, flag2, flag3, flag4, flag5, flag6, flag7, flag8, flag9, flag10, flag11, flag12}, dest);
    return true;
}
