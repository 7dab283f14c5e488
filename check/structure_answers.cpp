// What enquiry lines say about pages and answers.
#include "check/linerules.h"
#include "check/rulefields.h"
#include <algorithm>

namespace tramo {

using rulefields::of;

PageNote noteOfDefinition(const LineValues& line) {
    const auto& fields = of<rulefields::Definition>();
    PageNote note;
    if (line.sizeOf(fields.page) > 0) note.page = line.character(fields.page, 0);
    for (std::size_t i = 0; i < note.areas.size(); ++i) {
        const auto& [label, type, size, list] = fields.areas[i];
        PageNote::Area& area = note.areas[i];
        area.isDefined = line.sizeOf(label) > 0 || line.has(type);
        area.size = static_cast<std::int16_t>(std::max(line.integer(size), 0LL));
        area.isChoice = line.has(type) && line.character(type, 0) == u'C';
        area.listSize = static_cast<std::uint8_t>(std::min(line.sizeOf(list), PageNote::longestList));
        for (std::size_t k = 0; k < area.listSize; ++k) area.list[k] = line.character(list, k);
    }
    return note;
}

AnswersNote noteOfAnswers(const LineValues& line) {
    const auto& fields = of<rulefields::Answers>();
    AnswersNote note;
    if (line.sizeOf(fields.page) > 0) note.page = line.character(fields.page, 0);
    for (std::size_t i = 0; i < note.codes.size(); ++i) {
        const auto& [code, result] = fields.areas[i];
        if (line.sizeOf(code) > 0) note.codes[i] = line.character(code, 0);
        note.sizes[i] = static_cast<std::uint8_t>(line.sizeOf(result));
    }
    return note;
}

// The parser never sets the meter number: its columns are read here.
InformationNote noteOfInformation(const LineValues& line) {
    InformationNote note;
    for (const wchar_t digit : line.raw(of<rulefields::Information>().meters)) {
        if (digit == L' ' && note.meters < 0) continue;
        if (digit < L'0' || digit > L'9') return {};
        note.meters = std::max<std::int64_t>(note.meters, 0) * 10 + (digit - L'0');
    }
    return note;
}

}  // namespace tramo
