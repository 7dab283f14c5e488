// Names of columns for the labelled areas of rounds.
#include "common/concat.h"
#include "common/utf8.h"
#include "tramostream/tables.h"
#include <algorithm>

namespace tramo {

namespace {

// What no label has in front of its column: a spreadsheet would take it for a formula.
bool isSpecialAtFront(wchar_t c) { return c == L'=' || c == L'+' || c == L'-' || c == L'@'; }

// Quotation marks, backslashes and commas would need other forms in SQL, in JSON, in CSV and on the command line.
bool isSpecial(wchar_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0xD800 && c < 0xE000) || c == 0xFFFE || c == 0xFFFF || c == L'"' ||
           c == L'\\' || c == L',';
}

// Without case, as databases compare names.
std::string folded(std::string name) {
    for (char& c : name)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return name;
}

// Areas without a label are called after their place in the round line.
std::string labelOf(const Area& area) {
    std::wstring text = utf8::decode(area.label);
    const std::size_t first = text.find_first_not_of(L' ');
    if (first == std::wstring::npos) return concat(area.of == Area::Meter ? "meter" : "subscriber", " area ", area.number);
    text = text.substr(first, text.find_last_not_of(L' ') + 1 - first);
    std::ranges::replace_if(text, isSpecial, L'_');
    if (isSpecialAtFront(text.front())) text.front() = L'_';
    return utf8::encode(text);
}

}  // namespace

std::vector<std::size_t> AreaColumns::columnsOf(const Round& round) {
    std::vector<std::string> before;
    std::vector<std::size_t> columns;
    for (const Area& area : round.areas()) {
        const std::string label = labelOf(area);
        columns.push_back(columnOf(label, static_cast<std::size_t>(std::ranges::count(before, label))));
        before.push_back(label);
    }
    return columns;
}

std::size_t AreaColumns::columnOf(const std::string& label, std::size_t nth) {
    const auto found = std::ranges::find(labels, std::pair(label, nth));
    if (found != labels.end()) return static_cast<std::size_t>(found - labels.begin());
    if (labels.size() == mostColumns) return noColumn;
    const auto isTaken = [&](const std::string& name) {
        const auto isSame = [&](const std::string& other) { return folded(other) == folded(name); };
        return std::ranges::any_of(taken, isSame) || std::ranges::any_of(all, isSame);
    };
    std::string name = label;
    for (int number = 2; isTaken(name); ++number) name = concat(label, ' ', number);
    labels.emplace_back(label, nth);
    all.push_back(std::move(name));
    return all.size() - 1;
}

}  // namespace tramo
