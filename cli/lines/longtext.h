// Texts that are too long to keep in memory as one string.
#pragma once
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

namespace tramo::cli {

/// A text that is read in pieces.
class LongText {
public:
    LongText() = default;
    virtual ~LongText() = default;
    LongText(const LongText&) = delete;
    LongText& operator=(const LongText&) = delete;

    /// Calls `use` for each piece, in order. No piece is empty, longer than `longestHeld`, or begins with the second half of a
    /// surrogate pair. May run on any thread. Throws Unreadable.
    virtual void forEachPiece(const std::function<void(std::wstring_view)>& use) const = 0;
};

}  // namespace tramo::cli
