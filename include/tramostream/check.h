// What is wrong with a line, a file or a key line: findings as data, each with its sentence.
#pragma once
#include "export.h"
#include "fields.h"
#include "linekind.h"
#include "linemodel.h"
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

/// How much a finding matters. Errors and warnings alike are findings; a hint is neither.
enum class Severity : char { Error, Warning, Hint };

/// A rule that findings name: an error of the format, or one about whole lines and files.
///
/// @snippet docs/examples.cpp Rule
struct Rule {
    std::string_view name;    ///< its identifier: "ParseDateTime", "LineTooShort"
    int code;                 ///< the format's (TE::errorType); 0: it has none
    std::string description;  ///< a sentence
    Severity severity;        ///< unless the check is strict

    /// Whether its findings are errors. A strict check takes warnings for errors.
    bool isError(bool strict) const { return severity == Severity::Error || (strict && severity == Severity::Warning); }
};

/// Every rule, in a fixed order. They live as long as the program.
TRAMO_EXPORT std::span<const Rule> rules();

/// The rule of that name; nullptr if there is none.
TRAMO_EXPORT const Rule* ruleNamed(std::string_view name);

/// Something wrong in a line or a file. Plain data. Sentences are UTF-8 without control characters.
/// Names point to constants.
struct Finding {
    const Rule* rule;               ///< never nullptr
    Severity severity{};            ///< the rule's; of a strict check, Error in the place of Warning
    std::int64_t line = 0;          ///< its number, 1-based; 0: it is about the whole file
    std::string_view kind{};        ///< of the line: "meter subscriber"; empty: about the line as such
    std::string_view field{};       ///< "meterReadingDate"; empty: about no field
    int column = 0, endColumn = 0;  ///< the first column and the one after the last; 0: the whole line
    int reportedColumn = 0;         ///< the column that the format reports, where it is another; else 0
    std::wstring found{};           ///< the text of the field, without trailing blanks; may hold anything
    std::string sentence{};         ///< what is wrong
    std::string reason{};           ///< why it is wrong, or what was expected; may be empty
    std::string hint{};             ///< what to do about it; may be empty
    bool excerpt = true;            ///< showing its piece of the line helps. False where the line may hold keys
};

/// The columns of a finding: "195-202", "23".
TRAMO_EXPORT std::string columnsOf(const Finding& finding);

/// What a finding says, on one line: the sentence, the rule with its code, the reason, and the reported column.
TRAMO_EXPORT std::string sentenceOf(const Finding& finding);

/// A finding of a whole line or file. The rule must outlive it.
TRAMO_EXPORT Finding findingOf(const Rule& rule, std::string sentence, std::string reason = {}, int column = 0);

/// The same by the name of the rule, which must be one of rules().
TRAMO_EXPORT Finding findingOf(std::string_view rule, std::string sentence, std::string reason = {}, int column = 0);

/// The finding that stands for an error of a record's model. `line` is the line that the model was made of.
TRAMO_EXPORT Finding findingOf(const TE::FieldError& error, const RecordKind& kind, std::wstring_view line);

/// The finding that stands for a text without a value. `line` has at least the length of its kind.
TRAMO_EXPORT Finding findingOf(const IgnoredText& ignored, const RecordKind& kind, std::wstring_view line);

/// What a check is to report.
struct CheckOptions {
    bool strict = false;                   ///< warnings are errors
    bool all = false;                      ///< also mandatory findings that the format reports on valid lines
    std::optional<LineKind> kind{};        ///< of every line; nullopt: as each line looks
    std::optional<LineKind> prevailing{};  ///< in the file: what lines of a wrong length are taken for (KindCensus)
};

/// Checks a line as a whole and appends what it finds. Returns whether its fields stand in their columns, so that checkFields
/// makes sense. Throws nothing but std::bad_alloc, as all functions below.
TRAMO_EXPORT bool checkShape(const SourceLine& line, std::optional<LineKind> kind, std::vector<Finding>& findings);

