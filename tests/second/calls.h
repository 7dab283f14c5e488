// The codecs by name.
#pragma once
#include <string>
#include <string_view>
#include <vector>

/// The result of the codec as a JSON list: whether it succeeded, the value, and its text if the codec changes it. The initial
/// values, which show whether the codec has set them, are -77, "#" and similar.
std::string call(std::string_view function, const std::vector<std::string_view>& arguments);
