#include "cli/commands/explain_print.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/io/usage.h"
#include "cli/io/wrap.h"
#include "cli/lines/columns.h"
#include "cli/lines/filewalk.h"
#include "cli/lines/input.h"
#include <algorithm>
#include <fmt/format.h>
#include <tramostream/linemodel.h>

namespace tramo::cli {

Explainer::Explainer(Output& to, bool colour) : out(to), colours(coloursIf(colour)), width(terminalWidth(stdout)) {}

void Explainer::overview() {
    heading("Record kinds");
    for (const RecordKind* kind : allKinds())
        out.print("  {}  {:<18}  {:<27}  {:>3} characters, {} fields\n", letterOf(*kind), kind->name, kind->model, kind->length,
            kind->fields.size());
    out.print("  -  {:<18}  {:<27}  one JSON object, {} values\n", shapeOf(LineKind::Key).name, keyModel, std::size(keyValues));
    out.print("\n");
    heading("Errors");
    for (const ErrorCode& error : errorCodes()) {
        const std::string name = fmt::format("  {}  {:<21}  ", hex(error.code), error.name);
        wrapped(name, error.meaning);
    }
}

void Explainer::kind(const RecordKind& kind) {
    const std::string letter = kind.letter ? ", letter " + letterOf(kind) + " in column 1" : "";
    heading(fmt::format("{}: {}, {} characters{}", kind.name, kind.model, kind.length, letter));
    std::size_t nameWidth = 0, shownWidth = 0, typeWidth = 0;
    for (const Field& field : kind.fields) {
        std::size_t& longest = field.column ? nameWidth : shownWidth;
        longest = std::max(longest, field.name.size());
        typeWidth = std::max(typeWidth, typeOf(field).size());
    }
    out.print(
        "\n{}  {:>7}  {:<{}}  {:<{}}  written{}\n", colours.faint, "columns", "field", nameWidth, "type", typeWidth, colours.off);
    for (const Field& field : kind.fields) {
        if (field.column)
            wrapped(fmt::format("  {:>7}  {:<{}}  {:<{}}  ", columnsOf(field), field.name, nameWidth, typeOf(field), typeWidth),
                whenWritten(field));
        else out.print("        -  {:<{}}  {}, only shown\n", field.name, shownWidth, typeOf(field));
    }
}

void Explainer::keyKind() {
    heading(fmt::format("{}: {}, one JSON object a line", shapeOf(LineKind::Key).name, keyModel));
    out.print("\n{}  index  member                       type{}\n", colours.faint, colours.off);
    for (std::size_t i = 0; const KeyValue& value : keyValues)
        out.print("  {:>5}  {:<27}  {}\n", i++, value.name, keyType(value));
    out.print("\n");
    entry("reading",
        "The text is one JSON object, with a \";\" before it or not. Members with other names are ignored, and so are values of "
        "other types and all but the first member of a name.");
    entry("missing", "Every value that is absent is reported as MandatoryMissing 0x201, with its index instead of a column.");
    entry("absent", "An absent text is empty, an absent number is -1.");
}

void Explainer::field(const RecordKind& kind, const Field& field) {
    if (field.column == 0) heading(fmt::format("{}: {}, not in the line, only shown", kind.name, field.name));
    else heading(fmt::format("{}, column{} {}: {}", kind.name, field.width > 1 ? "s" : "", columnsOf(field), field.name));
    out.print("\n");
    entry("type", formOf(kind, field));
    entry("default", defaultOf(field));
    if (field.column == 0) {
        neighbours(kind, field);
        return;
    }
    const std::string blank = blankOf(field), particulars = particularsOf(field);
    entry("reading", std::string(readingOf(field.kind)) + (blank.empty() ? "" : " " + blank));
    entry("writing", std::string(writingOf(field.kind)));
    entry("written", whenWritten(field));
    entry("special", particulars);
    for (std::size_t number = 0; const std::string_view flag : flagsOf(kind, field))
        entry(++number == 1 ? "flags" : "", fmt::format("{:>2} {}", number, flag));
    entry("missing", field.mandatory.empty() ? "is not an error" : "");
    for (const ErrorReport& report : reportsOf(kind, field)) entry(hex(report.error.code), words(field, report));
    if (!field.label.empty() && field.label != field.name) entry("label", fmt::format("{} in dumps", field.label));
    neighbours(kind, field);
}

void Explainer::column(const RecordKind& kind, int column) {
    if (column < 1 || column > kind.length)
        throw WrongUsage{fmt::format("{} lines have the columns 1 to {}", kind.name, kind.length)};
    const std::vector<const Field*> fields = fieldsAt(kind, column);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i) out.print("\n");
        field(kind, *fields[i]);
    }
    if (!fields.empty()) return;
    const bool isLetter = column == 1 && kind.letter != 0;
    heading(fmt::format("{}, column {}: {}", kind.name, column, isLetter ? "the letter of its kind" : "no field"));
    out.print("\n");
    if (isLetter) entry("letter", letterOf(kind) + "; \"tramo explain\" lists the letters of all kinds");
    else entry("writing", "a blank");
    neighbours(kind, column, column + 1);
}

