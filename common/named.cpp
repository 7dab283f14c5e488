#include "common/named.h"
#include "common/concat.h"

namespace tramo {

namespace {

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isCapital(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool isSmall(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool isJoint(char c) { return c == ' ' || c == '_' || c == '-'; }

// Words of small letters, each with one capital at most, at its beginning. Random letters hardly ever are such words.
bool isMadeOfWords(std::string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool isBegin = isCapital(name[i]) && i + 2 < name.size() && isSmall(name[i + 1]) && isSmall(name[i + 2]);
        if (!isBegin && !isSmall(name[i]) && !isJoint(name[i])) return false;
    }
    return true;
}

// A key of 16 bytes is 32 hexadecimal digits, also in groups, or 22 characters in base64.
bool looksLikeName(std::string_view name) {
    constexpr std::size_t longest = 64, mostHexadecimal = 15, mostOfAnyKind = 19;
    if (name.empty() || name.size() > longest) return false;
    std::size_t hexadecimal = 0;
    for (const char c : name) {
        if (isJoint(c)) continue;
        if (!isDigit(c) && !isCapital(c) && !isSmall(c)) return false;
        const bool isHexadecimal = isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
        hexadecimal = isHexadecimal ? hexadecimal + 1 : 0;
        if (hexadecimal > mostHexadecimal) return false;
    }
    return name.size() <= mostOfAnyKind || isMadeOfWords(name);
}

}  // namespace

std::string named(std::string_view what, std::string_view name, std::string_view instead) {
    if (looksLikeName(name)) return concat(what, " \"", name, "\"");
    return concat(what, instead.empty() ? "" : " ", instead);
}

}  // namespace tramo
