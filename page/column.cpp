#include "page/column.h"
#include <algorithm>
#include <cmath>
#include <functional>

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

std::string_view TextColumn::text(std::int32_t index) const {
    const auto which = static_cast<std::size_t>(index);
    const std::size_t first = which > 0 ? ends[which - 1] : 0;
    return std::string_view(texts).substr(first, ends[which] - first);
}

// A column in which most texts are different is written text by text: after the first ones, looking for them is given up.
std::int32_t TextColumn::indexOf(std::string_view wanted) {
    constexpr std::size_t enough = 1024;
    if (looks && at.size() >= enough && !areFew()) {
        looks = false;
        slots = {};
    }
    const auto index = static_cast<std::int32_t>(ends.size());
    if (looks) {
        if (2 * ends.size() >= slots.size()) grow();
        std::size_t slot = std::hash<std::string_view>()(wanted) % slots.size();
        for (; slots[slot] != none; slot = (slot + 1) % slots.size())
            if (text(slots[slot]) == wanted) return slots[slot];
        slots[slot] = index;
    }
    texts += wanted;
    ends.push_back(texts.size());
    return index;
}

void TextColumn::grow() {
    slots.assign(std::max<std::size_t>(64, 2 * slots.size()), none);
    for (std::int32_t index = 0; static_cast<std::size_t>(index) < ends.size(); ++index) {
        std::size_t slot = std::hash<std::string_view>()(text(index)) % slots.size();
        while (slots[slot] != none) slot = (slot + 1) % slots.size();
        slots[slot] = index;
    }
}

void TextColumn::write(JsonText& json) const {
    if (ends.size() == 1 && std::ranges::find(at, none) == at.end()) return writeAll(json, text(0));
    if (areFew()) {
        json.beginObject();
        json.beginArray("of");
        for (std::int32_t index = 0; static_cast<std::size_t>(index) < ends.size(); ++index) json.value(text(index));
        json.endArray();
        json.key("at");
    }
    json.beginArray();
    for (const std::int32_t index : at) {
        if (areFew()) json.value(index);
        else if (index == none) json.none();
        else json.value(text(index));
    }
    json.endArray();
    if (areFew()) json.endObject();
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
