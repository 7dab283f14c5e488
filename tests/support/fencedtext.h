// Text in memory of its own, with an inaccessible page before and after it: a read beyond the text ends the program.
#pragma once
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

class FencedText {
public:
    FencedText() : page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* const all = mmap(nullptr, 3 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (all == MAP_FAILED) throw std::runtime_error("no memory");
        begin = static_cast<char*>(all) + page;
        if (mprotect(begin, page, PROT_READ | PROT_WRITE) != 0) throw std::runtime_error("no writable page");
    }
    ~FencedText() { munmap(begin - page, 3 * page); }
    FencedText(const FencedText&) = delete;
    FencedText& operator=(const FencedText&) = delete;

    // Copies a text, which fits into a page, to where the page ends or begins. It is valid until the next one.
    template <class Char> std::basic_string_view<Char> atEnd(std::basic_string_view<Char> text) {
        return put(text, begin + page - text.size() * sizeof(Char));
    }
    template <class Char> std::basic_string_view<Char> atBegin(std::basic_string_view<Char> text) { return put(text, begin); }

private:
    template <class Char> static std::basic_string_view<Char> put(std::basic_string_view<Char> text, char* where) {
        auto* const copy = reinterpret_cast<Char*>(where);
        text.copy(copy, text.size());
        return {copy, text.size()};
    }

    std::size_t page;
    char* begin;
};
