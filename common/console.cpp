#include "common/console.h"
#include "common/utf8.h"
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <fstream>
#include <iostream>
#include <locale>
#include <mutex>
#include <string>
#include <type_traits>
#include <typeinfo>

#ifdef __GLIBCXX__
#include <ext/stdio_sync_filebuf.h>
#endif
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tramo::console {

namespace {

// The caller's way to silence a stream: to take its buffer away, or to set failbit.
template <class Char> bool switchedOff(const std::basic_ostream<Char>& out) { return !out.rdbuf() || (out.fail() && !out.bad()); }

#ifdef _LIBCPP_VERSION
// libc++ does not declare the class of its own buffers. wclog has such a buffer, too.
const std::type_info& classOf(const std::wstreambuf& buffer) { return typeid(buffer); }
const std::type_info& standardBuffer = classOf(*std::wclog.rdbuf());

// It converts character by character, in the locale of C++.
bool standardBufferPrints(const std::wstreambuf& buffer, std::wstring_view text) {
    const std::locale locale = buffer.getloc();
    const auto& facet = std::use_facet<std::codecvt<wchar_t, char, std::mbstate_t>>(locale);
    std::mbstate_t state{};
    std::string bytes(static_cast<std::size_t>(facet.max_length()), '\0');
    return std::ranges::all_of(text, [&](const wchar_t& c) {
        const wchar_t* read = nullptr;
        char* written = nullptr;
        return facet.out(state, &c, &c + 1, read, bytes.data(), bytes.data() + bytes.size(), written) == std::codecvt_base::ok;
    });
}
#elif defined(_WIN32)
bool processLocalePrints(std::wstring_view) { return false; }  // as bytes of a code page at best
#else
bool processLocalePrints(std::wstring_view text) {
    std::mbstate_t state{};
    std::string bytes(MB_CUR_MAX, '\0');
    return std::ranges::all_of(
        text, [&](wchar_t c) { return std::wcrtomb(bytes.data(), c, &state) != static_cast<std::size_t>(-1); });
}
#endif

bool fileLocalePrints(const std::wfilebuf& file, std::wstring_view text) {
    const std::locale locale = file.getloc();
#ifdef _WIN32
    if (locale == std::locale::classic()) return false;  // the same
#endif
    const auto& facet = std::use_facet<std::codecvt<wchar_t, char, std::mbstate_t>>(locale);
    std::string bytes(text.size() * static_cast<std::size_t>(facet.max_length()), '\0');
    std::mbstate_t state{};
    const wchar_t* read = nullptr;
    char* written = nullptr;
    return facet.out(state, text.data(), text.data() + text.size(), read, bytes.data(), bytes.data() + bytes.size(), written) ==
           std::codecvt_base::ok;
}

// Whether wcout prints every character. It has to be known before: a refusal comes in the middle of the message, or as
// a "?", and behind narrow output only the low bytes are printed.
bool wideStreamPrints(std::wstring_view text) {
    const bool ascii = std::ranges::all_of(text, [](wchar_t c) { return static_cast<std::make_unsigned_t<wchar_t>>(c) < 0x80; });
    const bool zeros = text.find(L'\0') != text.npos;  // which libc++ does not print
    if ((ascii && !zeros) || switchedOff(std::wcout)) return true;
    const std::wstreambuf* const buffer = std::wcout.rdbuf();
    if (const auto* file = dynamic_cast<const std::wfilebuf*>(buffer)) return fileLocalePrints(*file, text);
#ifdef __GLIBCXX__
    const bool standardOutput = dynamic_cast<const __gnu_cxx::stdio_sync_filebuf<wchar_t>*>(buffer) != nullptr;
    if (standardOutput) return std::fwide(stdout, 0) >= 0 && processLocalePrints(text);
#elif defined(_LIBCPP_VERSION)
    if (classOf(*buffer) == standardBuffer) return standardBufferPrints(*buffer, text);
#endif
    return true;  // a buffer of the caller's
}

// Messages come one at a time: to clear a stream's state and to write to it are two steps. A buffer of the caller's may
// lead back here.
std::recursive_mutex& oneAtATime() {
    static std::recursive_mutex mutex;
    return mutex;
}

// Whether the stream has taken the text: it cannot when the other one holds the way to the terminal.
template <class Char> bool taken(std::basic_ostream<Char>& out, std::basic_string_view<Char> text) {
    if (switchedOff(out)) return true;
    bool written = false;
    try {
        out.clear();
        written = !out.write(text.data(), static_cast<std::streamsize>(text.size())).fail();
        if (written) out.flush();
    } catch (...) {  // the caller has asked this stream for exceptions
    }
    out.clear();
    return written;
}

// Below both streams: when wcout has taken standard output for itself, and cannot print the text.
void toDescriptor(std::string_view bytes) {
    std::fflush(stdout);
#ifdef _WIN32
    _write(1, bytes.data(), static_cast<unsigned>(bytes.size()));
#else
    while (!bytes.empty()) {
        const auto count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR) return;
    }
#endif
}

}  // namespace

void wide(std::wstring_view message) {
    const std::lock_guard turn(oneAtATime());
    if (wideStreamPrints(message) && taken(std::wcout, message)) return;
    const std::string bytes = utf8::encode(message);
    if (!taken<char>(std::cout, bytes)) toDescriptor(bytes);
}

void narrow(std::string_view message) {
    const std::lock_guard turn(oneAtATime());
    if (taken(std::cout, message)) return;
    const std::wstring text = utf8::decode(message);
    if (!wideStreamPrints(text) || !taken<wchar_t>(std::wcout, text)) toDescriptor(message);
}

}  // namespace tramo::console
