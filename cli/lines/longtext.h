// Texts that are too long to be held in memory as the characters of one string.
#pragma once
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

namespace tramo::cli {

/// Characters that can be had piece by piece.
class LongText {
public:
    LongText() = default;
    virtual ~LongText() = default;
    LongText(const LongText&) = delete;
    LongText& operator=(const LongText&) = delete;

    /// Calls `use` for one piece after the other, none of them empty or longer than `longestHeld`, and none begins with the
    /// second half of a surrogate pair. May run on any thread. Throws Unreadable.
    virtual void forEachPiece(const std::function<void(std::wstring_view)>& use) const = 0;
};

}  // namespace tramo::cli
