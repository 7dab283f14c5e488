// tramo explain: describes record kinds, fields and error codes. explain_print.cpp prints what this file has looked up.
#include "cli/commands/explain_print.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "cli/shell/reference.h"
#include "common/suggestion.h"
#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <tramostream/linemodel.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Describe record kinds, fields and error codes.

Examples:
  tramo explain meter-subscriber:195             the field at this column
  tramo explain samples/round-broken.txt:10:195  the field at this place of a
                                                 file, and its value there
  tramo explain samples/round-broken.txt:10      the line and its findings
  tramo explain 0x01B                            an error, and every field that
                                                 reports it
  tramo explain 1:meterReadingDate               a field by its name; 1 is the
                                                 letter of its kind
  tramo explain meterReadingDate                 the same field, in every kind
                                                 that has it
  tramo explain AMR                              all fields of a kind
  tramo explain                                  all kinds and all errors
  tramo explain --format json                    the whole format as data

Usage: tramo explain [OPTION]... [WHAT]...

WHAT is KIND, KIND:COLUMN, KIND:FIELD, FIELD, FILE:LINE[:COLUMN] or ERROR.

A KIND is a letter, a name ("meter subscriber", "meter-subscriber", "tag",
"key") or the name of its class. An ERROR is a code (0x01B) or a name
(ParseDate, or LineTooShort, which only "tramo check" reports). The format
reports some fields at the column of another field; then both are shown.

Options:
  --format WHAT    text, json (one document: all kinds with their fields, the
                   areas of a round, all errors and all rules)
  --markdown       prints the reference page of the whole format, in Markdown
  --color WHEN     auto (on a terminal, unless NO_COLOR is set), always, never
  -h, --help       show this page

Exit codes:
  0  success
  2  the command line is invalid, or a file cannot be read
  3  the output could not be written
)";

bool isKeyKind(std::string_view word) {
    return plainWord(word) == shapeOf(LineKind::Key).name || plainWord(word) == plainWord(keyModel);
}

