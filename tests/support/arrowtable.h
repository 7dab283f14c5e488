// The structures of the Arrow C data interface as text that can be compared.
#pragma once
#include "tramostream/columns.h"
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

// All rows of a table by column, as text; nothing: absent.
struct Table {
    std::vector<std::string> names{}, formats{};
    std::map<std::string, std::vector<std::optional<std::string>>> cells{};
    std::vector<std::int64_t> batches{};

    bool operator==(const Table& other) const { return names == other.names && formats == other.formats && cells == other.cells; }

    void setSchema(ArrowSchema& schema) {
        EXPECT_STREQ(schema.format, "+s");
        for (std::int64_t i = 0; i < schema.n_children; ++i) {
            names.emplace_back(schema.children[i]->name);
            formats.emplace_back(schema.children[i]->format);
        }
        schema.release(&schema);
        EXPECT_EQ(schema.release, nullptr);
    }

    void add(ArrowArray& rows) {
        batches.push_back(rows.length);
        ASSERT_EQ(rows.n_children, std::ssize(names));
        for (std::size_t c = 0; c < names.size(); ++c) {
            const ArrowArray& column = *rows.children[c];
            ASSERT_EQ(column.length, rows.length);
            std::int64_t absent = 0;
            for (std::int64_t row = 0; row < rows.length; ++row) {
                const auto cell = shown(formats[c], column, static_cast<std::size_t>(row));
                absent += !cell;
                cells[names[c]].push_back(cell);
            }
            EXPECT_EQ(column.null_count, absent) << names[c];
            for (std::int64_t b = 0; b < column.n_buffers; ++b)
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(column.buffers[b]) % 64, 0u);
        }
        rows.release(&rows);
        EXPECT_EQ(rows.release, nullptr);
    }

private:
    template <class T> static std::string number(const ArrowArray& column, std::size_t row) {
        T value;
        std::memcpy(&value, static_cast<const char*>(column.buffers[1]) + row * sizeof value, sizeof value);
        return std::to_string(value);
    }
    static std::optional<std::string> shown(const std::string& format, const ArrowArray& column, std::size_t row) {
        const auto* const validity = static_cast<const unsigned char*>(column.buffers[0]);
        if (validity && !(validity[row / 8] >> (row % 8) & 1)) return std::nullopt;
        if (format == "i" || format == "tdD") return number<std::int32_t>(column, row);
        if (format == "g") return number<double>(column, row);
        if (format == "s") return number<std::int16_t>(column, row);
        if (format == "S") return number<std::uint16_t>(column, row);
        if (format == "b") return std::to_string(static_cast<const unsigned char*>(column.buffers[1])[row / 8] >> (row % 8) & 1);
        if (format != "u") return number<std::int64_t>(column, row);
        const auto* const offsets = static_cast<const std::int32_t*>(column.buffers[1]);
        return std::string(static_cast<const char*>(column.buffers[2]) + offsets[row],
            static_cast<std::size_t>(offsets[row + 1] - offsets[row]));
    }
};
