// Implementation details of the record models, not for callers.
#pragma once
#include "fielderror.h"
#include "tramoline.h"
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

template <class M> struct Record;
struct ModelAccess;

/// A text of a model. It refers to a part of the parsed line until a setter gives it a text of its own, so parsing copies
/// and allocates nothing.
class FieldText {
public:
    FieldText() = default;
    FieldText& operator=(const std::wstring& text) {
        own = text;
        owned = true;
        return *this;
    }

    /// Makes it refer to `count` characters of the line, starting at index `from`.
    void stretch(std::size_t from, std::size_t count) {
        first = static_cast<std::uint16_t>(from);
        size = static_cast<std::uint16_t>(count);
        owned = false;
    }

    /// Returns the text, valid until the model or its line changes.
    template <class Line> std::wstring_view view(const Line& line) const {
        return owned ? std::wstring_view(own) : std::wstring_view(line.data() + first, size);
    }
    template <class Line> std::wstring text(const Line& line) const { return std::wstring(view(line)); }

private:
    std::wstring own;
    std::uint16_t first = 0, size = 0;
    bool owned = false;
};

/// The three error lists of a model, in the order in which the errors were found.
struct ErrorLists {
    std::vector<TE::FieldError> parse, build, mandatory;
};

/// Returns a line of spaces with CR LF.
template <class Line> constexpr Line blankLine() {
    Line line{};
    line.fill(L' ');
    line[line.size() - 2] = L'\r';
    line[line.size() - 1] = L'\n';
    return line;
}

}  // namespace tramo
