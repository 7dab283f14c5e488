#include "common/console.h"
#include "common/utf8.h"
#include "tramostream/messages.h"
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <fstream>
#include <iostream>
#include <locale>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <typeinfo>

#ifdef __GLIBCXX__
#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>
#endif
#ifdef _WIN32
#include <io.h>
#else
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#endif

namespace tramo {

namespace {

constinit std::atomic<Messages> destination = Messages::StandardOutput;

}  // namespace

void setMessages(Messages where) noexcept { destination.store(where, std::memory_order_relaxed); }

Messages getMessages() noexcept { return destination.load(std::memory_order_relaxed); }

}  // namespace tramo

namespace tramo::console {

namespace {

// The caller silences a stream by removing its buffer or by setting failbit.
template <class Char> bool switchedOff(const std::basic_ostream<Char>& out) { return !out.rdbuf() || (out.fail() && !out.bad()); }

#ifdef _LIBCPP_VERSION
// libc++ does not declare the classes of its own buffers; clog and wclog use the same classes.
template <class Char> const std::type_info& classOf(const std::basic_streambuf<Char>& buffer) { return typeid(buffer); }
const std::type_info& narrowStandardBuffer = classOf(*std::clog.rdbuf());
const std::type_info& wideStandardBuffer = classOf(*std::wclog.rdbuf());
bool isStandardBuffer(const std::streambuf& buffer) { return classOf(buffer) == narrowStandardBuffer; }
bool isStandardBuffer(const std::wstreambuf& buffer) { return classOf(buffer) == wideStandardBuffer; }

// The buffers of the standard error.
const std::streambuf* const errorBuffer = std::clog.rdbuf();
const std::wstreambuf* const wideErrorBuffer = std::wclog.rdbuf();
bool isErrorBuffer(const std::streambuf& buffer) { return &buffer == errorBuffer; }
bool isErrorBuffer(const std::wstreambuf& buffer) { return &buffer == wideErrorBuffer; }

// The bytes that such a buffer prints, if it can print every character: character by character, in the C++ locale.
std::optional<std::string> inStandardBuffer(const std::wstreambuf& buffer, std::wstring_view text) {
    const std::locale locale = buffer.getloc();
    const auto& facet = std::use_facet<std::codecvt<wchar_t, char, std::mbstate_t>>(locale);
    std::mbstate_t state{};
    std::string all, one(static_cast<std::size_t>(facet.max_length()), '\0');
    for (const wchar_t& c : text) {
        const wchar_t* read = nullptr;
        char* written = nullptr;
        const auto result = facet.out(state, &c, &c + 1, read, one.data(), one.data() + one.size(), written);
        if (result != std::codecvt_base::ok) return std::nullopt;
        all.append(one.data(), written);
    }
    return all;
}
#endif

// The bytes that a wide C stream prints, if it can print every character.
#ifdef _WIN32
[[maybe_unused]] std::optional<std::string> inProcessLocale(std::wstring_view) {
    return std::nullopt;
}  // bytes of a code page at best
#elif !defined(_LIBCPP_VERSION)
std::optional<std::string> inProcessLocale(std::wstring_view text) {
    std::mbstate_t state{};
    std::string all, one(MB_CUR_MAX, '\0');
    for (const wchar_t c : text) {
        const std::size_t size = std::wcrtomb(one.data(), c, &state);
        if (size == static_cast<std::size_t>(-1)) return std::nullopt;
        all.append(one, 0, size);
    }
    return all;
}
#endif

// The text as a file prints it, if it can print every character.
std::optional<std::string> inFileLocale(const std::wfilebuf& file, std::wstring_view text) {
    const std::locale locale = file.getloc();
#ifdef _WIN32
    if (locale == std::locale::classic()) return std::nullopt;  // the same
#endif
    const auto& facet = std::use_facet<std::codecvt<wchar_t, char, std::mbstate_t>>(locale);
    std::string bytes(text.size() * static_cast<std::size_t>(facet.max_length()), '\0');
    std::mbstate_t state{};
    const wchar_t* read = nullptr;
    char* written = nullptr;
    const auto result =
        facet.out(state, text.data(), text.data() + text.size(), read, bytes.data(), bytes.data() + bytes.size(), written);
    if (result != std::codecvt_base::ok) return std::nullopt;
    bytes.resize(static_cast<std::size_t>(written - bytes.data()));
    return bytes;
}

// Returns whether wcout prints every character. Must be checked first: otherwise it fails in the middle of the message or
// prints "?", and after narrow output it prints only the low bytes.
bool wideStreamPrints(std::wstring_view text) {
    const bool ascii = std::ranges::all_of(text, [](wchar_t c) { return static_cast<std::make_unsigned_t<wchar_t>>(c) < 0x80; });
    const bool zeros = text.find(L'\0') != text.npos;  // libc++ does not print them
    if ((ascii && !zeros) || switchedOff(std::wcout)) return true;
    const std::wstreambuf* const buffer = std::wcout.rdbuf();
    if (const auto* file = dynamic_cast<const std::wfilebuf*>(buffer)) return inFileLocale(*file, text).has_value();
#ifdef __GLIBCXX__
    const bool standardOutput = dynamic_cast<const __gnu_cxx::stdio_sync_filebuf<wchar_t>*>(buffer) != nullptr;
    if (standardOutput) return std::fwide(stdout, 0) >= 0 && inProcessLocale(text).has_value();
#elif defined(_LIBCPP_VERSION)
    if (isStandardBuffer(*buffer)) return inStandardBuffer(*buffer, text).has_value();
#endif
    return true;  // the caller's own buffer
}

// Only one message at a time: clearing the state of a stream and writing to it are two steps. Recursive, because the caller's
// own buffer may call back.
std::recursive_mutex& oneAtATime() {
    static std::recursive_mutex mutex;
    return mutex;
}

// Writes the text and returns whether that succeeded: it fails if the other stream has the standard output.
template <class Char> bool taken(std::basic_ostream<Char>& out, std::basic_string_view<Char> text) {
    if (switchedOff(out)) return true;
    bool written = false;
    try {
        out.clear();
        written = !out.write(text.data(), static_cast<std::streamsize>(text.size())).fail();
        if (written) out.flush();
    } catch (...) {  // the caller has enabled exceptions of this stream
    }
    out.clear();
    return written;
}

#ifndef _WIN32
bool awaitRoom(int file) {
    pollfd waiting{file, POLLOUT, 0};
    return poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}
#endif

// Writes to the descriptor below both streams.
void toDescriptor(int file, std::string_view bytes) {
    std::fflush(stdout);
#ifdef _WIN32
    _write(file, bytes.data(), static_cast<unsigned>(bytes.size()));
#else
    while (!bytes.empty()) {
        const auto count = ::write(file, bytes.data(), bytes.size());
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR && !(errno == EAGAIN && awaitRoom(file))) return;
    }
#endif
}

constexpr int none = -1, standardOutput = 1;

// Returns the descriptor of a stream whose first character would make its C stream wide or narrow; otherwise `none`. The buffer
// of such a C stream is empty.
template <class Char> int undecidedDescriptor(const std::basic_ostream<Char>& out) {
#if defined(__GLIBCXX__) && !defined(_WIN32)  // other systems can print both kinds of characters
    if (!out.good()) return none;
    auto* const buffer = dynamic_cast<__gnu_cxx::stdio_sync_filebuf<Char>*>(out.rdbuf());
    if (buffer && std::fwide(buffer->file(), 0) == 0) return fileno(buffer->file());
#elif defined(_LIBCPP_VERSION) && !defined(_WIN32)
    if (!out.good() || !isStandardBuffer(*out.rdbuf())) return none;
    std::FILE* const file = isErrorBuffer(*out.rdbuf()) ? stderr : stdout;
    if (std::fwide(file, 0) == 0) return fileno(file);
#endif
    static_cast<void>(out);
    return none;
}

#ifndef _WIN32
#ifdef __GLIBCXX__
// Compares the class by name: a dynamic_cast would export its type information from this library, the C++ library would bind to
// it, and this library could not be unloaded.
bool isStdioFile(const std::streambuf& buffer) {
    return std::string_view(typeid(buffer).name()) == "N9__gnu_cxx13stdio_filebufIcSt11char_traitsIcEEE";
}
bool isStdioFile(const std::wstreambuf& buffer) {
    return std::string_view(typeid(buffer).name()) == "N9__gnu_cxx13stdio_filebufIwSt11char_traitsIwEEE";
}
#endif

template <class Char> int descriptorBelow(std::basic_streambuf<Char>& buffer) {
#ifdef __GLIBCXX__
    if (auto* const file = dynamic_cast<__gnu_cxx::stdio_sync_filebuf<Char>*>(&buffer)) return fileno(file->file());
    if (isStdioFile(buffer)) return static_cast<__gnu_cxx::stdio_filebuf<Char>&>(buffer).fd();
#elif defined(_LIBCPP_VERSION)
    if (isStandardBuffer(buffer)) return fileno(isErrorBuffer(buffer) ? stderr : stdout);
#endif
    static_cast<void>(buffer);
    return none;
}
#endif

// Returns the descriptor of a stream if it is in non-blocking mode, otherwise none. The C and C++ libraries lose a part of
// what such a descriptor does not accept at once. Prints the text that the stream has buffered.
template <class Char> int nonBlockingDescriptor(std::basic_ostream<Char>& out) {
#ifndef _WIN32
    const int file = switchedOff(out) ? none : descriptorBelow(*out.rdbuf());
    if (file == none || (fcntl(file, F_GETFL) & O_NONBLOCK) == 0 || !awaitRoom(file)) return none;
    taken<Char>(out, {});
    return file;
#else
    static_cast<void>(out);
    return none;
#endif
}

template <class Char> int descriptorFor(std::basic_ostream<Char>& out) {
    const int file = undecidedDescriptor(out);
    return file == none ? nonBlockingDescriptor(out) : file;
}

bool printedNarrow(std::string_view bytes) {
    const int file = descriptorFor(std::cout);
    if (file == none) return taken(std::cout, bytes);
    toDescriptor(file, bytes);
    return true;
}

bool printedWide(std::wstring_view text) {
    const int file = descriptorFor(std::wcout);
    if (file == none) return wideStreamPrints(text) && taken(std::wcout, text);
#ifdef _LIBCPP_VERSION
    const std::optional<std::string> bytes = inStandardBuffer(*std::wcout.rdbuf(), text);
#else
    const auto* const ownBuffer = dynamic_cast<const std::wfilebuf*>(std::wcout.rdbuf());
    const std::optional<std::string> bytes = ownBuffer ? inFileLocale(*ownBuffer, text) : inProcessLocale(text);
#endif
    if (bytes) toDescriptor(file, *bytes);
    return bytes.has_value();
}

}  // namespace

void wide(std::wstring_view message) {
    if (getMessages() == Messages::Silent) return;
    const std::lock_guard turn(oneAtATime());
    if (printedWide(message)) return;
    const std::string bytes = utf8::encode(message);
    if (!printedNarrow(bytes)) toDescriptor(standardOutput, bytes);
}

void narrow(std::string_view message) {
    if (getMessages() == Messages::Silent) return;
    const std::lock_guard turn(oneAtATime());
    if (!printedNarrow(message) && !printedWide(utf8::decode(message))) toDescriptor(standardOutput, message);
}

}  // namespace tramo::console
