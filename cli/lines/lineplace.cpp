#include "cli/lines/lineplace.h"
#include "cli/io/platform.h"
#include <charconv>
#include <filesystem>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

namespace tramo::cli {

namespace {

struct Numbered {
    std::string name;
    long long number;
};

// Splits "NAME:NUMBER"; the number is 1 or more.
std::optional<Numbered> numbered(std::string_view word) {
    const std::size_t colon = word.rfind(':');
    if (colon == std::string_view::npos || colon == 0) return std::nullopt;
    const char *begin = word.data() + colon + 1, *last = word.data() + word.size();
    long long number = 0;
    const auto [end, error] = std::from_chars(begin, last, number);
    if (error != std::errc{} || end != last || number < 1) return std::nullopt;
    return Numbered{std::string(word.substr(0, colon)), number};
}

}  // namespace

bool isFile(const std::string& path) {
    std::error_code error;
    return path == "-" || std::filesystem::exists(pathOf(path), error);
}

LinePlace placeOf(const std::string& word, bool isLineNeeded) {
    if (!isLineNeeded && isFile(word)) return {word};
    std::string_view place = word;
    if (place.ends_with(':')) place.remove_suffix(1);
    const std::optional<Numbered> last = numbered(place);
    if (!last) return {word};
    const std::optional<Numbered> first = numbered(last->name);
    if (!first || last->number > std::numeric_limits<int>::max() || isFile(last->name)) return {last->name, last->number};
    return {first->name, first->number, static_cast<int>(last->number)};
}

}  // namespace tramo::cli
