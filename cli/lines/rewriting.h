// What becomes of a line when the library reads and writes it.
#pragma once
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <tramostream/linemodel.h>
#include <vector>

namespace tramo::cli {

/// One piece of a line that the library writes otherwise than it stands.
struct Rewriting {
    enum What : char { Unreadable, Ignored, NotWritten, Filled, Changed, Respelled, ZeroBehind, OutsideFields };
    What what;
    bool loses;          ///< a value would be another one, or text that no value holds would vanish
    const Field* field;  ///< nullptr: columns outside of all fields
    int column;          ///< of the first character of `before`
    std::wstring before, after;
};

/// The pieces that differ between a line's text and what its model writes, by their columns. `model` is that of `text`.
std::vector<Rewriting> rewritings(LineKind kind, std::wstring_view text, LineModel& model);

/// Whether two values of a field are the same. Two that are no numbers are.
bool isSame(const FieldValue& a, const FieldValue& b);

}  // namespace tramo::cli
