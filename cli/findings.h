// What is wrong with a line, in words.
#pragma once
#include <span>
#include <string>
#include <string_view>
#include <tramostream/fields.h>

namespace tramo::cli {

/// A kind of finding: an error of the format, or damage of a whole line.
struct RuleInfo {
    std::string_view name;  ///< "ParseDateTime", "LineTooShort"
    int code;               ///< the format's; 0: it has none
    std::string description;
    bool warning;  ///< a warning unless the user is strict

    bool isError(bool strict) const { return strict || !warning; }
};

/// Every rule that a finding may name, in a fixed order.
std::span<const RuleInfo> rules();

struct Finding {
    const RuleInfo* rule;
    std::string_view kind{};        ///< "meter subscriber"; empty: about the line as such
    std::string_view field{};       ///< "meterReadingDate"; empty: about no field
    int column = 0, endColumn = 0;  ///< where it stands, and one behind; 0: the whole line
    int reportedColumn = 0;         ///< the format's, where that is another
    std::wstring found{};           ///< the field's text
    std::string message{};          ///< what was found
    std::string detail{};           ///< why it is wrong, or what was expected
    bool excerpt = true;            ///< showing that piece of the line helps
};

/// A fault that a record's model has found in this line.
Finding explain(const TE::FieldError& error, const RecordKind& kind, std::wstring_view line);

/// The columns of a finding: "195-202", or "23".
std::string columnsOf(const Finding& finding);

/// A fault of a whole line, by its rule's name, which must be one of `rules`.
Finding lineFinding(std::string_view rule, std::string message, std::string detail = {}, int column = 0);

/// "1 line", "2 lines".
std::string counted(unsigned long long count, std::string_view noun);

/// The character in quotation marks.
std::string quoted(std::wstring_view text);

}  // namespace tramo::cli
