// The differences of two files, counted, and the forms in which they are printed.
#pragma once
#include "cli/io/console.h"
#include "cli/lines/linediff.h"
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tramo::cli {

struct DiffChoice {
    std::string oldFile, newFile;
    DiffOptions diff;
    bool full = false, summary = false, json = false, colour = false;
    EncodingChoice encoding = std::nullopt;
};

enum LineChangeKind : unsigned char { Changed, Added, Removed };
inline constexpr const char* whatNames[] = {"changed", "added", "removed"};

/// One line of either file, or of both, that differs.
struct LineChange {
    LineChangeKind what;
    const KeptLine *before, *after;
    std::vector<FieldChange> fields;

    const KeptLine& line() const { return after ? *after : *before; }
};

struct Counts {
    std::array<std::uint64_t, 3> lines{};
    std::uint64_t all() const { return lines[Changed] + lines[Added] + lines[Removed]; }
};

struct Totals {
    Counts all;
    std::uint64_t meters = 0;
    std::map<std::string_view, Counts> kinds;
    std::map<std::pair<std::string_view, std::string>, std::uint64_t> fields;  // of changed lines

    void count(const LineChange& change) {
        const std::string_view kind = kindName(change.line());
        ++all.lines[change.what];
        ++kinds[kind].lines[change.what];
        if (change.what == Changed)
            for (const FieldChange& field : change.fields) ++fields[{kind, field.name}];
    }
};

/// Where the result goes, piece by piece.
class DiffReport {
public:
    virtual ~DiffReport() = default;

    /// `areDifferentRounds`: both files have meters, and none in common.
    virtual void begin(bool areDifferentRounds) = 0;
    virtual void change(const DiffGroup& group, bool isFirst, const LineChange& change) = 0;
    virtual void end(const Totals& totals) = 0;
};

std::unique_ptr<DiffReport> makeTextDiff(Output& output, const DiffChoice& options);
std::unique_ptr<DiffReport> makeJsonDiff(Output& output, const DiffChoice& options);

}  // namespace tramo::cli
