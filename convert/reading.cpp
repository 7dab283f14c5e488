#include "convert/reading.h"
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <locale.h>

namespace tramo::codec {

namespace {

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

}  // namespace

char decimalPoint() {
#ifdef __MINGW32__
    return *std::localeconv()->decimal_point;
#else
    return '.';
#endif
}

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

}  // namespace tramo::codec
