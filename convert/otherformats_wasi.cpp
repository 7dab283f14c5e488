// A page needs no other forms, and the standard library would double its size for them.
#include "convert/otherformats.h"

namespace tramo::codec {

bool fromDateByStandard(long32, wchar_t*, const wchar_t*) noexcept { return false; }

}  // namespace tramo::codec
