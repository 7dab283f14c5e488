// Random lines of every record kind: valid and invalid fields, limits of numbers, dates that clocks skip, white space and
// control characters, in any mixture.
#pragma once
#include "support/recordtable.h"
#include "tramostream/fields.h"
#include <random>
#include <string>
#include <vector>

namespace records {

class Random {
public:
    explicit Random(unsigned seed) : engine(seed) {}
    unsigned below(unsigned end) { return std::uniform_int_distribution<unsigned>(0, end - 1)(engine); }
    template <class T> const T& of(const std::vector<T>& all) { return all[below(static_cast<unsigned>(all.size()))]; }

private:
    std::mt19937 engine;
};

inline std::wstring digits(Random& random, std::size_t count) {
    std::wstring text;
    for (std::size_t i = 0; i < count; ++i) text += static_cast<wchar_t>(L'0' + random.below(10));
    return text;
}

// A text for a field: of its kind, of another kind, at a limit, or nonsense.
inline std::wstring textFor(const tramo::Field& field, Random& random) {
    static const std::vector<std::wstring> odd = {L"-1", L"+7", L"2147483647", L"2147483648", L"-2147483648", L"-2147483649",
        L"9223372036854775807", L"9223372036854775808", L"0x1F", L"1e5", L"1,5", L"-0", L".5", L"5.", L"nan", L"inf", L"1e999",
        L"123456789012345678", L"0.1234567890123456", L"9007199254740993", L"12x", L"6O54", L"20240229", L"20230229", L"19000101",
        L"19011213", L"20380119", L"20380120", L"202403310230", L"202410270230", L"196912312300", L"1970", L"1901", L"9999",
        L"00000000", L"000000000000", L"\t5", L"5\t", L"\v", L"\x00", L"a\x00z", L"\xA0", L"\xE9", L"\x80\xFF", L"A50C", L"-1",
        L"0x", L"FFFF", L"ffff", L"0", L"1", L"W", L"~"};
    const auto width = static_cast<std::size_t>(field.width);
    std::wstring text;
    switch (random.below(8)) {
    case 0: break;
    case 1: text = random.of(odd); break;
    case 2: text = digits(random, 1 + random.below(static_cast<unsigned>(field.width))); break;
    case 3:
        for (std::size_t i = 0; i < width; ++i) text += static_cast<wchar_t>(random.below(256));
        break;
    case 4:
        text = digits(random, random.below(12)) + random.of<std::wstring>({L".", L",", L""}) + digits(random, random.below(8));
        break;
    default:
        switch (field.kind) {
        case tramo::FieldKind::Date:
            text = L"20" + digits(random, 2) + L"0" + digits(random, 1) + L"1" + digits(random, 1);
            break;
        case tramo::FieldKind::DateTime:
            text = L"20" + digits(random, 2) + L"0" + digits(random, 1) + L"1" + digits(random, 1) + L"0" + digits(random, 1) +
                   L"3" + digits(random, 1);
            break;
        case tramo::FieldKind::Year: text = L"20" + digits(random, 2); break;
        case tramo::FieldKind::Code: text = field.codes.substr(random.below(static_cast<unsigned>(field.codes.size())), 1); break;
        case tramo::FieldKind::Flag: text = digits(random, 1); break;
        default: text = digits(random, 1 + random.below(static_cast<unsigned>(field.width)));
        }
    }
    text.resize(std::min(text.size(), width));
    return random.below(2) != 0 ? text : std::wstring(width - text.size(), L' ') + text;
}

inline std::wstring randomLine(const tramo::RecordKind& kind, Random& random) {
    std::wstring line = blankText(kind.letter);
    for (const tramo::Field& field : kind.fields)
        if (field.column > 0) put(line, field.column, textFor(field, random));
    if (random.below(8) == 0) line[1 + random.below(510)] = static_cast<wchar_t>(random.below(0x10000));
    return line;
}

}  // namespace records
