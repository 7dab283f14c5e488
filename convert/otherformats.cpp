#include "convert/otherformats.h"
#include "common/zone.h"
#include <algorithm>
#include <iomanip>
#include <sstream>
#include <string>

namespace tramo::codec {

bool fromDateByStandard(long32 t, wchar_t* dest, const wchar_t* format) noexcept try {
    const std::tm local = zone::brokenDown(t);
    std::wostringstream out;
    out << std::put_time(&local, format);
    if (out.fail()) return false;
    const std::wstring text = out.str();
    std::copy(text.begin(), text.end(), dest);
    return true;
} catch (...) { return false; }

}  // namespace tramo::codec
