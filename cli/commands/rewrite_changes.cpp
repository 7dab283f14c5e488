#include "cli/commands/rewrite_changes.h"
#include "cli/io/text.h"
#include "cli/lines/columns.h"
#include <algorithm>
#include <fmt/format.h>
#include <tramostream/normalized.h>

namespace tramo::cli {

std::string excerpt(std::wstring_view text) {
    constexpr std::size_t most = 40;
    if (text.find_first_not_of(L' ') == std::wstring_view::npos) return "blank";
    return quoted(text.substr(0, most)) + (text.size() > most ? "..." : "");
}

std::string whyNotWritten(const Field& field) {
    if (!field.readInto.empty()) return "is read as " + field.readInto + ", and not written";
    const bool isConditional = field.written != "always" && field.written != "never";
    return isConditional ? "is not written unless " + field.written : "is not written";
}

namespace {

// What happens to a piece, with its text.
std::string happening(const Rewriting& piece) {
    switch (piece.what) {
    case Rewriting::NotWritten: return excerpt(piece.before) + ' ' + whyNotWritten(*piece.field);
    case Rewriting::Unreadable: return excerpt(piece.before) + " cannot be read";
    case Rewriting::Ignored: return excerpt(piece.before) + " is read in part";
    case Rewriting::OutsideFields: return excerpt(piece.before) + " is outside of fields, and not read";
    case Rewriting::ZeroAfter: return wordings[piece.what].words;
    case Rewriting::Filled:
    case Rewriting::Changed:
    case Rewriting::Respelled: break;
    }
    return fmt::format("{} becomes {}", excerpt(piece.before), excerpt(piece.after));
}

// A finding without the name of its field.
std::string reasonOf(const Finding& finding) {
    std::string words = finding.sentence + (finding.reason.empty() ? "" : ": " + finding.reason);
    const std::string field = std::string(finding.field) + ": ";
    return words.starts_with(field) ? words.substr(field.size()) : words;
}

}  // namespace

void Rewriter::take(const Line& line, std::optional<LineKind> kind) {
    ++lines;
    std::vector<Finding> damage;
    const bool sound = checkShape(line, kind, damage);
    std::optional<LineModel> model;
    if (sound) model = LineModel::of(*kind, line.text);
    if (!model && !(sound && kind == LineKind::Key)) malformed(line, damage.front());
    if (!model) return out.add(line, kind);
    std::vector<Rewriting> pieces = rewritings(*kind, line.text, *model);
    const bool loses = std::ranges::any_of(pieces, &Rewriting::loses), copies = loses && !forced;
    std::optional<std::vector<Finding>> findings;  // most lines need none, because only the first losses are shown
    for (Rewriting& piece : pieces) {
        if (copies && !piece.loses) continue;
        const auto finding = [&]() -> const Finding* {
            if (!piece.loses) return nullptr;
            if (!findings) checkFields(*model, line.text, false, findings.emplace());
            return findingOf(piece, *findings);
        };
        if (copies && listsAnother()) note(line, *model, piece, finding());
        losses.count += piece.loses;
        FieldChanges& group = groupOf(model->kind(), piece);
        if (group.lines++ != 0) continue;
        const Finding* const reason = finding();
        begin(group, line, model->kind(), std::move(piece), reason);
    }
    copied += copies;
    lossy += loses && !copies;
    if (copies) return out.add(line, kind);
    const bool hasLineEnd = line.carriageReturn && line.lineFeed;
    if (!hasLineEnd) lineEnd(line);
    changed += !pieces.empty() || !hasLineEnd;
    out.add(model->built(), L"\r\n", line, kind);
}

void Rewriter::take(const PlainRecord& record) {
    if (!isSurelyNormalized(*record.kind, record.text)) return take(plain.decode(record), LineKind::Record);
    ++lines;
    out.add(record);
}

// Counts another reason why a line is copied; returns whether it is listed.
bool Rewriter::listsAnother() {
    constexpr std::size_t most = 10;
    return ++losses.noted <= most;
}

void Rewriter::malformed(const Line& line, const Finding& finding) {
    ++damaged;
    LineChanges& group = damages[std::string(finding.rule->name)];
    if (group.lines++ == 0) {
        group.line = line.number;
        group.example = finding.sentence;
    }
    ++losses.count;
    if (listsAnother()) losses.first.push_back(fmt::format("{}:{}: {}", name, line.number, sentenceOf(finding)));
}

void Rewriter::lineEnd(const Line& line) {
    const char* what = line.carriageReturn ? "CR alone" : noLineEnd;
    if (line.lineFeed) what = "LF alone";
    LineChanges& group = lineEnds[what];
    if (group.lines++ == 0) group.line = line.number;
}

// What a check says of a piece that cannot be read, or not wholly.
const Finding* Rewriter::findingOf(const Rewriting& piece, const std::vector<Finding>& findings) {
    const auto end = piece.column + static_cast<int>(piece.before.size());
    const auto found = std::ranges::find_if(findings, [&](const Finding& finding) {
        if (piece.what == Rewriting::Unreadable)
            return finding.rule->code == piece.field->parseError.code && finding.field == piece.field->name;
        const bool isAbout = piece.field ? finding.field == piece.field->name : finding.field.empty();
        return isAbout && finding.rule->name == "TextIgnored" && finding.column >= piece.column && finding.column < end;
    });
    return found == findings.end() ? nullptr : &*found;
}

void Rewriter::note(const Line& line, const LineModel& model, const Rewriting& piece, const Finding* finding) {
    const int column = finding ? finding->column : piece.column;
    std::string words = finding ? sentenceOf(*finding) : happening(piece);
    if (!finding && piece.field) words = fmt::format("{} ({}): {}", piece.field->name, model.kind().name, words);
    losses.first.push_back(fmt::format("{}:{}:{}: {}", name, line.number, column, words));
}

// By kind, field and what happens; codes also by what becomes of which.
FieldChanges& Rewriter::groupOf(const RecordKind& kind, const Rewriting& piece) {
    const auto& kinds = allKinds();
    const auto place = static_cast<std::size_t>(std::ranges::find(kinds, &kind) - kinds.begin());
    const bool isCode = piece.field && piece.field->kind == FieldKind::Code && piece.what != Rewriting::Unreadable;
    return fieldChanges[{place, piece.field ? piece.field->index : kind.fields.size(), piece.what, piece.loses,
        isCode ? piece.before + piece.after : std::wstring()}];
}

void Rewriter::begin(FieldChanges& group, const Line& line, const RecordKind& kind, Rewriting piece, const Finding* finding) {
    group.line = line.number;
    group.kind = &kind;
    group.example = std::move(piece);
    if (finding) group.reason = reasonOf(*finding);
}

}  // namespace tramo::cli
