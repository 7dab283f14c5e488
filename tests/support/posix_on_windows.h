// The POSIX functions that the tests use, for Windows; every test is compiled with it there.
#pragma once
#include "common/hosttime.h"
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <direct.h>
#include <io.h>
#include <malloc.h>
#include <process.h>
#include <string>

inline int setenv(const char* name, const char* value, int) { return _putenv_s(name, value); }
inline int unsetenv(const char* name) { return _putenv_s(name, ""); }
inline void tzset() { tramo::hosttime::refresh(); }

inline std::tm* localtime_r(const std::time_t* time, std::tm* result) {
    *result = tramo::hosttime::local(*time);
    return result;
}

// The C runtime does not support times before 1970; the calendar repeats after 400 years.
inline constexpr std::time_t fourCenturies = std::time_t{146097} * 86400;
inline std::tm* gmtime_r(const std::time_t* time, std::tm* result) {
    const std::time_t later = *time + fourCenturies;
    *result = *std::gmtime(&later);
    result->tm_year -= 400;
    return result;
}
inline std::time_t timegm(std::tm* time) {
    std::tm later = *time;
    later.tm_year += 400;
    return _mkgmtime(&later) - fourCenturies;
}

inline char* mkdtemp(char* pattern) {
    static int count = 0;
    char* const place = pattern + std::strlen(pattern) - 6;
    do {
        const std::string name = std::to_string(1'000'000 + (_getpid() * 100 + count++) % 1'000'000).substr(1);
        std::memcpy(place, name.data(), name.size());
    } while (_mkdir(pattern) != 0 && errno == EEXIST);
    return pattern;
}

inline std::size_t malloc_usable_size(void* memory) { return _msize(memory); }
