// Reads the mended lines again: diagnoses and checks them as a file.
#pragma once
#include "common/secret.h"
#include "tramostream/check.h"
#include "tramostream/diagnosis.h"
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace tramo {

class ResultCheck {
public:
    // `isUtf16`: of the mended file.
    explicit ResultCheck(bool isUtf16) : utf16(isUtf16) {}

    // Adds a line with its line ending.
    void line(std::wstring_view text, std::wstring_view ending);

    // Instead of line(), for a record without its CR LF. Returns false, and does nothing, if it may have findings.
    bool clean(const RecordKind& kind, std::string_view record);

    // Counts an error in text that is not read as lines.
    void error() { ++found.errors; }

    // Ends the file.
    void end();

    const std::vector<Finding>& diagnosed() const { return diagnosis; }
    const FindingCount& findings() const { return found; }  // that the diagnosis does not explain

private:
    struct Waiting {
        SecretText text{};
        std::wstring_view ending{};
    };
    void begin(bool isWhole);
    void take(const Waiting& line, bool isLast);

    const bool utf16;
    std::vector<Waiting> first{};  // until there are enough of them for a FileHead
    std::size_t held = 0;
    std::optional<Waiting> last{};
    std::shared_ptr<const FileHead> head{};
    std::optional<Diagnosis> lines{};
    std::optional<Checker> checker{};
    std::int64_t number = 0;
    std::map<std::uint32_t, FindingCount> counts{};  // by what explains them
    std::vector<Finding> diagnosis{}, findingsOfLine{};
    FindingCount found{};
};

// The bytes of text in an encoding of the format.
SecretBytes encoded(std::wstring_view text, bool isUtf16);

}  // namespace tramo
