// Captures the library's messages on the standard output.
#pragma once
#include <iostream>
#include <sstream>
#include <string>

// Stores the messages during its lifetime.
class Console {
public:
    Console() : narrowBefore(std::cout.rdbuf(narrowText.rdbuf())), wideBefore(std::wcout.rdbuf(wideText.rdbuf())) {}
    ~Console() {
        std::cout.rdbuf(narrowBefore);
        std::wcout.rdbuf(wideBefore);
    }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    std::string narrow() const { return narrowText.str(); }
    std::wstring wide() const { return wideText.str(); }

private:
    std::ostringstream narrowText;
    std::wostringstream wideText;
    std::streambuf* narrowBefore;
    std::wstreambuf* wideBefore;
};

// Discards the messages without allocating.
class Silence {
    template <class Char> struct Nowhere : std::basic_streambuf<Char> {
        using Traits = std::char_traits<Char>;
        typename Traits::int_type overflow(typename Traits::int_type c) override { return Traits::not_eof(c); }
        std::streamsize xsputn(const Char*, std::streamsize count) override { return count; }
    };

public:
    Silence() : narrowBefore(std::cout.rdbuf(&narrow)), wideBefore(std::wcout.rdbuf(&wide)) {}
    ~Silence() {
        std::cout.rdbuf(narrowBefore);
        std::wcout.rdbuf(wideBefore);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    Nowhere<char> narrow;
    Nowhere<wchar_t> wide;
    std::streambuf* narrowBefore;
    std::wstreambuf* wideBefore;
};