std::optional<int> number(std::string_view word) {
    int value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (word.empty() || error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
    return value;
}

const Field* fieldNamed(const RecordKind& kind, std::string_view word) {
    const auto found =
        std::ranges::find_if(kind.fields, [&](const Field& field) { return plainWord(field.name) == plainWord(word); });
    return plainWord(word).empty() || found == kind.fields.end() ? nullptr : &*found;
}

std::vector<std::string_view> fieldNames(const RecordKind& kind) {
    std::vector<std::string_view> names;
    for (const Field& field : kind.fields) names.push_back(field.name);
    return names;
}

// What a word without a colon may be.
std::vector<std::string_view> allNames() {
    std::vector<std::string_view> names{shapeOf(LineKind::Key).name};
    for (const RecordKind* kind : allKinds()) {
        names.push_back(kind->name);
        names.push_back(kind->model);
    }
    for (const Rule& rule : rules()) names.push_back(rule.name);
    for (const ErrorCode& error : errorCodes()) names.push_back(error.name);
    for (const RecordKind* kind : allKinds())
        for (const Field& field : kind->fields) names.push_back(field.name);
    return names;
}

const ErrorCode* errorNamed(std::string_view word) {
    int code = -1;
    if (word.starts_with("0x") || word.starts_with("0X")) {
        const std::string_view digits = word.substr(2);
        const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
        if (failure != std::errc{} || end != digits.data() + digits.size())
            throw WrongUsage{fmt::format("invalid error code \"{}\"; expected a code such as 0x01B", printable(word))};
    }
    for (const ErrorCode& error : errorCodes())
        if (static_cast<int>(error.code) == code || (!plainWord(word).empty() && plainWord(error.name) == plainWord(word)))
            return &error;
    if (code >= 0) throw WrongUsage{fmt::format("unknown error code {}; \"tramo explain\" lists all codes", printable(word))};
    return nullptr;
}

// KIND:COLUMN or KIND:FIELD; false: no kind has this name.
bool explainInKind(std::string_view kindWord, std::string_view what, Explainer& explainer) {
    if (isKeyKind(kindWord)) {
        if (std::ranges::none_of(keyValues, [&](const KeyValue& value) { return plainWord(value.name) == plainWord(what); }))
            throw WrongUsage{
                fmt::format("unknown value \"{}\" of a key line; \"tramo explain key\" lists all values", printable(what))};
        explainer.keyKind();
        return true;
    }
    const RecordKind* kind = kindNamed(kindWord);
    if (!kind) return false;
    if (const auto column = number(what)) explainer.column(*kind, *column);
    else if (const Field* field = fieldNamed(*kind, what)) explainer.field(*kind, *field);
    else
        throw WrongUsage{
            fmt::format("unknown field \"{}\" of {} lines{}", printable(what), kind->name, didYouMean(what, fieldNames(*kind)))};
    return true;
}

bool explainField(std::string_view word, Explainer& explainer) {
    bool found = false;
    for (const RecordKind* kind : allKinds())
        if (const Field* field = fieldNamed(*kind, word)) {
            if (found) explainer.gap();
            explainer.field(*kind, *field);
            found = true;
        }
    return found;
}

void explainWord(std::string_view word, Explainer& explainer) {
    if (const std::size_t colon = word.find(':'); colon != std::string_view::npos) {
        if (explainInKind(word.substr(0, colon), word.substr(colon + 1), explainer)) return;
        const LinePlace place = placeOf(std::string(word), true);
        if (place.column || (place.line && isFile(place.file))) return explainer.place(place);
        if (isFile(std::string(word)))
            throw WrongUsage{fmt::format("\"{}\" is a file; expected FILE:LINE[:COLUMN]", printable(word))};
        std::vector<std::string_view> kinds{shapeOf(LineKind::Key).name};
        for (const RecordKind* kind : allKinds()) {
            kinds.push_back(kind->name);
            kinds.push_back(kind->model);
        }
        const std::string near = didYouMean(word.substr(0, colon), kinds);
        throw WrongUsage{fmt::format("unknown record kind \"{}\"{}", printable(word.substr(0, colon)),
            near.empty() && place.line ? ", and there is no such file; expected KIND:COLUMN, KIND:FIELD or FILE:LINE[:COLUMN]"
                                       : near)};
    }
    if (const RecordKind* kind = kindNamed(word)) return explainer.kind(*kind);
    if (isKeyKind(word)) return explainer.keyKind();
    if (const ErrorCode* error = errorNamed(word)) return explainer.error(*error);
    for (const Rule& rule : rules())
        if (plainWord(rule.name) == plainWord(word)) return explainer.rule(rule);
    if (!explainField(word, explainer))
        throw WrongUsage{
            fmt::format("\"{}\" is not a record kind, a field or an error{}", printable(word), didYouMean(word, allNames()))};
}

int run(std::vector<std::string> arguments) {
    Output out;
    bool markdown = false;
    std::string colour = "auto", format = "text";
    Arguments given;
    given.flag("--markdown", markdown);
    given.option("--format", format);
    given.option("--color,--colour", colour);
    const std::vector<std::string> words = given.parse(std::move(arguments));
    const bool json = chosen<bool>("--format", format, {{"text", false}, {"json", true}});
    if (json && markdown) throw WrongUsage{"--format json and --markdown exclude each other"};
    if (markdown && !words.empty()) throw WrongUsage{"--markdown describes the whole format; it takes no argument"};
    if (json && !words.empty()) throw WrongUsage{"--format json describes the whole format; it takes no argument"};

    Explainer explainer(out, wantsColour(colourChoice(colour), stdout));
    try {
        if (json) printFormat(out);
        else if (markdown) printReference(out);
        else if (words.empty()) explainer.overview();
        for (const std::string& word : words) {
            explainer.gap();
            explainWord(word, explainer);
        }
    } catch (const Unreadable&) {
        out.flush();  // what the words before it are
        throw;
    }
    out.flush();
    return nothingFound;
}

std::vector<std::string> kinds() {
    std::vector<std::string> words;
    for (const RecordKind* kind : allKinds()) words.push_back(hyphenated(kind->name));
    words.emplace_back(shapeOf(LineKind::Key).name);
    return words;
}

}  // namespace

const Command explainCommand{"explain", "describe record kinds, fields and error codes", help, run, kinds};

}  // namespace tramo::cli
