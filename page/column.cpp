#include "page/column.h"
#include <algorithm>
#include <cmath>

namespace tramo::page {

namespace {

// The characters of a number as text.
std::size_t widthOf(long long number) {
    std::size_t width = number < 0 ? 2 : 1;
    for (; number > 9 || number < -9; number /= 10) ++width;
    return width;
}

void writeAll(JsonText& json, const auto& value) {
    json.beginObject();
    json.member("all", value);
    json.endObject();
}

}  // namespace

std::int32_t TextColumn::indexOf(std::string_view text) {
    if (const auto found = known.find(text); found != known.end()) return found->second;
    const auto index = static_cast<std::int32_t>(texts.size());
    known.emplace(texts.emplace_back(text), index);
    return index;
}

void TextColumn::write(JsonText& json) const {
    if (texts.size() == 1 && std::ranges::find(at, none) == at.end()) return writeAll(json, std::string_view(texts.front()));
    const bool areFew = texts.size() * 3 < at.size();
    if (areFew) {
        json.beginObject();
        json.beginArray("of");
        for (const std::string& text : texts) json.value(std::string_view(text));
        json.endArray();
        json.key("at");
    }
    json.beginArray();
    for (const std::int32_t index : at) {
        if (areFew) json.value(index);
        else if (index == none) json.none();
        else json.value(std::string_view(texts[static_cast<std::size_t>(index)]));
    }
    json.endArray();
    if (areFew) json.endObject();
}

void IntegerColumn::write(JsonText& json) const {
    if (!hasNone && std::ranges::all_of(numbers, [&](long long number) { return number == numbers.front(); }))
        return writeAll(json, numbers.front());
    // A page computes exactly with numbers of 53 bits.
    constexpr long long most = 1LL << 52;
    std::size_t width = 0, steps = 0;
    bool isExact = !hasNone;
    for (std::size_t row = 0; isExact && row < numbers.size(); ++row) {
        isExact = numbers[row] > -most && numbers[row] < most;
        if (!isExact) break;
        width += widthOf(numbers[row]);
        steps += widthOf(numbers[row] - (row > 0 ? numbers[row - 1] : 0));
    }
    const bool byDifference = isExact && steps * 4 < width * 3;
    if (byDifference) {
        json.beginObject();
        json.key("by");
    }
    json.beginArray();
    for (std::size_t row = 0; row < numbers.size(); ++row) {
        if (numbers[row] == none) json.none();
        else json.value(numbers[row] - (byDifference && row > 0 ? numbers[row - 1] : 0));
    }
    json.endArray();
    if (byDifference) json.endObject();
}

void RealColumn::add(double number) {
    isBlank = isBlank && !std::isfinite(number);
    numbers.push_back(number);
}

void RealColumn::addNone() { numbers.push_back(std::nan("")); }

void RealColumn::write(JsonText& json) const {
    json.beginArray();
    for (const double number : numbers) {
        if (std::isfinite(number)) json.value(number);
        else json.none();
    }
    json.endArray();
}

}  // namespace tramo::page
