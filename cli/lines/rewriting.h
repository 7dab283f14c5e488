// The changes of a line that the library reads and writes.
#pragma once
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <tramostream/linemodel.h>
#include <vector>

namespace tramo::cli {

/// A piece of a line that the library changes.
struct Rewriting {
    enum What : char { Unreadable, Ignored, NotWritten, Filled, Changed, Respelled, ZeroAfter, OutsideFields };
    What what;
    bool loses;          ///< a value would change, or text that no value holds would disappear
    const Field* field;  ///< nullptr: columns outside of all fields
    int column;          ///< of the first character of `before`
    std::wstring before, after;
};

/// Returns the pieces that differ between the text of a line and the line that its model writes, by column. `model` has parsed
/// `text`.
std::vector<Rewriting> rewritings(LineKind kind, std::wstring_view text, LineModel& model);

/// Returns whether two values of a field are the same. Two NaNs are.
bool isSame(const FieldValue& a, const FieldValue& b);

}  // namespace tramo::cli
