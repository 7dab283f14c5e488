#include "calls.h"
#include "wire.h"
#include <functional>
#include <map>
#include <tramostream/dateutils.h>
#include <tramostream/stringconverter.h>
#include <tramostream/stringutils.h>

namespace {

using Arguments = std::vector<std::string_view>;
using Call = std::function<std::string(const Arguments&)>;
using wire::list;

template <class T> T argument(const Arguments& arguments, std::size_t index) { return wire::valueOf<T>(arguments.at(index)); }

// A field in a line, with other columns on both sides.
class Place {
public:
    wchar_t* start() { return text.data() + 2; }
    std::wstring after(std::size_t width) const { return text.substr(0, width + 4); }

private:
    std::wstring text = std::wstring(200, L'#');
};

template <class T> Call reading(bool (*read)(std::wstring&, T&)) {
    return [read](const Arguments& a) {
        auto text = argument<std::wstring>(a, 0);
        T value = -77;
        const bool ok = read(text, value);
        return list(ok, value, text);
    };
}
template <class T> Call writing(bool (*write)(const T&, wchar_t*, unsigned int)) {
    return [write](const Arguments& a) {
        Place place;
        const bool ok = write(argument<T>(a, 0), place.start(), argument<unsigned int>(a, 1));
        return list(ok, place.after(argument<std::size_t>(a, 1)));
    };
}
template <class T> Call readingCode(bool (*read)(wchar_t&, T&)) {
    return [read](const Arguments& a) {
        wchar_t code = argument<std::wstring>(a, 0).at(0);
        T value{L'#'};
        const bool ok = read(code, value);
        return list(ok, value);
    };
}
template <class T> Call readingCodeText(bool (*read)(const wchar_t*, T&)) {
    return [read](const Arguments& a) {
        const auto text = argument<std::wstring>(a, 0);
        T value{L'#'};
        const bool ok = read(text.c_str(), value);
        return list(ok, value);
    };
}
template <class T> Call writingCode(bool (*write)(const T&, wchar_t*, int)) {
    return [write](const Arguments& a) {
        Place place;
        const bool ok = write(argument<T>(a, 0), place.start(), 1);
        return list(ok, place.after(1));
    };
}

const std::map<std::string_view, Call> calls = {
    {"toInt", reading<int>(&StrConv::toInt)},
    {"toLong", reading<long32>(&StrConv::toLong)},
    {"toLongLong", reading<long long>(&StrConv::toLongLong)},
    {"toDouble", reading<double>(&StrConv::toDouble)},
    {"hexStrToInt", reading<int>(&StrConv::hexStrToInt)},
    {"toDate", reading<long32>(&StrConv::toDate)},
    {"toDateTime", reading<long32>(&StrConv::toDateTime)},
    {"toYear",
        [](const Arguments& a) {
            long32 value = -77;
            const bool ok = StrConv::toYear(argument<std::wstring>(a, 0), value);
            return list(ok, value);
        }},
    {"fromInt", writing<int>(&StrConv::fromInt)},
    {"fromLong", writing<long32>(&StrConv::fromLong)},
    {"fromLongLong", writing<long long>(&StrConv::fromLongLong)},
    {"fromWString", writing<std::wstring>(&StrConv::fromWString)},
    {"fromDouble",
        [](const Arguments& a) {
            Place place;
            const bool ok =
                StrConv::fromDouble(argument<double>(a, 0), place.start(), argument<unsigned int>(a, 1), argument<int>(a, 2));
            return list(ok, place.after(argument<std::size_t>(a, 1)));
        }},
    {"fromDate",
        [](const Arguments& a) {
            Place place;
            const bool ok = StrConv::fromDate(argument<long32>(a, 0), place.start(), argument<std::wstring>(a, 1).c_str());
            return list(ok, place.after(12));
        }},
    {"rtrim",
        [](const Arguments& a) {
            auto text = argument<std::wstring>(a, 0);
            const std::wstring result = StrConv::rtrim(text);
            return list(result, text);
        }},
    {"ltrim",
        [](const Arguments& a) {
            auto text = argument<std::wstring>(a, 0);
            const std::wstring result = StrConv::ltrim(text);
            return list(result, text);
        }},
    {"resize",
        [](const Arguments& a) {
            auto text = argument<std::wstring>(a, 0);
            return list(StrConv::resize(text.data(), argument<unsigned int>(a, 1), argument<bool>(a, 2)));
        }},
    {"is_number",
        [](const Arguments& a) {
            return list(StrConv::is_number(argument<std::wstring>(a, 0)), StrConv::is_number(wire::bytesOf(a.at(0))));
        }},
    {"toBool",
        [](const Arguments& a) {
            wchar_t code = argument<std::wstring>(a, 0).at(0);
            bool value = false;
            const bool ok = StrConv::toBool(code, value);
            return list(ok, value);
        }},
    {"fromBool",
        [](const Arguments& a) {
            Place place;
            std::wstring text = L"##";
            const bool placed = StrConv::fromBool(argument<bool>(a, 0), place.start(), 1);
            const bool ok = StrConv::fromBool(argument<bool>(a, 0), text);
            return list(placed, place.after(1), ok, text);
        }},
    {"toLineType", readingCode<TF::TramoLineType>(&StrConv::toLineType)},
    {"toFluidType", readingCode<TF::MeterFluid>(&StrConv::toFluidType)},
    {"toTramoType", readingCode<TF::TramoType>(&StrConv::toTramoType)},
    {"toReadMethod", readingCode<TF::ReadMethod>(&StrConv::toReadMethod)},
    {"toReadStatus", readingCode<TF::ReadStatus>(&StrConv::toReadStatus)},
    {"toAmrAlarms", readingCode<TF::AmrAlarms>(&StrConv::toAmrAlarms)},
    {"toEnquryAreaType", readingCode<TF::EnquiryAreaType>(&StrConv::toEnquryAreaType)},
    {"toEnquiryAreaMode", readingCode<TF::EnquiryAreaMode>(&StrConv::toEnquiryAreaMode)},
    {"toFluidType text", readingCodeText<TF::MeterFluid>(&StrConv::toFluidType)},
    {"toTramoType text", readingCodeText<TF::TramoType>(&StrConv::toTramoType)},
    {"toReadMethod text", readingCodeText<TF::ReadMethod>(&StrConv::toReadMethod)},
    {"toReadStatus text",
        [](const Arguments& a) {
            TF::ReadStatus value{L'#'};
            const bool ok = StrConv::toReadStatus(wire::bytesOf(a.at(0)).c_str(), value);
            return list(ok, value);
        }},
    {"fromLineType",
        [](const Arguments& a) {
            Place place;
            const bool ok = StrConv::fromLineType(argument<TF::TramoLineType>(a, 0), place.start());
            return list(ok, place.after(1));
        }},
    {"fromFluidType", writingCode<TF::MeterFluid>(&StrConv::fromFluidType)},
    {"fromTramoType", writingCode<TF::TramoType>(&StrConv::fromTramoType)},
    {"fromReadMethod", writingCode<TF::ReadMethod>(&StrConv::fromReadMethod)},
    {"fromReadStatus", writingCode<TF::ReadStatus>(&StrConv::fromReadStatus)},
    {"fromAmrAlarm", writingCode<TF::AmrAlarms>(&StrConv::fromAmrAlarm)},
    {"fromEnquryAreaType", writingCode<TF::EnquiryAreaType>(&StrConv::fromEnquryAreaType)},
    {"fromEnquiryAreaMode", writingCode<TF::EnquiryAreaMode>(&StrConv::fromEnquiryAreaMode)},
    {"stringFromReadMethod",
        [](const Arguments& a) {
            std::wstring text = L"##";
            const bool ok = StrConv::stringFromReadMethod(argument<TF::ReadMethod>(a, 0), &text);
            return list(ok, text);
        }},
    {"toAmrAlarm",
        [](const Arguments& a) {
            bool f[12];
            for (bool& flag : f) flag = true;
            const bool ok = StrConv::toAmrAlarm(
                argument<std::wstring>(a, 0), f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11]);
            int bits = 0;
            for (int k = 0; k < 12; ++k) bits += f[k] << k;
            return list(ok, bits);
        }},
    {"fromAmrAlarms",
        [](const Arguments& a) {
            bool f[12];
            for (int k = 0; k < 12; ++k) f[k] = (argument<int>(a, 0) >> k & 1) != 0;
            Place place;
            const bool ok =
                StrConv::fromAmrAlarms(f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11], place.start());
            return list(ok, place.after(5));
        }},
    {"reverseByBlock",
        [](const Arguments& a) {
            return list(StringUtils::reverseByBlock(argument<std::wstring>(a, 0), argument<std::size_t>(a, 1)));
        }},
    {"to_wstring", [](const Arguments& a) { return list(StringUtils::to_wstring(wire::bytesOf(a.at(0)))); }},
    {"strToTime",
        [](const Arguments& a) {
            return list(DateUtils::strToTime(wire::bytesOf(a.at(0)).c_str(), wire::bytesOf(a.at(1)).c_str()));
        }},
};

}  // namespace

std::string call(std::string_view function, const Arguments& arguments) { return calls.at(function)(arguments); }
