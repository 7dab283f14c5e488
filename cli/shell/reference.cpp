#include "cli/shell/reference.h"
#include <algorithm>
#include <fmt/format.h>
#include <tramostream/keyline.h>
#include <tramostream/linemodel.h>
#include <tramostream/wording.h>

namespace tramo::cli {

namespace {

// The name of a heading in links to it, as Markdown renderers make it.
std::string anchor(std::string_view heading) {
    std::string out;
    for (const char c : heading)
        if (c == ' ') out += '-';
        else out += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return out;
}

constexpr FieldKind everyKind[] = {FieldKind::Text, FieldKind::Integer, FieldKind::Decimal, FieldKind::Date, FieldKind::DateTime,
    FieldKind::Year, FieldKind::Code, FieldKind::Flag, FieldKind::AlarmFlags};

const Field* firstOf(FieldKind sought) {
    for (const RecordKind* kind : allKinds())
        for (const Field& field : kind->fields)
            if (field.kind == sought) return &field;
    return nullptr;
}

void files(Output& out) {
    out.print(R"(# The exchange format

This page is written by `tramo explain --markdown` from the tables that the library reads and writes with.

## Files

A file is text in lines. Its encoding is one of two:

- **ANSI**: one byte a character, without a mark. Under the classic locale, which `tramo` uses, a byte is the character
  of its value (U+0000 to U+00FF).
- **UTF-16 little-endian**, which begins with the byte order mark FF FE. A character outside the basic plane counts as two.

Every line ends with CR LF. A line that ends with LF alone, or a last line without a line end, is read all the same, and
reported. Columns are counted from 1, in characters. The kind of a record
line is the letter in its column 1; the lines of one file may be of any kind, in any order. Columns that belong to no
field are blank.

| Letter | Kind | Characters | Class |
|---|---|---:|---|
)");
    for (const RecordKind* kind : allKinds())
        out.print("| {} | [{}](#{}) | {} | `{}` |\n", letterOf(*kind), kind->name, anchor(kind->name), kind->length, kind->model);
    out.print("| - | [key](#key) | any | `AMRKeyTramoModel` |\n");
}

void values(Output& out) {
    out.print(R"(
## Values

Every field is cut out of its columns, and the blanks at its end are cut off: spaces, tabs and the other four white
characters of ASCII. A field that is blank then is not read, if nothing else is said of it; the value keeps its default.
A text that cannot be read is reported, and the value keeps its default, too. Dates are held as seconds since
1970-01-01 00:00 UTC in 32 bits; the text is the local time of the host.

| Type | Read | Written |
|---|---|---|
)");
    for (const FieldKind kind : everyKind) {
        std::string name = typeOf(*firstOf(kind));
        if (kind == FieldKind::Code) name = "code";
        out.print("| {} | {} | {} |\n", name, readingOf(kind), writingOf(kind));
    }
    out.print("\nA line is written over blanks: what is not written stays blank.\n");
}

void codes(Output& out) {
    out.print("\n## Codes\n\n| Codes | Written otherwise | Fields |\n|---|---|---|\n");
    struct Use {
        std::wstring codes;
        std::string changes, fields;
        std::size_t count = 0;
    };
    std::vector<Use> uses;
    for (const RecordKind* kind : allKinds()) {
        for (const Field& field : kind->fields) {
            if (field.kind != FieldKind::Code) continue;
            auto use = std::ranges::find(uses, field.codes, &Use::codes);
            if (use == uses.end()) use = uses.insert(use, {field.codes, codeChanges(field), {}, 0});
            if (use->count++ == 0) use->fields = fmt::format("`{}` of {}", field.name, kind->name);
        }
    }
    for (const Use& use : uses) {
        const std::string more = use.count > 1 ? fmt::format(" and {} more", use.count - 1) : "";
        out.print("| {} | {} | {}{} |\n", listed(use.codes), use.changes.empty() ? "-" : use.changes, use.fields, more);
    }
    for (const RecordKind* kind : allKinds())
        for (const Field& field : kind->fields) {
            const auto flags = flagsOf(*kind, field);
            if (flags.empty()) continue;
            out.print("\nThe flags of `{}` ({}, columns {}):\n\n| Flag | Name | Text when it is the only one |\n|---:|---|---|\n",
                field.name, kind->name, columnsOf(field));
            for (std::size_t i = 0; i < flags.size(); ++i) {
                const unsigned bits = 1U << i, swapped = (bits & 0xFF) << 8 | bits >> 8;  // the low byte is written first
                out.print("| {} | `{}` | `{:04X}` |\n", i + 1, flags[i], swapped);
            }
        }
}

void errors(Output& out) {
    out.print("\n## Errors\n\n| Code | Name | Found | Meaning |\n|---|---|---|---|\n");
    for (const ErrorCode& error : errorCodes())
        out.print("| {} | {} | {} | {} |\n", hex(error.code), error.name, error.phase, error.meaning);
    out.print(R"(
A field reports its errors at its first column, and errors of the whole line at column 0. Some fields report theirs at the
column of another one, or with the code of another type: in the tables below, "0x01B at 194" is such a column. A missing
or contradicting value is reported when a record is checked; where the table says "when read", the error is put among
the parse errors.
)");
}

std::string shortly(const Field& field, const TE::FieldError& error) {
    if (error.code == TE::errorType{}) return "-";
    return error.column == field.column ? hex(error.code) : fmt::format("{} at {}", hex(error.code), error.column);
}

std::string mandatory(const Field& field) {
    if (field.mandatory.empty()) return "-";
    return fmt::format("{} when {}{}{}", shortly(field, field.mandatoryError), field.mandatory,
        field.reportedInParseList ? "; when read" : "", field.reportedOnGoodLines ? "; on good lines, too" : "");
}

void kindTable(Output& out, const RecordKind& kind) {
    out.print("\n## {}\n\n`{}`, {} characters", kind.name, kind.model, kind.length);
    if (kind.letter) out.print(", letter {} in column 1", letterOf(kind));
    out.print(".\n\n| Columns | Field | Type | Default | Written | Read error | Write error | Missing or contradicting |\n"
              "|---|---|---|---|---|---|---|---|\n");
    std::string notes;
    for (const Field& field : kind.fields) {
        if (field.column == 0) {
            out.print("| - | `{}` | {} | {} | only shown | - | - | - |\n", field.name, formOf(kind, field), defaultOf(field));
            continue;
        }
        out.print("| {} | `{}` | {} | {} | {} | {} | {} | {} |\n", columnsOf(field), field.name, formOf(kind, field),
            defaultOf(field), whenWritten(field), shortly(field, field.parseError), shortly(field, field.buildError),
            mandatory(field));
        std::string note = particularsOf(field);
        if (!field.blank.empty()) note = note.empty() ? blankOf(field) : fmt::format("{} {}", blankOf(field), note);
        if (field.kind != FieldKind::Code && !note.empty()) notes += fmt::format("- `{}`: {}\n", field.name, note);
    }
    if (!notes.empty()) out.print("\n{}", notes);
}

void keyTable(Output& out) {
    out.print(R"(
## key

`AMRKeyTramoModel`. A line is one JSON object, with a ";" before it or not, of at most {} bytes of UTF-8. Members of other
names are passed over, and so are values of other types and all but the first member of a name. An absent text is empty,
an absent number is -1; each is reported as {} {} with its index in the place of a column. The library
does not write these lines.

| Index | Member | Type | Key |
|---:|---|---|---|
)",
        longestKeyLine, hex(TE::MandatoryMissing), errorName(TE::MandatoryMissing));
    for (std::size_t i = 0; const KeyValue& value : keyValues)
        out.print("| {} | `{}` | {} | {} |\n", i++, value.name, value.text ? "text" : "whole number of 32 bits",
            value.secret ? "yes" : "no");
}

}  // namespace

void printReference(Output& out) {
    files(out);
    values(out);
    codes(out);
    errors(out);
    for (const RecordKind* kind : allKinds()) kindTable(out, *kind);
    keyTable(out);
}

}  // namespace tramo::cli
