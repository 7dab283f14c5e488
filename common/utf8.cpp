#include "common/utf8.h"
#include "common/utf16.h"
#include <algorithm>

namespace tramo::utf8 {

Character first(std::string_view bytes) {
    constexpr Character invalid{static_cast<char32_t>(replacement), 1, false};
    const auto lead = static_cast<unsigned char>(bytes[0]);
    if (lead < 0x80) return {lead, 1, true};
    std::size_t length = 2;
    if (lead >= 0xE0) length = 3;
    if (lead >= 0xF0) length = 4;
    if (lead < 0xC0 || lead > 0xF7 || bytes.size() < length) return invalid;
    char32_t code = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(bytes[i])) return invalid;
        code = code << 6 | (static_cast<unsigned char>(bytes[i]) & 0x3FU);
    }
    constexpr char32_t lowest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < lowest[length] || code > 0x10FFFF || utf16::isSurrogate(code)) return invalid;
    return {code, length, true};
}

void append(std::string& out, char32_t c) {
    const auto tail = [&](unsigned shift) { out += static_cast<char>(0x80 | (c >> shift & 0x3F)); };
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        tail(0);
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

std::wstring decode(std::string_view bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Character c = first(bytes);
        bytes.remove_prefix(c.length);
        utf16::append(text, c.code);
    }
    return text;
}

std::optional<std::wstring> decodeValid(std::string_view bytes) {
    const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    if (std::all_of(bytes.begin(), bytes.end(), isAscii)) return std::wstring(bytes.begin(), bytes.end());
    std::wstring text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Character c = first(bytes);
        if (!c.isValid) return std::nullopt;
        bytes.remove_prefix(c.length);
        utf16::append(text, c.code);
    }
    return text;
}

std::string encode(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    while (!text.empty()) {
        const auto [code, length] = utf16::first(text);
        const bool isCharacter = length == 2 || (!utf16::isSurrogate(code) && code <= 0xFFFF);
        append(bytes, isCharacter ? code : static_cast<char32_t>(replacement));
        text.remove_prefix(length);
    }
    return bytes;
}

std::string valid(std::string_view bytes) {
    std::string out;
    for (; !bytes.empty(); bytes.remove_prefix(first(bytes).length)) append(out, first(bytes).code);
    return out;
}

std::size_t length(std::string_view bytes) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < bytes.size(); ++count) {
        const Character c = first(bytes.substr(at));
        if (!c.isValid) return bytes.size();
        at += c.length;
    }
    return count;
}

}  // namespace tramo::utf8
