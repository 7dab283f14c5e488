// Recognizes record lines without findings from their bytes: the fast path of the checker.
//
// Checker::line() defines the findings of a line. The fast path only says "certainly none" or "perhaps some";
// cleanlines_test holds the two together.
#pragma once
#include "model/filledmodel.h"
#include <memory>
#include <string_view>
#include <vector>

namespace tramo {

// Not thread-safe.
class CleanLines {
public:
    CleanLines();
    ~CleanLines();

    // Returns the values of a line of this record kind, in ANSI and with a CR LF after it, if it certainly has no findings by
    // itself; otherwise nullptr. Valid until the next line of this kind. `all`: as in CheckOptions.
    const FilledModel* valuesIfClean(const RecordKind& kind, std::string_view line, bool all);

    // Returns the values of any line of this record kind that has at least its length. `isFaulty`: a text cannot be read.
    const FilledModel& values(const RecordKind& kind, const wchar_t* line, bool& isFaulty);

private:
    struct KindTest;
    KindTest* testOf(const RecordKind& kind);      // null: not one of recordKinds()
    std::vector<std::unique_ptr<KindTest>> tests;  // by record kind; null until a line of that kind comes
};

}  // namespace tramo
