// Anonymizes exchange files, for support tickets and test data: replaces everything that says something about a person, a home
// or a device (Personal).
//
// A replacement has the length of the text, and a letter or digit of the same class in each place. The same text gets the same
// replacement in every line and file with the same key, so that lines still belong to their meters. Without the key, the text
// cannot be computed from it; but the lengths, dates, readings and codes of the file remain.
#pragma once
#include "export.h"
#include "linekind.h"
#include "personal.h"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tramo {

/// How files are anonymized.
struct AnonymizeOptions {
    bool shiftDates = false;  ///< moves all dates by the same number of days, which the key decides; years by one
};

/// Replaces the personal data of lines.
///
/// - Texts, as Personal says: each area of the round line that comes before is a text of its own, and so is what is outside of
/// all
///   areas. Hexadecimal radio data stays hexadecimal.
/// - Positions move by a distance that the key decides, with a part of it that differs every two kilometers. 0/0 stays.
/// - Of key lines, the keys, the serial number and the number of the address; keys cannot be computed from their replacements,
/// not even with the key.
/// - A column of a number, a date or a code that cannot be read, or only in part: letters become Q, digits 9.
/// - Malformed lines, unless they are valid with trailing spaces: all letters become Q, digits 9.
/// - Labels and other texts that are kept, if they have a word of four characters or more of a name, an address or a number that
///   was replaced (Personal::Home, SerialNumber, Reference, Agent, RoundName).
///
/// Three passes over all files, in the same order: learnLabels() for each line, learnWords() for each line, then replace().
/// Without the first two, labels are kept. Call begin() before the first line of each file in each pass.
///
/// Memory: a few bytes for each different word of the labels. Throws nothing but std::bad_alloc. Not thread-safe.
///
/// @snippet docs/examples.cpp Anonymizer
class TRAMO_EXPORT Anonymizer {
public:
    static constexpr std::size_t shortestKey = 16;  ///< in bytes

    /// `key`: secret bytes, better random ones. Throws std::invalid_argument if they are fewer than shortestKey. Keeps no copy.
    explicit Anonymizer(std::string_view key, const AnonymizeOptions& options = {});
    Anonymizer(Anonymizer&&) noexcept;
    Anonymizer& operator=(Anonymizer&&) noexcept;
    ~Anonymizer();

    /// @name Passes
    /// `text`: a line without its line ending, one UTF-16 code unit in each wchar_t; `kind`: see kindOfLine(). A line that is not
    /// in memory as a whole belongs to mask().
    /// @{
    void begin();                                                            ///< before the first line of each file
    void learnLabels(std::wstring_view text, std::optional<LineKind> kind);  ///< first pass: the words of the labels
    void learnWords(std::wstring_view text, std::optional<LineKind> kind);   ///< second pass: which of them are personal

    /// Third pass. Overwrites `result` with the anonymized line, which has the length of `text`.
    void replace(std::wstring_view text, std::optional<LineKind> kind, std::wstring& result);
    /// @}

    /// Replaces all letters and digits of a text, or of a part of one.
    static void mask(std::wstring& text);

    /// Returns the replacement of a text in UTF-8, such as a serial number: the same as in a line.
    std::string pseudonymOf(std::string_view utf8) const;

    std::uint64_t labelsReplaced() const;  ///< by replace()
    std::uint64_t malformedLines() const;  ///< that replace() has masked

private:
    friend class AnonymizeProof;
    struct TRAMO_HIDDEN State;
    std::unique_ptr<State> state;
};

/// Proves that lines hold nothing of what was replaced in them. Independent of how they were made: it compares the lines before
/// and after.
///
/// Two passes over all files: compare() for each line, then search() for each line before, each after begin() for each file.
///
/// - Of a word of four letters or digits or more in a replaced column, something is different in its place.
/// - No such word of a name, an address or a number is in a text that was kept, with letters of any case. Messages and answers
///   share their words with the questions of a round.
/// - Kept columns hold what they held, and a line has its length.
///
/// A number or date in a kept column may by chance have the digits of a replaced word, and so may a replacement: they are in
/// other places, and say nothing about it.
///
/// Memory: a few bytes for each different word of the labels. Throws nothing but std::bad_alloc. Not thread-safe.
///
/// @snippet docs/examples.cpp Anonymizer
class TRAMO_EXPORT AnonymizeProof {
public:
    /// `options`: those of the Anonymizer.
    explicit AnonymizeProof(const AnonymizeOptions& options = {});
    AnonymizeProof(AnonymizeProof&&) noexcept;
    AnonymizeProof& operator=(AnonymizeProof&&) noexcept;
    ~AnonymizeProof();

    /// @name Passes
    /// Lines as in Anonymizer. Return false if the proof fails: failure() says why.
    /// @{
    void begin();  ///< before the first line of each file

    /// First pass. Fails if the line after still has a replaced text in its place, or differs in a kept column.
    bool compare(std::wstring_view before, std::wstring_view after, std::optional<LineKind> kind);

    /// Second pass. Fails if a kept text of the line contains a word of a replaced name, address or number.
    bool search(std::wstring_view before, std::optional<LineKind> kind);
    /// @}

    /// Returns the first failure: "columns 352 to 363 still hold a text that should have been replaced"; quotes nothing.
    const std::string& failure() const;

private:
    struct TRAMO_HIDDEN State;
    std::unique_ptr<State> state;
};

}  // namespace tramo
