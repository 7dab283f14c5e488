// Dates in other forms than those of the format.
#pragma once
#include "tramostream/types.h"

namespace tramo::codec {

// Prints a time by the standard library, in the caller's global locale.
bool fromDateByStandard(long32 t, wchar_t* dest, const wchar_t* format) noexcept;

}  // namespace tramo::codec
