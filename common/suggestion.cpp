#include "common/suggestion.h"
#include "common/concat.h"
#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace tramo {

namespace {

// "meter-change" is "meter change".
bool isSame(char a, char b) {
    constexpr std::string_view joints = " -_";
    return a == b || (joints.find(a) != std::string_view::npos && joints.find(b) != std::string_view::npos);
}

std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t k = 0; k < b.size(); ++k) {
            const std::size_t replaced = diagonal + !isSame(a[i], b[k]);
            diagonal = row[k + 1];
            row[k + 1] = std::min({replaced, row[k] + 1, diagonal + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string_view closestTo(std::string_view word, std::span<const std::string_view> candidates) {
    std::string_view nearest;
    if (word.size() > 40) return nearest;
    std::size_t least = std::min<std::size_t>(2, word.size() / 2) + 1;
    for (const std::string_view candidate : candidates) {
        const std::size_t candidateDistance = distance(word, candidate);
        if (candidateDistance >= least) continue;
        least = candidateDistance;
        nearest = candidate;
    }
    return nearest;
}

std::string didYouMean(std::string_view word, std::span<const std::string_view> candidates) {
    const std::string_view closest = closestTo(word, candidates);
    return closest.empty() ? "" : concat("; did you mean \"", closest, "\"?");
}

}  // namespace tramo
