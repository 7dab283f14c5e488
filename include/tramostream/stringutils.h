// Helpers on text.
#pragma once
#include "tramostream/export.h"
#include <cstddef>
#include <string>

/// Helpers on text.
///
/// @snippet docs/examples.cpp StringUtils
namespace StringUtils {

/// UTF-8 to wide text, one UTF-16 code unit in each wchar_t: a character above U+FFFF becomes a surrogate pair. Each
/// byte that belongs to no valid character becomes U+FFFD. Zero bytes are kept.
TRAMO_EXPORT std::wstring to_wstring(const std::string& utf8);

/// The text with the order of its blocks reversed; the characters inside a block keep their order: ("AB12", 2) gives
/// "12AB". A short last block comes first: ("ABC", 2) gives "CAB". A block size of 0 gives the text as it is.
TRAMO_EXPORT std::wstring reverseByBlock(const std::wstring& text, std::size_t blockSize);

}  // namespace StringUtils
