// Random files of lines of every kind: valid, malformed and damaged ones, with every line ending.
#pragma once
#include "support/randomlines.h"
#include "support/samples.h"
#include "support/streamfiles.h"
#include "tramostream/linemodel.h"
#include <string>

namespace records {

// One line without its line ending. Of a kind of fixed columns, a key line, or nonsense; of another length now and then.
inline std::wstring randomText(Random& random, bool isAnsi) {
    static const std::vector<std::wstring> odd = {L"", L"", L"\r", L"x", L"{", LR"({"serialNumber":"4C30000000"})",
        LR"(;{"wmBusKey_Mode5":"00112233445566778899AABBCCDDEEFF"})", std::wstring(512, L' '), L'8' + std::wstring(511, L' '),
        L'\0' + std::wstring(511, L'x'), std::wstring(513, L'1'), std::wstring(2000, L'y'), std::wstring(40, L'p'),
        std::wstring(23, L't'), L"\xFF\xFE", L"\xFFFF\xFFFF", L"\x0A0D\x0A0A\x0D0A"};
    const auto kinds = tramo::allKinds();
    const tramo::RecordKind& kind = *kinds[random.below(static_cast<unsigned>(kinds.size()))];
    std::wstring text = kind.letter ? randomLine(kind, random) : std::wstring(static_cast<std::size_t>(kind.length), L'a');
    switch (random.below(12)) {
    case 0: text = random.of(odd); break;
    case 1: text.resize(random.below(600), L' '); break;
    case 2: text[random.below(static_cast<unsigned>(text.size()))] = static_cast<wchar_t>(random.below(0x10000)); break;
    default: break;
    }
    for (wchar_t& c : text) {
        if (isAnsi) c &= 0xFF;
        if (c == L'\n') c = L'.';
    }
    return text;
}

// The bytes of a file.
inline std::string randomFile(Random& random, bool isAnsi, unsigned lines) {
    std::u16string text;
    for (unsigned i = 0; i < lines; ++i) {
        for (const wchar_t c : randomText(random, isAnsi)) text += static_cast<char16_t>(c);
        const bool isLast = i + 1 == lines;
        text += random.of<std::u16string>({u"\r\n", u"\r\n", u"\r\n", u"\n", isLast ? u"" : u"\r\n", isLast ? u"\r" : u"\r\r\n"});
    }
    if (!isAnsi) return streams::utf16(text) + (random.below(8) == 0 ? "x" : "");
    std::string bytes;
    for (const char16_t c : text) bytes += static_cast<char>(c);
    return bytes;
}

inline const std::vector<std::string> sampleFiles = {"round-exported.txt", "round-returned.txt", "round-broken.txt",
    "round-damaged.txt", "round-returned-utf16.txt", "amr-keys.txt", "parameters.txt", "tags.txt"};

}  // namespace records