void Explainer::place(const LinePlace& place) {
    Input input(place.file, std::nullopt, {.first = place.line, .last = place.line});
    Line line;
    if (!input.next(line)) throw input.hasNoLine(place.line);
    input.confirm();
    sayChange(input);
    // Among key lines, a line of any length may be a piece of one.
    const auto prevailing = input.prevailingKind();
    const auto lineKind = prevailing == LineKind::Key ? prevailing : kindOfLine(line, prevailing);
    std::vector<Finding> findings;
    const bool sound = checkShape(line, lineKind, findings);
    if (sound) checkFields(*lineKind, line.text, place.column > 0, findings);
    heading(fmt::format("{}:{}{}", input.name(), place.line, place.column ? fmt::format(":{}", place.column) : ""));
    out.print("\n");
    if (sound && lineKind == LineKind::Key) {
        for (const Finding& finding : findings) found(finding);
        entry("key line", "its values have names, not columns");
        out.print("\n");
        return keyKind();
    }
    const auto model = sound ? LineModel::of(*lineKind, line.text) : std::nullopt;
    const RecordKind* kind = line.text.empty() ? nullptr : recordKind(line.text.front());
    if (model) kind = &model->kind();
    if (!sound)
        for (const Finding& finding : findings) found(finding);
    if (!kind || (!sound && lineKind != LineKind::Record)) return;
    if (place.column == 0) {
        if (sound)
            for (const Finding& finding : findings) found(finding);
        if (findings.empty()) entry("check", "no errors or warnings");
        out.print("\n");
        return this->kind(*kind);
    }
    if (place.column > kind->length) {
        if (!sound) return;  // a place after the last field: the finding about the line says so
        throw Unreadable{fmt::format("{} lines have the columns 1 to {}", kind->name, kind->length), place.file};
    }
    if (sound) {
        for (const Finding& finding : findings)
            if (finding.field.empty() && finding.column <= place.column && place.column < finding.endColumn) found(finding);
        for (const Field* field : fieldsAt(*kind, place.column)) value(*field, line.text, findings);
    }
    out.print("\n");
    column(*kind, place.column);
}

void Explainer::error(const ErrorCode& error) {
    heading(fmt::format("{} {}: {}", hex(error.code), error.name, error.meaning));
    out.print("\n");
    entry("found", std::string(error.phase));
    bool any = false;
    for (const RecordKind* kind : allKinds()) {
        bool anyOfKind = false;
        for (const Field& field : kind->fields)
            for (const ErrorReport& report : reportsOf(*kind, field)) {
                if (report.error.code != error.code) continue;
                if (!anyOfKind) out.print("\n{}{}{}\n", colours.heading, kind->name, colours.off);
                anyOfKind = any = true;
                wrapped(fmt::format("  {:>7}  {:<32}  ", columnsOf(field), field.name), elsewhere(field, report));
            }
    }
    if (!any) entry("reported", "at column 0, for the whole line, not for a field");
}

