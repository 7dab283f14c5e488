// Text of a line that no value comes from, for those who go on with the values.
#pragma once
#include "linemodel.h"
#include <string_view>
#include <vector>

namespace tramo::cli {

/// Those of the line that the model has been made of, without the fields that cannot be read.
std::vector<IgnoredText> ignoredTexts(const LineModel& model, std::wstring_view text);

/// Whether another field of the line holds it as text.
bool isKept(const IgnoredText& ignored, const RecordKind& kind);

/// What a check says of it.
Finding explain(const IgnoredText& ignored, const RecordKind& kind, std::wstring_view line);

}  // namespace tramo::cli
