// Runs a test program in the locale of TRAMOSTREAM_TEST_LOCALE: "process de_DE.UTF-8" sets it for C only, as setlocale
// does, "global de_DE.UTF-8" for C++, too. tests/locales/run sets the variable.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <stdexcept>
#include <string>

namespace {

const bool isSet = [] {
    const char* wanted = std::getenv("TRAMOSTREAM_TEST_LOCALE");
    if (!wanted) return false;
    const std::string words = wanted, name = words.substr(words.find(' ') + 1);
    try {
        if (words.starts_with("global ")) std::locale::global(std::locale(name));
        else if (!words.starts_with("process ") || !std::setlocale(LC_ALL, name.c_str()))
            throw std::runtime_error("cannot be set");
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "TRAMOSTREAM_TEST_LOCALE=%s: %s\n", wanted, error.what());
        std::_Exit(2);
    }
    return true;
}();

}  // namespace
