// What Columns holds.
#pragma once
#include "model/fieldreading.h"
#include "round/alignedbuffer.h"
#include "round/arrowrows.h"
#include "tramostream/columns.h"
#include <bit>

namespace tramo {

inline constexpr std::size_t textBlock = 16;  // characters of a text that are copied at once

struct ColumnData {
    const Field* field;
    ColumnType type;
    AlignedBuffer validity, values, offsets;
    std::size_t textSize = 0;  // of a Text, bytes in `values`

    bool isText() const { return type == ColumnType::Text; }

    // The most bytes that the text of a line can need: three bytes of UTF-8 for each character, and what putText may touch.
    std::size_t longestText() const { return 3 * static_cast<std::size_t>(field->width) + textBlock; }

    template <class T> void put(std::size_t row, T value) {
        std::memcpy(values.data() + row * sizeof(T), &value, sizeof(T));
        setPresent(row);
    }
    void putFlag(std::size_t row, bool value) {
        values.data()[row / 8] = static_cast<char>(values.data()[row / 8] | value << row % 8);
        setPresent(row);
    }
    void putOffset(std::size_t row) {
        const auto offset = static_cast<std::int32_t>(textSize);
        std::memcpy(offsets.data() + row * sizeof offset, &offset, sizeof offset);
    }
    void setPresent(std::size_t row) {
        char& bits = validity.data()[row / 8];
        bits = static_cast<char>(bits | 1 << row % 8);
    }

    // How many of the first `rows` rows have a value; no other row has one.
    std::size_t present(std::size_t rows) const {
        std::size_t count = 0;
        for (std::size_t at = 0; at < rows; at += 64) {
            std::uint64_t word = 0;
            std::memcpy(&word, validity.data() + at / 8, sizeof word);
            count += static_cast<std::size_t>(std::popcount(word));
        }
        return count;
    }
};

// Hands the memory of a column with so many rows over; then it has none.
inline ColumnMemory takeMemory(ColumnData& column, std::size_t rows) noexcept {
    const std::size_t absent = rows - column.present(rows);
    column.textSize = 0;
    return {std::move(column.validity), std::move(column.values), std::move(column.offsets), absent, column.isText()};
}

struct ColumnTable {
    static constexpr std::uint16_t noColumn = 0xFFFF;

    const RecordKind& kind;
    std::vector<ColumnData> columns{};
    std::vector<FieldReading> readings{};   // of these columns
    std::vector<std::uint16_t> columnOf{};  // the column of each of the kind's fields, or noColumn
    std::vector<std::uint16_t> texts{};     // the columns that hold texts
    AlignedBuffer lines{};                  // a std::int64_t for each row
    std::size_t rows = 0, capacity = 0, unreadable = 0;
    std::size_t rowsWithRoom = 0;  // so many more rows certainly have room

    void choose(std::span<const Field* const> fields);
    template <class Char> bool add(std::int64_t number, std::basic_string_view<Char> line);
    template <class Char> bool addPadded(std::int64_t number, std::basic_string_view<Char> line);
    bool add(const LineView& line);
    bool makeRoom();
    void clear();
    void forget() { rows = capacity = unreadable = rowsWithRoom = 0; }  // the memory has been handed over
};

struct Columns::State : ColumnTable {};

// The bytes that a column of this type has for so many rows, without those of a text.
std::size_t bytesFor(ColumnType type, std::size_t rows);

}  // namespace tramo
