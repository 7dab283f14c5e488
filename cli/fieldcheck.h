// What is wrong with the fields of a line. The one place of the check that knows the models.
#pragma once
#include "findings.h"
#include "linemodel.h"
#include "lines.h"
#include <string_view>
#include <vector>

namespace tramo::cli {

/// Adds the faults of the line that the model has been made of.
void checkFields(LineModel& model, std::wstring_view text, bool all, std::vector<Finding>& findings);

/// Adds the faults of a line of this kind, which must have that kind's length or more. `all`: also those that the format
/// reports on good lines.
void checkFields(LineKind kind, std::wstring_view text, bool all, std::vector<Finding>& findings);

}  // namespace tramo::cli
