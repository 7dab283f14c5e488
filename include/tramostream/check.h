// Checks lines, key lines and files. Findings are plain data, each with a sentence for people.
#pragma once
#include "export.h"
#include "fields.h"
#include "linekind.h"
#include "linemodel.h"
#include "tramoline.h"
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tramo {

/// The severity of a finding: an error, a warning or a hint.
enum class Severity : char { Error, Warning, Hint };

/// The rule that a finding refers to: an error of the format, or a rule about whole lines and files.
///
/// @snippet docs/examples.cpp Rule
struct Rule {
    std::string_view name;      ///< its identifier: "ParseDateTime", "LineTooShort"
    int code;                   ///< of the format (TE::errorType); 0: none
    std::string description;    ///< a sentence
    Severity severity;          ///< of its findings, unless the check is strict
    std::string_view remedy{};  ///< what to do about it; empty: most rules about single lines

    /// Returns whether its findings are errors. A strict check treats warnings as errors.
    bool isError(bool strict) const { return severity == Severity::Error || (strict && severity == Severity::Warning); }
};

/// Returns all rules in a fixed order. They live as long as the program.
TRAMO_EXPORT std::span<const Rule> rules();

/// Returns the rule of that name, or nullptr if there is none.
TRAMO_EXPORT const Rule* ruleNamed(std::string_view name);

/// Returns whether a rule is about rounds: what the lines of a file mean together (structure), and whether readings are
/// plausible.
TRAMO_EXPORT bool isAboutRounds(const Rule& rule);

/// The severities of a check: those of the rules, unless they are changed.
///
/// @snippet docs/examples.cpp Severities
class TRAMO_EXPORT Severities {
public:
    /// Changes the severity of the findings of a rule; nullopt: they are not reported. The rule must be one of rules().
    void set(const Rule& rule, std::optional<Severity> severity);

    /// Returns the severity of the findings of a rule, also if the check is strict; nullopt: they are not reported. A strict
    /// check treats warnings as errors, except those of rules whose severity was set.
    std::optional<Severity> of(const Rule& rule, bool strict = false) const {
        if (!changed.empty())
            for (const auto& [which, severity] : changed)
                if (which == &rule) return severity;
        return rule.isError(strict) ? Severity::Error : rule.severity;
    }

private:
    std::vector<std::pair<const Rule*, std::optional<Severity>>> changed;
};

/// Some lines of a file: their number, and the numbers of the first of them.
struct SomeLines {
    std::uint64_t count = 0;              ///< how many
    std::array<std::int64_t, 3> first{};  ///< 1-based

    /// Adds a line after these.
    void add(std::int64_t number) {
        if (count < first.size()) first.data()[count] = number;
        ++count;
    }
    /// Adds the lines of the next part of the file.
    TRAMO_EXPORT void add(const SomeLines& next);
};

/// An error, a warning or a hint about a line or a file. Plain data. Sentences are UTF-8 without control characters.
/// Names point to constants.
struct Finding {
    const Rule* rule;          ///< never nullptr
    Severity severity{};       ///< that of the rule; in a strict check, Error instead of Warning
    std::int64_t line = 0;     ///< the number of the line, 1-based; 0: the whole file
    std::string_view kind{};   ///< of the line: "meter subscriber"; empty: the line as a whole
    std::string_view field{};  ///< "meterReadingDate"; empty: no field
    int column = 0;            ///< the first column; 0: the whole line
    int endColumn = 0;         ///< the column after the last; 0: the whole line
    int reportedColumn = 0;    ///< the column that the format reports, if it is another; otherwise 0
    std::wstring found{};      ///< the text of the field, without trailing white space; may contain any character
    std::string sentence{};    ///< the error: "meterWheels: invalid integer "VA""
    std::string reason{};      ///< the cause, or what was expected; may be empty
    std::string hint{};        ///< a remedy; may be empty
    SomeLines lines{};         ///< of a diagnosis: the lines that it concerns; none: not counted
    bool excerpt = true;       ///< whether to show the columns of the line; false if the line may contain keys
};

/// Returns the columns of a finding: "195-202", "23".
TRAMO_EXPORT std::string columnsOf(const Finding& finding);

/// Returns the finding as one line of text: the sentence, the rule with its code, the reason, and the reported column.
TRAMO_EXPORT std::string sentenceOf(const Finding& finding);

/// Returns a finding about a whole line or file. The rule must outlive it.
TRAMO_EXPORT Finding findingOf(const Rule& rule, std::string sentence, std::string reason = {}, int column = 0);

/// Does the same for the name of a rule, which must be one of rules().
TRAMO_EXPORT Finding findingOf(std::string_view rule, std::string sentence, std::string reason = {}, int column = 0);

/// Returns the finding for an error of a model. `line` is the line that the model has parsed.
TRAMO_EXPORT Finding findingOf(const TE::FieldError& error, const RecordKind& kind, std::wstring_view line);

/// Returns the finding for ignored text. `line` has at least the length of its kind.
TRAMO_EXPORT Finding findingOf(const IgnoredText& ignored, const RecordKind& kind, std::wstring_view line);

/// The options of a check.
struct CheckOptions {
    bool strict = false;                            ///< treats warnings as errors
    bool all = false;                               ///< adds the mandatory findings that the format reports on valid lines
    std::optional<LineKind> kind{};                 ///< of every line; nullopt: detected for each line
    std::optional<LineKind> prevailing{};           ///< in the file (KindCensus): the kind of lines of a wrong length
    Severities severities{};                        ///< of the findings
    bool rounds = true;                             ///< checks the rules about rounds, too; see isAboutRounds()
    bool isPart = false;                            ///< checks a part of a file; see Checker::add()
    std::optional<std::chrono::sys_seconds> now{};  ///< dates after it are in the future; nullopt: the clock of the system
};

/// Checks a line as a whole and appends the findings. Returns whether its fields are in their columns, so that they can be
/// checked with checkFields. Throws nothing but std::bad_alloc, like all functions below.
TRAMO_EXPORT bool checkShape(const SourceLine& line, std::optional<LineKind> kind, std::vector<Finding>& findings);

/// Checks the fields of a line that has at least the length of its kind, or the members of a key line, and appends the
/// findings. `all`: as in CheckOptions.
TRAMO_EXPORT void checkFields(LineKind kind, std::wstring_view text, bool all, std::vector<Finding>& findings);

/// Does the same for the line that a model has parsed.
TRAMO_EXPORT void checkFields(LineModel& model, std::wstring_view text, bool all, std::vector<Finding>& findings);

/// Returns the ignored texts of a line, except in fields with a parse error. `line` is the line that the model has parsed.
TRAMO_EXPORT std::vector<IgnoredText> ignoredTexts(const LineModel& model, std::wstring_view line);

/// Returns whether another field of the line contains the ignored text as text, so that nothing is lost.
TRAMO_EXPORT bool isKept(const IgnoredText& ignored, const RecordKind& kind);

/// A number of findings.
struct FindingCount {
    std::uint64_t errors = 0;    ///< the number of errors
    std::uint64_t warnings = 0;  ///< the number of warnings
    std::uint64_t hints = 0;     ///< the number of hints

    /// Returns the number of errors and warnings.
    std::uint64_t all() const { return errors + warnings; }

    /// Returns the number of findings, hints included.
    std::uint64_t withHints() const { return all() + hints; }

    /// Counts a finding.
    FindingCount& operator+=(Severity severity) {
        errors += severity == Severity::Error;
        warnings += severity == Severity::Warning;
        hints += severity == Severity::Hint;
        return *this;
    }

    /// Adds the numbers of another part of the file.
    FindingCount& operator+=(const FindingCount& other) {
        errors += other.errors;
        warnings += other.warnings;
        hints += other.hints;
        return *this;
    }

    /// Subtracts numbers that were added.
    FindingCount& operator-=(const FindingCount& other) {
        errors -= other.errors;
        warnings -= other.warnings;
        hints -= other.hints;
        return *this;
    }
};

/// The number of lines of one kind.
struct LinesOfKind {
    char letter;          ///< of record lines; 0: none
    std::string name;     ///< "meter subscriber", "tag line", "empty line"
    std::uint64_t lines;  ///< the number of lines
};

/// The number of findings of one field, or of one rule about whole lines.
struct FindingsOfField {
    std::string_view kind;   ///< of the lines: "meter subscriber"; empty: of lines as a whole
    std::string_view field;  ///< "meterReadingDate"; empty: of lines as a whole
    const Rule* rule;        ///< of lines as a whole; nullptr: of a field
    FindingCount count;      ///< the number of findings
};

/// The numbers of a check: lines by kind, findings by field and rule.
///
/// @snippet docs/examples.cpp CheckSummary
class TRAMO_EXPORT CheckSummary {
public:
    std::uint64_t lines = 0;  ///< the number of lines
    FindingCount total;       ///< of all findings

    std::vector<LinesOfKind> lineKinds() const;          ///< record lines by letter, then the others
    std::vector<FindingsOfField> findingCounts() const;  ///< the most frequent first

    /// Counts a line.
    void add(std::wstring_view line, std::optional<LineKind> kind);

    /// Counts a finding.
    void add(const Finding& finding);

    /// Removes findings that were counted.
    void remove(const FindingsOfField& findings);

    /// Adds the summary of the next lines.
    CheckSummary& operator+=(const CheckSummary& next);

private:
    FindingCount& countOf(const FindingsOfField& what);

    std::array<std::uint64_t, 128> byLetter{};
    std::array<std::uint64_t, 4> byKind{};
    std::uint64_t empty = 0, unknown = 0;
    std::vector<FindingsOfField> counts;
};

class CheckerMemory;

/// Checks a file: call line() for each line in order, then end(). Findings about single lines are appended as soon as they are
/// certain, those of a line in the order of their columns; findings about several lines, which the rules about rounds give, come
/// with end(). A finding never contains a key of a key line.
///
/// A valid line costs no allocation, except for what is kept of meters: 12 to 24 bytes for each meter of the file, and until the
/// round ends, 32 bytes for each of its meters and 16 for each position.
///
/// The models may print a message on the standard output when they parse an invalid line: see setMessages().
///
/// Not thread-safe. Several checkers (CheckOptions::isPart) may check parts of a file in parallel; then another one adds them.
///
/// @snippet docs/examples.cpp Checker
class TRAMO_EXPORT Checker {
public:
    /// Starts a check of one file.
    explicit Checker(CheckOptions checkOptions = {}) : options(std::move(checkOptions)) {}

    /// Checks the next line. Keeps no reference to it.
    void line(const SourceLine& line, std::vector<Finding>& findings);

    /// Instead of line(), for a record line of one byte for each character (U+0000 to U+00FF), without the CR LF that follows it:
    /// if the line by itself certainly has no findings, counts it and returns true. Otherwise, changes nothing and returns false;
    /// call line() then. Many times as fast as line(). Returns false unless all lines, or most lines of the file, are records.
    /// `number`: of the line; 0: it follows the previous line.
    bool countIfClean(const RecordKind& kind, std::string_view line, std::int64_t number = 0);

    /// What is known at the end of the file only.
    struct End {
        long long lines = 0;                 ///< in the whole file
        std::uint64_t charactersUnread = 0;  ///< after a line that begins with U+FFFF, which ends the text
        bool isLastByteOdd = false;          ///< a UTF-16 file of an odd number of bytes
    };

    /// Ends the check of the file. Call it once, after the last line; of several parts of a file, for the last part.
    void end(const End& end, std::vector<Finding>& findings);

    /// Takes findings, one after the other.
    using Sink = std::function<void(Finding&&)>;

    /// Adds the check of the next part of the file: its numbers, and what it has seen for the rules about rounds. Findings about
    /// several lines that are certain now go to the sink, those of a round in the order of its lines. The options of both are the
    /// same, except that CheckOptions::isPart is true for the parts only.
    void add(const Checker& part, const Sink& sink);

    /// After the last part: gives the other findings about several lines.
    void end(const Sink& sink);

    /// Returns the numbers so far.
    const CheckSummary& summary() const { return counted; }

private:
    void finish(std::size_t first, std::int64_t number, std::vector<Finding>& findings);
    bool accept(Finding& finding);
    void note(const SourceLine& line, bool hasFields, std::size_t first, std::vector<Finding>& findings);
    void take(const Sink& sink);
    CheckerMemory& use();

    // What a checker knows of the lines before. A copy of a checker has its own.
    struct Memory {
        Memory() = default;
        Memory(const Memory& other);
        Memory(Memory&&) noexcept = default;
        Memory& operator=(const Memory& other);
        Memory& operator=(Memory&&) noexcept = default;
        ~Memory() = default;
        std::shared_ptr<CheckerMemory> kept{};
    };

    CheckOptions options;
    CheckSummary counted;
    Memory memory;
};

/// Checks files of key lines beyond single lines: keys must have 32 hexadecimal digits, and a serial number or a complete
/// address must not occur twice, also not in different files. Call file() for each file, then line() for each of its key lines
/// that parseKeyLine() can read. Keeps no key, and no finding contains one.
///
/// Not thread-safe.
///
/// @snippet docs/examples.cpp KeyFileChecker
class TRAMO_EXPORT KeyFileChecker {
public:
    /// Begins a file. Findings about another file use this name: UTF-8 without control characters.
    void file(std::string name) { files.push_back(std::move(name)); }

    /// Checks the values of a key line and appends the findings.
    void line(const AMRKeyLine& values, std::int64_t number, std::vector<Finding>& findings);

private:
    struct Place {
        std::size_t file;
        std::int64_t line;
    };
    template <class Values> void findDuplicate(std::map<Values, Place>& places, const Values& values, const char* name,
        const Place& here, std::vector<Finding>& findings) const;

    std::vector<std::string> files;
    std::map<std::wstring, Place> serialNumbers;
    std::map<std::array<std::int32_t, 4>, Place> addresses;
};

}  // namespace tramo
