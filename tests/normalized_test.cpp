// isSurelyNormalized() against the models, which write the lines.
#include "tramostream/normalized.h"
#include "support/build.h"
#include "support/randomlines.h"
#include "support/records.h"
#include "support/samples.h"
#include "support/timezone.h"
#include "tramostream/anyrecord.h"
#include <cstdint>
#include <map>

using namespace records;
using tramo::AnyRecord, tramo::RecordKind;

namespace {

std::string bytesOf(const std::wstring& line) {
    std::string bytes;
    for (const wchar_t c : line) bytes += static_cast<char>(c);
    return bytes;
}

struct Written {
    std::wstring line;
    bool isReadable;  // every field was
};
Written written(const std::wstring& line) {
    const Silence quiet;
    AnyRecord model(lineOf<TramoLine::tramoLine_t>(line));
    const auto built = model.toTramoLine();
    return {{built.begin(), built.end() - 2}, model.getParseErrors().empty()};
}

bool isSure(const std::wstring& line) { return tramo::isSurelyNormalized(*tramo::recordKind(line[0]), bytesOf(line)); }

bool isAnsi(const std::wstring& line) {
    return std::ranges::all_of(line, [](wchar_t c) { return static_cast<std::uint32_t>(c) <= 0xFF; });
}

bool holdsControls(const std::wstring& line) {
    return std::ranges::any_of(line, [](wchar_t c) { return static_cast<std::uint32_t>(c) < L' '; });
}

struct Share {
    int written = 0, sure = 0;  // readable lines without control characters that models write unchanged; those that are sure
    double of() const { return written == 0 ? 0 : static_cast<double>(sure) / written; }
};

void expectNoFalseAnswer(const std::wstring& line, Share& share) {
    if (!isAnsi(line)) return;
    const auto [built, isReadable] = written(line);
    const bool unchanged = built == line, sure = isSure(line);
    EXPECT_TRUE(unchanged || !sure) << display(line) << '\n' << display(built);
    if (!unchanged || !isReadable || holdsControls(line)) return;
    ++share.written;
    share.sure += sure;
}

// A line with a character changed, a text moved by a column, or another text in a field.
std::wstring damaged(std::wstring line, const RecordKind& kind, Random& random) {
    const Field& field = kind.fields[random.below(static_cast<unsigned>(kind.fields.size()))];
    const unsigned at = 1 + random.below(511);
    static const std::vector<wchar_t> odd = {
        L' ', L'0', L'1', L'9', L'-', L'+', L'.', L',', L'A', L'\t', L'\0', L'\xA0', L'\xFF'};
    switch (random.below(4)) {
    case 0: line[at] = random.of(odd); break;
    case 1:
        line.erase(at, 1);
        line.insert(1 + random.below(510), 1, random.of(odd));
        break;
    case 2: std::swap(line[at], line[1 + random.below(511)]); break;
    default:
        if (field.column > 0) {
            put(line, field.column, std::wstring(static_cast<std::size_t>(field.width), L' '));
            put(line, field.column, textFor(field, random));
        }
    }
    return line;
}

// A text that the field's own values have.
std::wstring usualText(const Field& field, Random& random) {
    const auto width = static_cast<std::size_t>(field.width);
    const auto atEnd = [&](std::wstring text) {
        text.resize(std::min(text.size(), width));
        return std::wstring(width - text.size(), L' ') + text;
    };
    switch (field.kind) {
    case tramo::FieldKind::Integer: return atEnd(std::to_wstring(random.below(1000)));
    case tramo::FieldKind::Decimal: {
        const auto decimals = static_cast<std::size_t>(field.decimals < 0 ? 6 : field.decimals);
        return atEnd(std::to_wstring(random.below(100)) + L'.' + digits(random, decimals));
    }
    case tramo::FieldKind::AlarmFlags: return digits(random, 2) + L'0' + digits(random, 1);
    case tramo::FieldKind::Text: return std::wstring(L"text \xE9").substr(0, width);
    default: return textFor(field, random);
    }
}

std::wstring usualLine(const RecordKind& kind, Random& random) {
    std::wstring line = blankText(kind.letter);
    for (const Field& field : kind.fields)
        if (field.column > 0 && !field.overlaid && random.below(8) != 0) put(line, field.column, usualText(field, random));
    return line;
}

TEST(Normalized, samples_are_as_their_models_write_them) {
    Share share;
    for (const char* file : {"round-exported.txt", "round-returned.txt", "round-broken.txt", "round-damaged.txt"})
        for (const std::wstring& line : sampleLinesOf(file, 512))
            if (tramo::recordKind(line[0])) expectNoFalseAnswer(line, share);
    EXPECT_GT(share.written, 100);
    EXPECT_GT(share.of(), 0.9);
}

TEST(Normalized, random_lines_are_as_their_models_write_them) {
    constexpr int linesOfEachKind = testsOptimised ? 4000 : 400;
    std::map<wchar_t, Share> shares;
    for (const char* zone : {"Europe/Paris", "UTC", "America/Santiago", "Pacific/Apia"}) {
        const TimeZone local(zone);
        Random random(7);
        for (const RecordKind* kind : tramo::recordKinds()) {
            Share& share = shares[kind->letter];
            for (int i = 0; i < linesOfEachKind && !testing::Test::HasFailure(); ++i) {
                const std::wstring line = random.below(2) != 0 ? usualLine(*kind, random) : randomLine(*kind, random);
                const std::wstring canonical = written(line).line;
                for (const std::wstring& each :
                    {line, canonical, damaged(line, *kind, random), damaged(canonical, *kind, random)})
                    expectNoFalseAnswer(each, share);
            }
        }
    }
    for (const auto& [letter, share] : shares) {
        EXPECT_GT(share.written, linesOfEachKind / 4) << static_cast<char>(letter);
        EXPECT_GT(share.of(), 0.98) << static_cast<char>(letter);
    }
}

std::wstring meterChange(const wchar_t* date) {
    std::wstring line = blankText(L'3');
    put(line, 2, L"OLD         NEW          4       123");
    put(line, 38, date);
    return line;
}

TEST(Normalized, dates_that_a_clock_change_skips_are_not) {
    const TimeZone local("Pacific/Apia");
    EXPECT_TRUE(isSure(meterChange(L"20111229")));
    EXPECT_FALSE(isSure(meterChange(L"20111230")));
    EXPECT_TRUE(isSure(meterChange(L"20111231")));
}

TEST(Normalized, same_values_in_another_form_are_not) {
    const std::wstring line = meterChange(L"20240131");
    EXPECT_TRUE(isSure(line));
    for (const wchar_t* index : {L"      0123", L"      +123", L"     123  ", L"      123x", L"     123.0", L"       -00"}) {
        std::wstring other = line;
        put(other, 28, index);
        EXPECT_FALSE(isSure(other)) << bytesOf(index);
    }
}

TEST(Normalized, text_outside_of_fields_and_control_characters_are_not) {
    for (const wchar_t c : {L'x', L'\t', L'\0', L'\r', L'\xA0'}) {
        std::wstring line = meterChange(L"20240131");
        line[300] = c;
        EXPECT_FALSE(isSure(line));
    }
}

TEST(Normalized, line_of_another_kind_or_length_is_not) {
    const std::string line = bytesOf(meterChange(L"20240131"));
    const RecordKind& kind = *tramo::recordKind(L'3');
    EXPECT_TRUE(tramo::isSurelyNormalized(kind, line + "more"));
    EXPECT_FALSE(tramo::isSurelyNormalized(kind, line.substr(0, 511)));
    EXPECT_FALSE(tramo::isSurelyNormalized(*tramo::recordKind(L'4'), line));
    EXPECT_FALSE(tramo::isSurelyNormalized(RecordKind{}, line));
}

TEST(Normalized, nothing_is_printed) {
    const Console console;
    isSure(meterChange(L"20240131"));
    EXPECT_EQ(console.narrow() + bytesOf(console.wide()), "");
}

}  // namespace