/// Checks the fields of a line of at least its kind's length, or the members of a key line, and appends what it finds. `all`: as
/// in CheckOptions.
TRAMO_EXPORT void checkFields(LineKind kind, std::wstring_view text, bool all, std::vector<Finding>& findings);

/// The same of the line that a model has been made of.
TRAMO_EXPORT void checkFields(LineModel& model, std::wstring_view text, bool all, std::vector<Finding>& findings);

/// ignoredTexts without those of fields that could not be read. `line` is the line that the model was made of.
TRAMO_EXPORT std::vector<IgnoredText> ignoredTexts(const LineModel& model, std::wstring_view line);

/// Whether another field of the line holds the ignored text as text, so that nothing is lost.
TRAMO_EXPORT bool isKept(const IgnoredText& ignored, const RecordKind& kind);

/// How many errors and warnings.
struct FindingCount {
    std::uint64_t errors = 0, warnings = 0;
    std::uint64_t all() const { return errors + warnings; }
    FindingCount& operator+=(Severity severity) {
        errors += severity == Severity::Error;
        warnings += severity == Severity::Warning;
        return *this;
    }
    FindingCount& operator+=(const FindingCount& other) {
        errors += other.errors;
        warnings += other.warnings;
        return *this;
    }
};

/// The number of lines of one kind.
struct LinesOfKind {
    char letter;  ///< of record lines; 0: none
    std::string name;
    std::uint64_t lines;
};

/// The number of findings of one field, or of one rule about whole lines.
struct FindingsOfField {
    std::string_view kind, field;  ///< empty: of lines
    const Rule* rule;              ///< of lines; nullptr: of a field
    FindingCount count;
};

/// What was checked and found, in numbers.
///
/// @snippet docs/examples.cpp CheckSummary
class TRAMO_EXPORT CheckSummary {
public:
    std::uint64_t lines = 0;
    FindingCount total;

    std::vector<LinesOfKind> lineKinds() const;          ///< record lines by letter, then the others
    std::vector<FindingsOfField> findingCounts() const;  ///< the most frequent first

    /// Counts a line and its findings.
    void add(std::wstring_view line, std::optional<LineKind> kind);
    void add(const Finding& finding);

    /// Adds what was counted in the lines that come next.
    CheckSummary& operator+=(const CheckSummary& next);

private:
    FindingCount& countOf(const FindingsOfField& what);

    std::array<std::uint64_t, 128> byLetter{};
    std::array<std::uint64_t, 4> byKind{};
    std::uint64_t empty = 0, unknown = 0;
    std::vector<FindingsOfField> counts;
};

/// Checks a file: feed it the lines in their order, then its end. Findings are appended as they are certain, those of a line in
/// the order of their columns. A valid line costs no allocation. Keys of key lines never stand in a finding's sentence.
///
/// The models that read a bad line may print a message on the standard output, as always: see setMessages().
///
/// Not thread-safe; the pieces of a file may be checked by several checkers and their summaries added.
///
/// @snippet docs/examples.cpp Checker
class TRAMO_EXPORT Checker {
public:
    explicit Checker(CheckOptions checkOptions = {}) : options(checkOptions) {}

    /// Checks the next line. Nothing is kept of it.
    void line(const SourceLine& line, std::vector<Finding>& findings);

    /// What only the end of the file shows.
    struct End {
        long long lines = 0;                 ///< in the whole file
        std::uint64_t charactersUnread = 0;  ///< after a line that begins with U+FFFF, which ends the text
        bool isLastByteOdd = false;          ///< a UTF-16 file of an odd number of bytes
    };
    void end(const End& end, std::vector<Finding>& findings);

    /// The numbers so far.
    const CheckSummary& summary() const { return counted; }

private:
    void finish(std::size_t first, std::int64_t number, std::vector<Finding>& findings);

    CheckOptions options;
    CheckSummary counted;
};

}  // namespace tramo
