// What the library's answers are held against must not change with the locale that a test program runs in.
#pragma once
#include <clocale>

// While it lives, the C library's functions are those of the C locale, for this thread.
class [[maybe_unused]] CLocale {
public:
    CLocale() = default;
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;
#ifndef _WIN32
    ~CLocale() {
        uselocale(before);
        freelocale(plain);
    }

private:
    locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    locale_t before = uselocale(plain);
#endif
};
