// Two files' lines, paired by what they are about.
#pragma once
#include "cli/lines/input.h"
#include "common/secret.h"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <tramostream/fields.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tramo::cli {

/// A line that outlives its file's reading, in half the room.
class KeptLine {
public:
    KeptLine() = default;
    KeptLine(const Line& line, std::optional<LineKind> kind, bool isSound);

    SecretText text() const;  ///< of a long line its first characters
    bool hasTextOf(const KeptLine& other) const;
    bool hasText(const Line& other) const;
    bool isRecord() const { return sound && kind != LineKind::Key; }  ///< of fixed columns that can be looked at

    std::optional<LineKind> kind;
    bool sound = false, carriageReturn = false, lineFeed = false;
    long long number = 0;
    std::shared_ptr<const LongLine> whole;  ///< of a long line

private:
    SecretBytes bytes;  // one of each character, or two, the low one first
    bool isWide = false;
};

/// A value on one side of a comparison.
struct ShownValue {
    enum What : char { Absent, Plain, Quoted, Unreadable };
    What what = Absent;
    std::wstring text{};
    bool operator==(const ShownValue&) const = default;
};

struct FieldChange {
    std::string name;
    int column = 0;  ///< 0: it has none
    ShownValue before{}, after{};
    bool secret = false;  ///< the values are keys, and not here
};

struct DiffOptions {
    bool exact = false, showKeys = false;
};

/// What differs between two lines of the same sort; `a` or `b` is nullptr when there is none to compare with.
std::vector<FieldChange> compare(const KeptLine* a, const KeptLine* b, const DiffOptions& options);

/// Lines that belong together: a meter's, or those of one kind.
struct DiffGroup {
    std::wstring meter;                                              ///< its serial number; empty: no meter
    std::string_view kind;                                           ///< of the lines without a meter
    std::vector<std::pair<const KeptLine*, const KeptLine*>> pairs;  ///< old and new; one of them may be nullptr
};

/// The lines of two files that are not equal, letter by letter.
class LineDiff {
public:
    explicit LineDiff(bool comparesLineEnds) : exact(comparesLineEnds) {}

    void addOld(const Line& line, std::optional<LineKind> kind);
    void addNew(const Line& line, std::optional<LineKind> kind);

    /// When all lines are there. In the order of the old file, then of the new one.
    std::vector<DiffGroup> groups() const;

private:
    struct Chain {
        std::size_t next, last;
    };
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    struct Old {
        KeptLine line;
        std::size_t nextOfKey = none, partner = none;
        bool equal = false;
    };

    const bool exact;
    std::vector<Old> olds;
    std::vector<std::pair<KeptLine, bool>> news;  // those that equal no old one, and whether they have a partner
    std::unordered_map<std::wstring, Chain> chains;
};

/// The kind of a line, for people: "meter subscriber", "key line", "damaged line".
std::string_view kindName(const KeptLine& line);

}  // namespace tramo::cli
