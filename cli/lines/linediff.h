// Pairs the lines of two files by meter and kind.
#pragma once
#include "cli/lines/input.h"
#include "cli/lines/keyedhash.h"
#include "cli/lines/lineindex.h"
#include "cli/lines/rereading.h"
#include "common/secret.h"
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <tramostream/fields.h>
#include <utility>
#include <vector>

namespace tramo::cli {

/// A copy of a line that needs half the memory.
class KeptLine {
public:
    KeptLine() = default;
    KeptLine(const Line& line, std::optional<LineKind> kind, bool isSound);

    SecretText text() const;  ///< of a long line, the first characters
    bool hasTextOf(const KeptLine& other) const;
    bool hasText(const Line& other) const;
    bool isRecord() const { return sound && kind != LineKind::Key; }  ///< whether it has fields in fixed columns

    std::optional<LineKind> kind;
    bool sound = false, carriageReturn = false, lineFeed = false;
    long long number = 0;
    std::shared_ptr<const LongLine> whole;  ///< of a long line

private:
    SecretBytes bytes;  // one per character, or two, the low one first
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
    bool secret = false;  ///< the values are keys and left out
};

struct DiffOptions {
    bool exact = false, showKeys = false;
    bool onlyReadings = false;  ///< compares only the readings of meter subscriber lines; see readingFields()
};

/// Returns the differences of two lines of the same kind; `a` or `b` is nullptr if only one file has the line. A malformed line
/// has none.
std::vector<FieldChange> compare(const KeptLine* a, const KeptLine* b, const DiffOptions& options);

/// The lines of one meter, or lines of one kind without a meter.
struct DiffGroup {
    std::wstring meter;                                              ///< its serial number; empty: no meter
    std::string_view kind;                                           ///< of the lines without a meter
    std::vector<std::pair<const KeptLine*, const KeptLine*>> pairs;  ///< old and new; one of them may be nullptr
};

/// The lines of two files that are not equal, character by character. Only they are in memory; of every other line of the old
/// file, its place is.
class LineDiff {
public:
    /// `oldFile` must exist as long as this object.
    LineDiff(Input& oldFile, bool comparesLineEnds);

    /// Add the line that `oldFile` has just read.
    void addOld(const Line& line, std::optional<LineKind> kind);
    void addOld(const PlainRecord& record);

    /// Add a line of the new file, after all lines of the old one. Read the old line a second time.
    void addNew(const Line& line, std::optional<LineKind> kind);
    void addNew(const PlainRecord& record);

    /// Loads the lines that only the old file has, after all lines are added. Throws Unreadable if the file has been changed.
    void end();

    /// Returns the groups, in the order of the old file, then of the new one. Call it after end().
    std::vector<DiffGroup> groups() const;

    /// Returns whether both files have meters, and none in common. `groups` are those of groups().
    bool hasNoCommonMeter(const std::vector<DiffGroup>& groups) const;

private:
    using Place = LineIndex::Place;

    /// A line of the old file that has been read a second time. Valid until the next one is.
    struct OldLine {
        std::optional<PlainRecord> record{};  // then, the others are not set
        const Line* line = nullptr;
        std::optional<LineKind> kind{};
        bool sound = false;
        SecretText key{};
    };
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    struct Old {
        KeptLine line;
        std::size_t partner = none;
    };

    void addOld(std::uint64_t key, std::uint64_t check);
    void noteNewMeter(bool isCommon);
    OldLine oldLine(Place place);
    KeptLine kept(const OldLine& old);
    Place takeOld(std::uint64_t hash, auto isPartner);

    Input& input;
    const bool exact;
    const KeyedHash hash{};
    LineIndex index;
    std::map<Place, KeptLine> longOlds;  // are in memory only in part
    std::uint64_t endOfLast;             // of the old file
    Rereading again;
    PieceReader reader;
    Line lineAgain;
    PlainLine plainAgain, plainNew;
    std::vector<Old> olds;                        // lines that equal no new one
    std::vector<std::pair<KeptLine, bool>> news;  // lines that equal no old one, and whether they have a partner
    bool oldHasMeters = false, newHasMeters = false, isMeterCommon = false;
};

/// Returns the kind of a line by its name in JSON: "meter subscriber", "key line", "damaged line".
std::string_view kindName(const KeptLine& line);

}  // namespace tramo::cli
