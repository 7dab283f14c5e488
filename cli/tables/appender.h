// Appends to a buffer by pointer.
#pragma once
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fmt/format.h>
#include <string>
#include <string_view>

namespace tramo::cli {

/// A text that can be read in blocks of 32 bytes.
class PaddedText {
public:
    static constexpr std::size_t block = 32;

    explicit PaddedText(std::string_view of) : text(of), length(of.size()) { text.resize((length + block - 1) / block * block); }
    const char* data() const { return text.data(); }
    std::size_t size() const { return length; }

private:
    std::string text;
    std::size_t length;
};

/// Appends to a buffer, which nothing else uses meanwhile, except in `use`.
class Appender {
public:
    explicit Appender(fmt::memory_buffer& to) : buffer(to) { begin(); }
    ~Appender() { settle(); }
    Appender(const Appender&) = delete;
    Appender& operator=(const Appender&) = delete;

    /// Returns the end of the text, with room for so many bytes. `end` states how far they have been written.
    char* room(std::size_t most) {
        if (static_cast<std::size_t>(limit - at) < most) grow(most);
        return at;
    }
    void end(char* written) { at = written; }

    void add(char c) {
        *room(1) = c;
        ++at;
    }
    void add(std::string_view text) {
        std::memcpy(room(text.size()), text.data(), text.size());
        at += text.size();
    }
    void add(const PaddedText& text) {
        char* const to = room(text.size() + PaddedText::block);
        for (std::size_t i = 0; i < text.size(); i += PaddedText::block) std::memcpy(to + i, text.data() + i, PaddedText::block);
        at += text.size();
    }
    void add(long long number) {
        constexpr std::size_t longest = 20;
        char* const to = room(longest);
        at = std::to_chars(to, to + longest, number).ptr;
    }
    /// The fewest digits that read back as the same number.
    void add(double number) {
        use([&](fmt::memory_buffer& to) { fmt::format_to(fmt::appender(to), "{}", number); });
    }

    /// Appends a text of few characters.
    void addShort(std::string_view text) {
        const std::size_t size = text.size();
        char* const to = room(size);
        if (size >= 8) {
            if (size > 16) std::memcpy(to, text.data(), size);
            else copyEnds<8>(text, to);
        } else if (size >= 4) {
            copyEnds<4>(text, to);
        } else {
            for (std::size_t i = 0; i < size; ++i) to[i] = text[i];
        }
        at += size;
    }

    /// Appends the bytes of a number as they are in memory.
    template <class Number> void addBytes(Number number) {
        std::memcpy(room(sizeof number), &number, sizeof number);
        at += sizeof number;
    }

    /// Appends what `append()` appends, with its size before it, a std::uint64_t.
    template <class Append> void addSized(Append append) {
        addBytes(std::uint64_t{0});
        const std::size_t from = size();
        append();
        const std::uint64_t added = size() - from;
        std::memcpy(at - added - sizeof added, &added, sizeof added);
    }

    /// Calls `append(buffer)`.
    template <class Append> void use(Append append) {
        settle();
        append(buffer);
        begin();
    }

    /// Returns the size of the text.
    std::size_t size() const { return static_cast<std::size_t>(at - buffer.data()); }

private:
    template <std::size_t half> static void copyEnds(std::string_view text, char* to) {
        std::memcpy(to, text.data(), half);
        std::memcpy(to + text.size() - half, text.data() + text.size() - half, half);
    }

    void begin() {
        at = buffer.data() + buffer.size();
        limit = buffer.data() + buffer.capacity();
    }
    void settle() { buffer.resize(size()); }
    [[gnu::noinline]] void grow(std::size_t most) {
        use([&](fmt::memory_buffer& to) { to.reserve(to.size() + most); });
    }

    fmt::memory_buffer& buffer;
    char* at;
    char* limit;
};

}  // namespace tramo::cli
