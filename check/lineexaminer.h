// Applies the rules about rounds to single lines, and notes what is kept of them.
#pragma once
#include "check/linenote.h"
#include "check/linereport.h"
#include "check/linerules.h"
#include "model/filledmodel.h"
#include "tramostream/check.h"
#include <optional>

namespace tramo {

class LineExaminer {
public:
    explicit LineExaminer(const CheckOptions& options);

    bool isOff() const { return rules.isEmpty(); }
    const RoundRuleSet& switchedOn() const { return rules; }

    // Adds the note of a line, in ANSI, without findings of its fields. If it breaks a rule by itself, does nothing and returns
    // false.
    bool addIfClean(
        const RecordKind& kind, const FilledModel& values, const char* line, std::int64_t number, LineNotes& notes) const;

    // Adds the note of a line of this record kind, and its findings. `isDoubtful`: one of its fields cannot be read.
    void add(const RecordKind& kind, const FilledModel& values, const wchar_t* line, std::int64_t number, bool isDoubtful,
        LineNotes& notes, std::vector<Finding>& findings) const;

    // Adds the note of a line whose kind is not certain.
    static void addMalformed(std::wstring_view text, std::int64_t number, LineNotes& notes);

private:
    void find(const LineValues& line, const ReadingNumbers& numbers, LineReport& report) const;
    static void add(
        const LineValues& line, const ReadingNumbers& numbers, std::int64_t number, bool isDoubtful, LineNotes& notes);

    RoundRuleSet rules;
    long32 now;
};

}  // namespace tramo
