// Text utilities.
#pragma once
#include "tramostream/export.h"
#include <cstddef>
#include <string>

/// Text utilities.
///
/// @snippet docs/examples.cpp StringUtils
namespace StringUtils {

/// Converts UTF-8 to wide text, one UTF-16 code unit in each wchar_t: a character above U+FFFF becomes a surrogate pair.
/// Each byte that belongs to no valid character becomes U+FFFD. Zero bytes are kept.
TRAMO_EXPORT std::wstring to_wstring(const std::string& utf8);

/// Returns the text with the order of its blocks reversed; the characters inside a block keep their order: ("AB12", 2)
/// returns "12AB". A short last block comes first: ("ABC", 2) returns "CAB". A block size of 0 returns the text unchanged.
TRAMO_EXPORT std::wstring reverseByBlock(const std::wstring& text, std::size_t blockSize);

}  // namespace StringUtils