void Explainer::rule(const Rule& rule) {
    heading(std::string(rule.name));
    out.print("\n");
    entry("meaning", rule.description);
    entry("severity", std::string(nameOf(rule.severity)));
    entry("remedy", std::string(rule.remedy));
    entry("found", "only by tramo check; the format has no code for it");
    entry("switch", fmt::format("tramo check --rule {}=off, or =hint, =warning, =error", rule.name));
}

void Explainer::gap() {
    if (anything) out.print("\n");
}

void Explainer::heading(const std::string& text) {
    anything = true;
    for (const std::string& line : brokenWords(text, width)) out.print("{}{}{}\n", colours.heading, line, colours.off);
}

// Words after a label; without words, nothing.
void Explainer::entry(std::string_view label, const std::string& words) {
    if (!words.empty()) wrapped(fmt::format("  {:<8}  ", label), words);
}

void Explainer::wrapped(const std::string& before, std::string_view words) {
    if (words.empty()) out.print("{}\n", before.substr(0, before.find_last_not_of(' ') + 1));
    if (words.empty()) return;
    const auto indent = static_cast<int>(before.size());
    bool first = true;
    for (const std::string& line : brokenWords(words, widthAfter(indent, width))) {
        if (first) out.print("{}{}\n", before, line);
        else out.print("{:>{}}{}\n", "", indent, line);
        first = false;
    }
}

std::string Explainer::keyType(const KeyValue& value) {
    if (!value.text) return "integer of 32 bits";
    return value.secret ? "text, a key: masked by default" : "text";
}

// Where an error is reported, if not at the field's own column.
std::string Explainer::elsewhere(const Field& field, const ErrorReport& report) {
    std::string words;
    if (report.error.column != field.column)
        words = fmt::format("reported at column {}, the column of {}", report.error.column, report.neighbours);
    if (!report.particulars.empty()) words += (words.empty() ? "" : "; ") + report.particulars;
    return words;
}

std::string Explainer::words(const Field& field, const ErrorReport& report) {
    const std::string other = elsewhere(field, report);
    const bool isOwn = report.error.column == field.column;
    return fmt::format("{}, when {}{}{}{}", errorName(report.error.code), report.when,
        isOwn ? fmt::format("; reported at column {}", report.error.column) : "", other.empty() ? "" : "; ", other);
}

void Explainer::value(const Field& field, std::wstring_view line, const std::vector<Finding>& findings) {
    entry("text", quoted(trimmed(rawText(line, field))));
    for (const Finding& finding : findings)
        if (finding.field == field.name) found(finding);
}

void Explainer::neighbours(const RecordKind& kind, const Field& field) {
    if (field.column) neighbours(kind, field.column, field.column + field.width);
    else if (field.index > 0) {
        std::size_t held = field.index;
        while (held > 0 && kind.fields[held].column == 0) --held;
        entry("part of", kind.fields[held].name + ", columns " + columnsOf(kind.fields[held]));
    }
}

// The fields before the column `first` and from `end` on.
void Explainer::neighbours(const RecordKind& kind, int first, int end) {
    const Field *previous = nullptr, *next = nullptr;
    for (const Field& field : kind.fields) {
        if (field.column == 0) continue;
        if (field.column < first && (!previous || field.column > previous->column)) previous = &field;
        if (field.column >= end && (!next || field.column < next->column)) next = &field;
    }
    if (previous) entry("previous", fmt::format("{:<7}  {}", columnsOf(*previous), previous->name));
    if (next) entry("next", fmt::format("{:<7}  {}", columnsOf(*next), next->name));
}

}  // namespace tramo::cli
