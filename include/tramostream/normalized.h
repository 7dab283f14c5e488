// Finds lines that the library would write unchanged, without a model.
#pragma once
#include "export.h"
#include "fields.h"
#include <string_view>

namespace tramo {

/// Returns whether the model of this line surely writes the same line: AnyRecord::toTramoLine() would have these characters.
/// If the result is false, only the model can tell.
///
/// `kind` is one of recordKinds(); `line` holds ANSI bytes, at least `kind.length`, of which the first `kind.length` count.
/// Otherwise, the result is false. Depends on the host's time zone, as dates do. Prints nothing; allocates only on its first
/// call.
///
/// @snippet docs/examples.cpp isSurelyNormalized
TRAMO_EXPORT bool isSurelyNormalized(const RecordKind& kind, std::string_view line);

}  // namespace tramo
