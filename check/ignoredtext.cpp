// Findings about text of a line that is part of no value.
#include "common/concat.h"
#include "common/printable.h"
#include "convert/codec.h"
#include "tramostream/check.h"
#include <algorithm>
#include <bit>

namespace tramo {

namespace {

std::wstring_view trimmed(std::wstring_view text) { return text.substr(0, text.find_last_not_of(L' ') + 1); }

std::string words(const Field& field, const FieldValue& value) {
    if (field.kind == FieldKind::Year) return "no year";
    if (field.kind == FieldKind::AlarmFlags) {
        const auto set = std::popcount(static_cast<unsigned long long>(std::get<long long>(value)));
        return set ? counted(static_cast<unsigned long long>(set), "flag") : "no flag";
    }
    return printable(textOf(field, value));
}

// Why a value ignores this piece of its text, which begins at that column. Only surplus digits directly follow other digits.
std::string reason(const Field& field, std::wstring_view line, int column, int width) {
    const auto first = static_cast<std::size_t>(column - 1);
    const std::wstring_view piece = line.substr(first, static_cast<std::size_t>(width));
    switch (field.kind) {
    case FieldKind::Year: return "expected 4 digits (YYYY), from 1902 to 2038";
    case FieldKind::Flag: return "expected 1 or 0";
    case FieldKind::AlarmFlags: {
        const std::size_t stray = piece.find_first_not_of(L"0123456789ABCDEFabcdef");
        if (stray == std::wstring_view::npos) return quoted(piece) + " matches no flag";
        return concat("expected 4 hexadecimal digits, found ", quoted(piece.substr(stray, 1)), " at column ",
            column + static_cast<int>(stray));
    }
    default: break;
    }
    if (piece.front() >= L'0' && piece.front() <= L'9' && line[first - 1] != 0 && !codec::isBlank(line[first - 1]))
        return quoted(piece) + " is lost: a decimal number holds about 16 digits";
    return quoted(piece) + " after the number is ignored";
}

}  // namespace

Finding findingOf(const IgnoredText& ignored, const RecordKind& kind, std::wstring_view line) {
    const auto first = static_cast<std::size_t>(ignored.column - 1);
    const std::wstring_view piece = line.substr(first, static_cast<std::size_t>(ignored.width));
    constexpr std::size_t mostOfText = 40;
    const std::string shown = quoted(piece.substr(0, mostOfText)) + (piece.size() > mostOfText ? "..." : "");
    Finding finding = findingOf("TextIgnored", shown + " is outside all fields", "it is ignored", ignored.column);
    finding.endColumn = ignored.column + ignored.width;
    if (!ignored.field) return finding;
    const Field& field = *ignored.field;
    finding.kind = kind.name;
    finding.field = field.name;
    finding.found = trimmed(rawText(line, field));
    const std::wstring_view text = trimmed(rawText(line, field));
    finding.sentence = concat(field.name, ": ", quoted(text.substr(text.find_first_not_of(L' '))), " is read as ",
        words(field, valueRead(kind, field, line)));
    finding.reason = reason(field, line, ignored.column, ignored.width);
    return finding;
}

std::vector<IgnoredText> ignoredTexts(const LineModel& model, std::wstring_view text) {
    std::vector<IgnoredText> found = tramo::ignoredTexts(model.kind(), text);
    if (found.empty()) return found;
    for (const TE::FieldError& error : model.parseErrors())
        std::erase_if(found, [&](const IgnoredText& piece) { return piece.field && piece.field->parseError == error; });
    return found;
}

bool isKept(const IgnoredText& ignored, const RecordKind& kind) {
    const Field* field = ignored.field;
    return field && std::ranges::any_of(kind.fields, [&](const Field& other) {
        return other.kind == FieldKind::Text && other.column > 0 && other.column <= field->column &&
               field->column + field->width <= other.column + other.width;
    });
}

}  // namespace tramo
