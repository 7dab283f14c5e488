// The codecs by their names.
#pragma once
#include <string>
#include <string_view>
#include <vector>

/// The result of the codec as a JSON list: whether it succeeded, what it gave, and its text where it changes that.
/// Values that it may leave alone begin as -77, "#" and the like.
std::string call(std::string_view function, const std::vector<std::string_view>& arguments);
