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

    // Returns whether a line of this record kind, in ANSI and with a CR LF after it, certainly has no findings. `all`: as in
    // CheckOptions.
    bool has(const RecordKind& kind, std::string_view line, bool all);

private:
    struct KindTest;
    std::vector<std::unique_ptr<KindTest>> tests;  // by record kind; null until a line of that kind comes
};

}  // namespace tramo
