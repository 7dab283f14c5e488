#include "tramostream/linekind.h"
#include "convert/codetables.h"
#include "tramostream/keyline.h"
#include "tramostream/tramoline.h"
#include <algorithm>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace tramo {

namespace {

template <class Buffer> constexpr std::size_t lengthOf = std::tuple_size_v<Buffer> - 2;  // CR LF

// In the order of LineKind.
constexpr LineShape shapes[] = {
    {LineKind::Record, "record", lengthOf<TramoLine::tramoLine_t>},
    {LineKind::Parameter, "parameter", lengthOf<ParameterLine::parameterLine_t>},
    {LineKind::Tag, "tag", lengthOf<TagLine::tagLine_t>},
    {LineKind::Key, "key", 0},
};

std::optional<LineKind> kindByLength(std::size_t length) {
    for (const LineShape& shape : shapes)
        if (shape.length == length) return shape.kind;
    return std::nullopt;
}

std::array<bool, 128> makeRecordLetters() {
    std::array<bool, 128> known{};
    for (std::size_t i = 0; i < known.size(); ++i)
        known[i] = codec::rowReading<TF::TramoLineType>(static_cast<wchar_t>(i)) != nullptr;
    return known;
}

// Made once: looking for them in each line of a file allocates nothing.
std::vector<std::wstring> makeKeyMarks() {
    std::vector<std::wstring> marks = {L"\"}", L"\":\"", L"\",\""};
    for (const KeyValue& value : keyValues)
        if (value.secret) marks.emplace_back(value.name.begin(), value.name.end());
    return marks;
}

}  // namespace

bool mayHoldKeys(std::wstring_view text) { return text.starts_with(L'{') || text.starts_with(L";{") || holdsKeyMarks(text); }

bool holdsKeyMarks(std::wstring_view text) {
    static const std::vector<std::wstring> marks = makeKeyMarks();
    return std::ranges::any_of(marks, [&](const std::wstring& mark) { return text.find(mark) != std::wstring_view::npos; });
}

const LineShape& shapeOf(LineKind kind) { return shapes[static_cast<std::size_t>(kind)]; }

bool isRecordLetter(wchar_t c) {
    static const std::array<bool, 128> known = makeRecordLetters();
    const auto place = static_cast<std::make_unsigned_t<wchar_t>>(c);
    return place < known.size() && known[place];
}

std::optional<LineKind> kindOfLine(const SourceLine& line, std::optional<LineKind> prevailing) {
    const std::wstring_view text = line.text;
    const std::optional<LineKind> byLength = kindByLength(line.size());
    const bool amongRecords = prevailing == LineKind::Record;
    const bool hasLetter = !text.empty() && isRecordLetter(text.front());
    if (byLength == LineKind::Record && amongRecords && hasLetter) return byLength;
    if (line.mayHoldKeys()) return LineKind::Key;
    if (amongRecords && hasLetter) return LineKind::Record;
    return byLength ? byLength : prevailing;
}

void KindCensus::add(std::wstring_view line) {
    const auto kind = mayHoldKeys(line) ? LineKind::Key : kindByLength(line.size());
    if (kind) ++ofKind[static_cast<std::size_t>(*kind)];
    ++all;
    longest = std::max(longest, line.size());
    letters += !line.empty() && isRecordLetter(line.front());
}

std::optional<LineKind> KindCensus::prevailing() const {
    const auto most = std::ranges::max_element(ofKind);
    if (*most > 0 && *most * 2 >= all) return static_cast<LineKind>(most - ofKind.begin());
    const bool tooLongForOthers = longest > shapeOf(LineKind::Parameter).length;
    return tooLongForOthers && letters * 2 >= all ? std::optional(LineKind::Record) : std::nullopt;
}

}  // namespace tramo
