// The note on an error that the format reports at another column than that of its field.
#pragma once
#include "common/concat.h"
#include <string>

namespace tramo {

inline std::string noteOnReportedColumn(int column) { return concat("the format reports this error at column ", column); }

}  // namespace tramo
