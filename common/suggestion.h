// What a mistyped word probably means.
#pragma once
#include <span>
#include <string>
#include <string_view>

namespace tramo {

// The candidate closest to a word; empty if none is close.
std::string_view closestTo(std::string_view word, std::span<const std::string_view> candidates);

// `; did you mean "CANDIDATE"?`, to end a message; empty if none is close.
std::string didYouMean(std::string_view word, std::span<const std::string_view> candidates);

}  // namespace tramo
