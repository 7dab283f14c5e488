#include "cli/io/wrap.h"
#include "cli/io/text.h"
#include "common/utf16.h"
#include <algorithm>

namespace tramo::cli {

int widthAfter(int indent, int width) { return width - indent < narrowestColumn ? 0 : width - indent; }

std::vector<std::string> brokenText(std::wstring_view text, int width) {
    std::vector<std::string> lines(1);
    int used = 0;
    for (std::size_t at = 0; at < text.size();) {
        const bool isPair = utf16::isLoneSurrogate(text.substr(at, 1), 0) && !utf16::isLoneSurrogate(text.substr(at), 0);
        const std::wstring_view character = text.substr(at, isPair ? 2 : 1);
        const std::string visible = printable(character);
        const bool isEscape = visible.size() > 1 && visible.front() == '\\';
        const int columns = isEscape ? static_cast<int>(visible.size()) : shown(character).width;
        if (width > 0 && used + columns > width && used > 0) {
            lines.emplace_back();
            used = 0;
        }
        lines.back() += visible;
        used += columns;
        at += character.size();
    }
    return lines;
}

std::vector<std::string> brokenWords(std::string_view words, int width) {
    if (width <= 0) return {std::string(words)};
    std::vector<std::string> lines(1);
    while (!words.empty()) {
        const std::string_view word = words.substr(0, words.find(' '));
        words.remove_prefix(std::min(word.size() + 1, words.size()));
        std::string& line = lines.back();
        if (line.empty()) line = word;
        else if (utf8::length(line) + 1 + utf8::length(word) <= static_cast<std::size_t>(width)) (line += ' ') += word;
        else lines.emplace_back(word);
    }
    return lines;
}

}  // namespace tramo::cli
