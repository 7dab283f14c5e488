// A column of a table of the page: a value for each row, or none. It is written in the shortest of the forms that the page reads:
//
//     [1, null, 3]                     a value a row
//     {"all": 1}                       the same value in all rows
//     {"of": ["a", "b"], "at": [0, 1]} texts of which there are few; -1: none
//     {"by": [1000, 1, 2]}             numbers, each as the difference to the one before
#pragma once
#include "page/jsontext.h"
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace tramo::page {

class TextColumn {
public:
    void add(std::string_view text) { at.push_back(indexOf(text)); }
    void addNone() { at.push_back(none); }
    // A text or, if it is empty, none.
    void addIfAny(std::string_view text) { text.empty() ? addNone() : add(text); }

    // The index of a text, to add it again.
    std::int32_t indexOf(std::string_view text);
    void addAgain(std::int32_t index) { at.push_back(index); }

    std::size_t rows() const { return at.size(); }
    bool isEmpty() const { return ends.empty(); }
    void write(JsonText& json) const;

private:
    static constexpr std::int32_t none = -1;
    std::string_view text(std::int32_t index) const;
    bool areFew() const { return ends.size() * 3 < at.size(); }
    void grow();

    std::vector<std::int32_t> at;
    std::string texts;
    std::vector<std::size_t> ends;    // of the texts
    std::vector<std::int32_t> slots;  // a hash table of their indexes; without any, texts are not looked for: they are many
    bool looks = true;
};

class IntegerColumn {
public:
    void add(long long number) {
        isBlank = false;
        numbers.push_back(number);
    }
    void addNone() {
        hasNone = true;
        numbers.push_back(none);
    }
    // Sets bits in a row that has a number.
    void addBits(std::size_t row, long long bits) { numbers[row] |= bits; }

    long long operator[](std::size_t row) const { return numbers[row]; }
    std::size_t rows() const { return numbers.size(); }
    bool isEmpty() const { return isBlank; }
    void write(JsonText& json) const;

private:
    static constexpr long long none = std::numeric_limits<long long>::min();
    std::vector<long long> numbers;
    bool hasNone = false, isBlank = true;
};

class RealColumn {
public:
    // A number that is not finite is none.
    void add(double number);
    void addNone();

    std::size_t rows() const { return numbers.size(); }
    bool isEmpty() const { return isBlank; }
    void write(JsonText& json) const;

private:
    std::vector<double> numbers;
    bool isBlank = true;
};

// Writes a column as a member, unless no row has a value.
void writeColumn(JsonText& json, std::string_view name, const auto& column) {
    if (column.isEmpty()) return;
    json.key(name);
    column.write(json);
}

}  // namespace tramo::page
