// Expected results must not depend on the locale that a test program runs in.
#pragma once
#include <clocale>

// Sets the C locale for the C library functions of this thread during its lifetime.
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
