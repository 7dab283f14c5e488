// What rewriting a file changes: the lines are written, and their changes counted.
#pragma once
#include "cli/lines/encodedtext.h"
#include "cli/lines/rewriting.h"
#include <cstdint>
#include <map>
#include <string>
#include <tramostream/check.h>
#include <tuple>
#include <vector>

namespace tramo::cli {

/// A last line without a line ending, as JSON names it.
inline constexpr const char* noLineEnd = "no line end";

/// A kind of change: its name for programs, and the words for people.
struct Wording {
    const char *name, *words;
};
/// In the order of Rewriting::What.
inline constexpr Wording wordings[] = {
    {"unreadable", "cannot be read"},
    {"ignored", "is read in part"},
    {"notWritten", "is not written"},
    {"filled", "is written"},
    {"changed", "becomes another value"},
    {"respelled", "is written in another form"},
    {"zeroBehind", "a zero is written after it"},
    {"outsideFields", "the text there is not read"},
};

/// Changes of one field and one kind, counted.
struct FieldChanges {
    std::uint64_t lines = 0;
    long long line = 0;  // the first one's
    const RecordKind* kind = nullptr;
    Rewriting example{};
    std::string reason{};  // from the check of the example
};

/// Whole lines with the same change: malformed ones, by the rule's name, or line endings.
struct LineChanges {
    std::uint64_t lines = 0;
    long long line = 0;
    std::string example;
};

struct Losses {
    std::uint64_t count = 0, noted = 0;
    std::vector<std::string> first;
};

/// The text of a piece, shortened.
std::string excerpt(std::wstring_view text);

/// Why a field is not written.
std::string whyNotWritten(const Field& field);

class Rewriter {
public:
    Rewriter(std::string nameOfFile, EncodedText& to, bool writesLosses)
        : name(std::move(nameOfFile)), out(to), forced(writesLosses) {}

    void take(const Line& line, std::optional<LineKind> kind);
    void take(const PlainRecord& record);

    const std::string name;
    std::uint64_t lines = 0, changed = 0;
    std::uint64_t copied = 0, lossy = 0, damaged = 0;  // lines with a loss, copied and rewritten; malformed lines
    Losses losses;
    std::map<std::tuple<std::size_t, std::size_t, int, bool, std::wstring>, FieldChanges> fieldChanges;
    std::map<std::string, LineChanges> damages, lineEnds;

private:
    bool listsAnother();

    void malformed(const Line& line, const Finding& finding);

    void lineEnd(const Line& line);

    static const Finding* findingOf(const Rewriting& piece, const std::vector<Finding>& findings);

    void note(const Line& line, const LineModel& model, const Rewriting& piece, const Finding* finding);

    FieldChanges& groupOf(const RecordKind& kind, const Rewriting& piece);

    static void begin(FieldChanges& group, const Line& line, const RecordKind& kind, Rewriting piece, const Finding* finding);

    EncodedText& out;
    const bool forced;
    PlainLine plain;
};

}  // namespace tramo::cli
