#include "cli/commands/show_table.h"
#include "cli/io/text.h"
#include "cli/io/wrap.h"
#include "cli/lines/columns.h"
#include "common/secretkeyline.h"
#include <algorithm>
#include <bit>
#include <fmt/format.h>
#include <tramostream/wording.h>

namespace tramo::cli {

namespace {

std::string placeOf(const Finding& finding) {
    return (finding.endColumn - finding.column > 1 ? "columns " : "column ") + columnsOf(finding);
}

std::string words(const Field& field, const FieldValue& value) {
    if (field.kind == FieldKind::Flag) return std::get<bool>(value) ? "yes" : "no";
    if (field.kind == FieldKind::AlarmFlags) {
        const auto set = std::popcount(static_cast<unsigned long long>(std::get<long long>(value)));
        return set ? fmt::format("{} set", set) : "none set";
    }
    if (field.kind == FieldKind::Year && isAbsent(field, value)) return "no year";
    if (field.kind == FieldKind::Code && isAbsent(field, value)) return "not set";
    std::string text = printable(textOf(field, value));
    if (field.kind == FieldKind::DateTime) std::ranges::replace(text, 'T', ' ');
    return text;
}

}  // namespace

// Shows a line; true: nothing was found.
bool LineTable::show(const Line& line, std::optional<LineKind> kind) {
    const bool sound = checkShape(line, kind, findings);
    if (sound) checkFields(*kind, line.text, options.all, findings);
    std::ranges::stable_sort(findings, {}, &Finding::column);
    model = sound ? LineModel::of(*kind, line.text) : std::nullopt;
    const bool isSecret = !options.showKeys && (kind == LineKind::Key || (!sound && line.mayHoldKeys()));
    const bool hasColumns = model || !sound || options.raw;
    if (hasColumns && static_cast<std::size_t>(options.column) > line.size())
        throw Unreadable{
            fmt::format("line {} has {}; there is no column {}", line.number, counted(line.size(), "character"), options.column),
            options.file};
    if (model && !options.raw && options.column) keepFindingsAt(options.column);

    heading(line, kind, sound);
    if (options.raw || !sound) {
        if (isSecret && !line.text.empty())
            out.print(
                "  {}its text is not shown, because it may hold keys; --show-keys shows it{}\n", colours.faint, colours.off);
        else if (line.whole) ruled(*line.whole);
        else if (!line.text.empty()) ruled(line.text, 0);
        for (const Finding& finding : findings) printFinding(finding, 2, true);
    } else {
        printLineFindings();
        if (model) addFields(line.text);
        else addKeyValues(line.text);
        print();
        if (model && rows.empty() && options.column)
            out.print("  column {}: {}\n", options.column,
                options.column == 1 && model->kind().letter ? "the letter of its kind" : "no field");
    }
    const bool clean = findings.empty();
    findings.clear();
    rows.clear();
    secrets.clear();
    return clean;
}

void LineTable::heading(const Line& line, std::optional<LineKind> kind, bool sound) {
    if (anyShown) out.print("\n");
    anyShown = true;
    const std::string name = sound ? nameOfSound(*kind) : nameOfMalformed(line.text, kind);
    out.print("{}{}:{}  {}{}\n", colours.heading, printable(nameOf(options.file)), line.number, name, colours.off);
}

std::string LineTable::nameOfMalformed(std::wstring_view text, std::optional<LineKind> kind) {
    if (text.empty()) return "empty line";
    if (!kind) return "line of unknown type";
    const RecordKind* record = *kind == LineKind::Record ? recordKind(text.front()) : nullptr;
    return std::string("malformed ") + (record ? record->name : shapeOf(*kind).name) + " line";
}

bool LineTable::isChosen(const Field& field) const {
    return options.column == 0 || (field.column <= options.column && options.column < field.column + field.width);
}

// Only those that are about a field there, or about the column itself.
void LineTable::keepFindingsAt(int column) {
    std::erase_if(findings, [&](const Finding& finding) { return column < finding.column || column >= finding.endColumn; });
}

// What is wrong with no field that has a row.
void LineTable::printLineFindings() {
    for (const Finding& finding : findings)
        if (finding.field.empty()) printFinding(finding, 2, true);
}

void LineTable::printFinding(const Finding& finding, int indent, bool whole) {
    Finding shortened = finding;
    const std::string field = std::string(finding.field) + ": ";
    if (!whole && shortened.sentence.starts_with(field)) shortened.sentence.erase(0, field.size());
    const bool isError = finding.rule->isError(false);
    const std::string_view label = isError ? "error" : "warning";
    const int behind = indent + static_cast<int>(label.size()) + 2;
    std::string place = whole && finding.column ? placeOf(finding) + ": " : "";
    bool first = true;
    for (const std::string& part : brokenWords(place + sentenceOf(shortened), widthAfter(behind, width))) {
        if (first)
            out.print("{:>{}}{}{}:{} {}\n", "", indent, isError ? colours.error : colours.warning, label, colours.off, part);
        else out.print("{:>{}}{}\n", "", behind, part);
        first = false;
    }
}

void LineTable::addFields(std::wstring_view line) {
    bool isShown = options.column == 0;  // the field that holds the flags after it
    for (const Field& field : model->kind().fields) {
        const FieldValue value = model->get(field);
        if (field.column == 0) {
            const bool isSetFlag = field.kind == FieldKind::Flag && std::get<bool>(value);
            if ((!isSetFlag && !options.all) || !isShown) continue;
            rows.push_back({.name = "  " + field.name, .hasText = false, .field = field.name});
            ShownRow& row = rows.back();
            row.value = field.kind == FieldKind::Text ? tramo::quoted(std::get<std::wstring>(value)) : words(field, value);
            continue;
        }
        const std::wstring_view text = trimmed(rawText(line, field));
        isShown = isChosen(field);
        if (!isShown) continue;
        if (!options.all && !options.column && (field.overlaid || text.empty()) && !isFaulty(field)) continue;
        ShownRow row{.columns = columnsOf(field), .name = field.name, .value = {}, .text = text, .field = field.name};
        row.hasText = !text.empty();
        if (text.empty()) row.value = field.blank.empty() ? "-" : words(field, value) + " (default)";
        else if (!field.readInto.empty()) row.value = "read into " + field.readInto;
        else if (isUnreadable(field)) row.value = "unreadable";
        else if (field.kind == FieldKind::Text) row.textIsValue = true;
        else row.value = words(field, value);
        rows.push_back(std::move(row));
    }
}

void LineTable::addKeyValues(std::wstring_view line) {
    const SecretKeyLine parsed(line);
    if (parsed.error()) return;
    const auto isMasked = [&](const KeyValue& value) { return value.secret && !options.showKeys; };
    // One text for all values, which the rows refer to: it must not grow.
    secrets.reserve(line.size());
    for (const KeyValue& value : keyValues) {
        const std::size_t first = secrets.size();
        if (value.text && !isMasked(value)) secrets += parsed.values().*value.text;
        ShownRow row{.name = std::string(value.name), .value = {}, .field = value.name};
        row.hasText = row.textIsValue = value.text && !value.isAbsent(parsed.values()) && !isMasked(value);
        if (row.hasText) row.text = std::wstring_view(secrets).substr(first);
        else if (value.isAbsent(parsed.values())) row.value = "-";
        else if (isMasked(value)) row.value = "******** (--show-keys)";
        else row.value = std::to_string(parsed.values().wmBusAddress[value.part]);
        rows.push_back(std::move(row));
    }
}

bool LineTable::isFaulty(const Field& field) const {
    return std::ranges::any_of(findings, [&](const Finding& finding) { return finding.field == field.name; });
}

bool LineTable::isUnreadable(const Field& field) const {
    return std::ranges::any_of(findings, [&](const Finding& finding) {
        return finding.field == field.name && finding.rule->code == field.parseError.code && field.parseError.code != 0;
    });
}

void LineTable::print() {
    std::size_t longest = 0, placedWidth = 0, valueWidth = 5;
    for (const ShownRow& row : rows) {
        longest = std::max(longest, row.name.size());
        if (row.hasText) placedWidth = std::max(placedWidth, row.name.size());
        if (row.hasText && !row.textIsValue) valueWidth = std::max(valueWidth, row.value.size());
    }
    // Where texts have no room, long names of flags stick out.
    const bool hasRoom = width == 0 || widthAfter(static_cast<int>(9 + 2 + longest + 2 + valueWidth + 2), width) > 0;
    for (const ShownRow& row : rows) {
        const std::size_t nameWidth = hasRoom || row.columns.empty() ? longest : placedWidth;
        const std::string_view value = row.value;  // empty where the text is the value
        const std::size_t padding = row.hasText && !row.textIsValue ? valueWidth + 2 : 0;
        out.print("{}{:>9}{}  {:<{}}  {:<{}}", colours.faint, row.columns, colours.off, row.name, nameWidth, value, padding);
        const int indent = 9 + 2 + static_cast<int>(nameWidth) + 2 + static_cast<int>(padding);
        bool first = true;
        if (row.hasText)
            for (const std::string& part : brokenText(L'"' + std::wstring(row.text) + L'"', widthAfter(indent, width))) {
                if (!first) out.print("\n{:>{}}", "", indent);
                out.print("{}{}{}", row.textIsValue ? "" : colours.faint, part, row.textIsValue ? "" : colours.off);
                first = false;
            }
        out.print("\n");
        for (const Finding& finding : findings)
            if (finding.field == row.field) printFinding(finding, 11, false);
    }
}

// The number of spaces from here on, in whole chunks.
std::size_t LineTable::blanksAt(std::wstring_view text, std::size_t from, std::size_t chunk) {
    return (std::min(text.find_first_not_of(L' ', from), text.size()) - from) / chunk * chunk;
}

// How many columns stand below one ruler: as many tens as fit.
std::size_t LineTable::rulerColumns() const {
    return 10 * (width > 0 ? static_cast<std::size_t>(std::max(1, (width - rulerMargin) / 10)) : 10);
}

void LineTable::ruled(const LongText& text) {
    SecretText waiting;
    std::size_t begin = 0;
    auto show = [&](std::size_t size) {
        ruled(std::wstring_view(waiting).substr(0, size), begin);
        waiting.erase(0, size);
        begin += size;
        out.settle();
    };
    text.forEachPiece([&](std::wstring_view piece) {
        waiting += piece;
        show(waiting.size() / rulerColumns() * rulerColumns());
    });
    show(waiting.size());
}

// The text below rulers that count its columns. `begin` columns, which are whole rulers, are before it.
void LineTable::ruled(std::wstring_view text, std::size_t begin) {
    constexpr int margin = rulerMargin;
    const std::size_t tens = rulerColumns() / 10;
    for (std::size_t from = 0; from < text.size(); from += tens * 10) {
        const auto column = static_cast<std::size_t>(options.column);
        const std::size_t marked = column > begin + from ? column - begin - from : 0;
        std::size_t blanks = blanksAt(text, from, tens * 10);
        if (marked > 0 && marked <= blanks) blanks = (marked - 1) / (tens * 10) * (tens * 10);
        if (blanks > 0) {
            out.print("{}{:>6}  blank up to {}{}\n", colours.faint, begin + from + 1, begin + from + blanks, colours.off);
            from += blanks - tens * 10;
            continue;
        }
        std::string ruler, line, mark;
        const std::size_t end = std::min(text.size(), from + tens * 10);
        for (std::size_t i = from; i < end; ++i) {
            const Shown character = shown(text.substr(i, 1));
            if (i - from + 1 == marked) mark = fmt::format("{:>{}}{:^>{}}", "", ruler.size(), "", character.width);
            line += character.utf8;
            ruler += fmt::format("{:.<{}}", (i + 1) % 10 == 5 ? ':' : '.', character.width);
            if ((i + 1) % 10 != 0) continue;
            const std::string number = std::to_string(begin + i + 1);
            ruler.replace(ruler.size() - number.size(), number.size(), number);
        }
        out.print("{}{:>{}}{}{}\n", colours.faint, "", margin, ruler, colours.off);
        out.print("{}{:>6}{}  {}\n", colours.faint, begin + from + 1, colours.off, line);
        if (!mark.empty()) out.print("{:>{}}{}\n", "", margin, mark);
    }
}

}  // namespace tramo::cli
