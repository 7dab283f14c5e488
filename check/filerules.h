// The rules about whole files: one row a rule.
#pragma once
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace tramo {

// In the order in which findings are shown: what makes the others uncertain comes first.
enum class FileRule : unsigned {
    NotExchangeFile,
    NulBlock,
    CutOff,
    TextIsUtf8,
    TextIsUtf8Twice,
    Utf16NoBom,
    Utf16BigEndian,
    DosText,
    MacText,
    LineEndingsLf,
    LineEndingsCr,
    LineEndingsCrCrLf,
    DoubleSpaced,
    LastLineEnding,
    CtrlZ,
    BlankLines,
    Trimmed,
    Wrapped,
    RightPartLost,
    Quoted,
    LeadingSpace,
    Tabs,
    NoBreakSpaces,
    SpacesCollapsed,
    CharacterLost,
    CharacterAdded,
};

constexpr std::uint32_t bitOf(FileRule rule) { return std::uint32_t{1} << static_cast<unsigned>(rule); }

namespace explained {

// The findings of single lines that a rule explains, in the lines that it applies to.
enum Explained : unsigned {
    nothing = 0,
    ending = 1,  // of the line ending
    shape = 2,   // of length and kind
    fields = 4,  // of fields and characters
    everything = ending | shape | fields,
};

struct FileRuleRow {
    FileRule rule;
    std::string_view name, description, remedy;
    unsigned explains;
};

namespace remedies {
constexpr std::string_view ask = "ask the sender for the file again";
constexpr std::string_view unpack = "unpack the file if it is an archive; otherwise ask the sender for the exchange file";
constexpr std::string_view mend = "run: tramo repair -o NEW FILE";
constexpr std::string_view reference =
    "run: tramo repair --reference EXPORTED -o NEW FILE (EXPORTED: the file as it was exported)";
}  // namespace remedies

// clang-format off
inline constexpr FileRuleRow fileRules[] = {
    {FileRule::NotExchangeFile,   "NotExchangeFile",   "The file is of another format: an archive, a document, an image or a program.", remedies::unpack, everything},
    {FileRule::NulBlock,          "NulBlock",          "A part of the file holds zero bytes only: its contents were never written, or were lost.", remedies::ask, everything},
    {FileRule::CutOff,            "CutOff",            "The last line ends before its last column: the rest of the file is missing.", remedies::ask, everything},
    {FileRule::TextIsUtf8,        "TextIsUtf8",        "The text is UTF-8: accented letters take two bytes and moved the columns.", remedies::mend, shape},
    {FileRule::TextIsUtf8Twice,   "TextIsUtf8Twice",   "The text was converted to UTF-8 twice: each accented letter takes four bytes or more.", remedies::mend, shape},
    {FileRule::Utf16NoBom,        "Utf16NoBom",        "The text is UTF-16 without a byte order mark (BOM).", remedies::mend, everything},
    {FileRule::Utf16BigEndian,    "Utf16BigEndian",    "The text is UTF-16 with the high byte of each character first.", remedies::mend, everything},
    {FileRule::DosText,           "DosText",           "The text is in a code page of DOS: accented letters are read as other characters.", remedies::mend, nothing},
    {FileRule::MacText,           "MacText",           "The text is in Mac Roman: accented letters are read as other characters.", remedies::mend, nothing},
    {FileRule::LineEndingsLf,     "LineEndingsLf",     "Lines end in LF instead of CR LF.", remedies::mend, ending},
    {FileRule::LineEndingsCr,     "LineEndingsCr",     "Lines end in CR instead of CR LF.", remedies::mend, everything},
    {FileRule::LineEndingsCrCrLf, "LineEndingsCrCrLf", "Lines end in CR CR LF instead of CR LF.", remedies::mend, ending | shape},
    {FileRule::DoubleSpaced,      "DoubleSpaced",      "Every second line is blank.", remedies::mend, ending | shape},
    {FileRule::LastLineEnding,    "LastLineEnding",    "The last line is complete, but has no line ending.", remedies::mend, ending},
    {FileRule::CtrlZ,             "CtrlZ",             "The file ends with the end-of-file character of DOS (1A).", remedies::mend, ending | shape},
    {FileRule::BlankLines,        "BlankLines",        "The file contains blank lines.", remedies::mend, ending | shape},
    {FileRule::Trimmed,           "Trimmed",           "Trailing spaces were removed from lines; padded with spaces, the lines are complete.", remedies::mend, shape},
    {FileRule::Wrapped,           "Wrapped",           "Every line was broken into several lines.", remedies::mend, everything},
    {FileRule::RightPartLost,     "RightPartLost",     "Every line stops at the same column; the rest of every line is lost.", remedies::ask, everything},
    {FileRule::Quoted,            "Quoted",            "Lines are in quotation marks, as spreadsheets write them.", remedies::mend, shape},
    {FileRule::LeadingSpace,      "LeadingSpace",      "Lines begin with spaces, which moved the columns.", remedies::mend, shape},
    {FileRule::Tabs,              "Tabs",              "Spaces were replaced with tab characters, which moved the columns.", remedies::mend, shape},
    {FileRule::NoBreakSpaces,     "NoBreakSpaces",     "Spaces were replaced with no-break spaces.", remedies::mend, shape | fields},
    {FileRule::SpacesCollapsed,   "SpacesCollapsed",   "Runs of spaces became one space; the columns cannot be recovered.", remedies::ask, everything},
    {FileRule::CharacterLost,     "CharacterLost",     "A line lacks characters; all fields after them are shifted to the left.", remedies::reference, shape | fields},
    {FileRule::CharacterAdded,    "CharacterAdded",    "A line contains additional characters; all fields after them are shifted to the right.", remedies::reference, shape | fields},
};
// clang-format on

}  // namespace explained

using explained::FileRuleRow, explained::fileRules;

constexpr const FileRuleRow& rowOf(FileRule rule) { return fileRules[static_cast<std::size_t>(rule)]; }

constexpr bool areFileRulesInOrder() {
    for (std::size_t i = 0; i < std::size(fileRules); ++i)
        if (static_cast<std::size_t>(fileRules[i].rule) != i) return false;
    return std::size(fileRules) <= 32;
}
static_assert(areFileRulesInOrder());

}  // namespace tramo
