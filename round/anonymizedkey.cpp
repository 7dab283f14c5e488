#include "round/anonymizedkey.h"
#include "common/secretkeyline.h"
#include <algorithm>
#include <limits>

namespace tramo {

namespace {

constexpr bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

unsigned hexadecimal(std::wstring_view digits) {
    unsigned value = 0;
    for (const wchar_t c : digits) value = value * 16 + static_cast<unsigned>(isDigit(c) ? c - L'0' : (c & ~0x20) - L'A' + 10);
    return value;
}

// Rewrites the strings and numbers of a JSON text that is known to be valid. All other characters stay.
class Rewriting {
public:
    Rewriting(std::wstring_view json, const Pseudonyms& pseudonyms, std::vector<SecretText>* texts)
        : text(json), made(pseudonyms), replaced(texts) {}

    std::wstring result() {
        out.reserve(text.size());
        while (at < text.size()) {
            const wchar_t c = text[at];
            if (c == L'"') takeString();
            else if (c == L'-' || isDigit(c)) takeNumber();
            else takeOther(c);
        }
        return std::move(out);
    }

private:
    void takeOther(wchar_t c) {
        if (c == L'{' || c == L'[') isObject.push_back(c == L'{');
        if ((c == L'}' || c == L']') && !isObject.empty()) isObject.pop_back();
        if (c == L'{' || c == L',') expectsName = !isObject.empty() && isObject.back();
        if (c == L'[') expectsName = false;
        if (c == L':') expectsName = false;
        if (c == L',' || c == L'}') member = nullptr;
        if (c == L'[' || (c == L'{' && isObject.size() > 1)) member = nullptr;
        out += c;
        ++at;
    }

    void takeString() {
        SecretText content = decoded();
        if (expectsName) {
            const auto known =
                std::ranges::find_if(keyValues, [&](const KeyValue& value) { return std::ranges::equal(value.name, content); });
            member = isObject.size() == 1 && known != std::end(keyValues) ? &*known : nullptr;
            if (known != std::end(keyValues)) return append(content);
            note(content);
            made.replace(content);
            return append(content);
        }
        const bool isKept = member && !member->secret && !member->identifies && !hasWord(content);
        if (isKept) return append(content);
        note(content);
        if (member && member->secret) made.replaceKey(content);
        else made.replace(content);
        append(content);
    }

    // A text that is no key can have one in the wrong place.
    void note(const SecretText& content) {
        if (replaced) replaced->push_back(content);
    }

    SecretText decoded() {
        SecretText content;
        for (++at; at < text.size() && text[at] != L'"'; ++at) {
            if (text[at] != L'\\') {
                content += text[at];
                continue;
            }
            constexpr std::wstring_view names = L"\"\\/bfnrt", meanings = L"\"\\/\b\f\n\r\t";
            const wchar_t c = text[++at];
            if (c == L'u') {
                content += static_cast<wchar_t>(hexadecimal(text.substr(at + 1, 4)));
                at += 4;
            } else content += meanings[names.find(c)];
        }
        ++at;
        return content;
    }

    // In the characters of the line: a line of bytes has none above U+00FF, so those were escaped.
    void append(const SecretText& content) {
        out += L'"';
        for (const wchar_t c : content) {
            if (c == L'"' || c == L'\\') (out += L'\\') += c;
            else if (c < L' ' || c > 0xFF) appendEscaped(c);
            else out += c;
        }
        out += L'"';
    }
    void appendEscaped(wchar_t c) {
        out += L"\\u";
        for (int shift = 12; shift >= 0; shift -= 4)
            out += static_cast<wchar_t>(L"0123456789abcdef"[static_cast<unsigned>(c) >> shift & 0xF]);
    }

    // The number of an address becomes another one of as many digits that an integer of 32 bits can hold. -1 means none.
    void takeNumber() {
        const std::size_t begin = at;
        while (at < text.size() && (isDigit(text[at]) || std::wstring_view(L"+-.eE").find(text[at]) != std::wstring_view::npos))
            ++at;
        SecretText number(text.substr(begin, at - begin));
        constexpr std::size_t mostOfVersion = 5;
        const bool isKept = member && !member->text && !member->identifies && number.size() <= mostOfVersion;
        if (isKept || std::wstring_view(number) == L"-1") {
            out += number;
            return;
        }
        note(number);
        if (member && member->identifies && fits(number)) replaceInteger(number);
        else std::ranges::replace_if(number, isDigit, L'9');
        out += number;
    }

    static bool fits(std::wstring_view number) {
        if (number.empty() || number.size() > 10 || number.front() == L'0' || !std::ranges::all_of(number, isDigit)) return false;
        std::uint64_t value = 0;
        for (const wchar_t c : number) value = value * 10 + static_cast<std::uint64_t>(c - L'0');
        return value <= static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());
    }

    // As the text of this number, if that fits, or what that one becomes in turn. If none of them fits, the number changes places
    // with another one of this sort. So two numbers never become the same, but of few digits.
    void replaceInteger(SecretText& number) const {
        const SecretText before = number;
        if (becomesAnother(number)) return;
        constexpr int mostSteps = 10'000;  // at worst, one in ten numbers fits, and of these, one in ten is of this sort
        for (int step = 0; step < mostSteps; ++step) {
            made.shuffleDigits(number);
            SecretText next = number;
            if (fits(number) && number != before && !becomesAnother(next)) return;
        }
        std::ranges::fill(number, L'1');
    }

    // Replaces a number until it fits. Returns false if it is the first one again before that.
    bool becomesAnother(SecretText& number) const {
        const SecretText before = number;
        do made.replace(number);
        while (number != before && !fits(number));
        return number != before;
    }

    std::wstring_view text;
    const Pseudonyms& made;
    std::vector<SecretText>* replaced;
    std::size_t at = 0;
    std::vector<bool> isObject{};
    bool expectsName = false;
    const KeyValue* member = nullptr;
    std::wstring out{};
};

}  // namespace

std::optional<std::wstring> anonymizedKeyLine(
    std::wstring_view text, const Pseudonyms& pseudonyms, std::vector<SecretText>* replaced) {
    const SecretKeyLine parsed(text);
    if (parsed.error()) return std::nullopt;
    return Rewriting(text, pseudonyms, replaced).result();
}

}  // namespace tramo
