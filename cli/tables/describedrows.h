// Rows as a form describes them, on their way from the threads that make them to the sink.
#pragma once
#include "cli/tables/rows.h"
#include <cstddef>
#include <fmt/format.h>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// The descriptions of rows, one after the other. Each form describes a row in its own way.
class DescribedRows {
public:
    /// Begins the description of a row, which is then appended to `text`.
    void begin(const Table& table, long long line) {
        if (runs.empty() || runs.back().table != &table) runs.push_back({&table, line, text.size()});
    }

    /// Calls `use(table, line, text)` for each run of rows of one table, with the number of its first line.
    template <class Use> void forEachRun(Use use) const {
        for (std::size_t i = 0; i < runs.size(); ++i) {
            const std::size_t end = i + 1 < runs.size() ? runs[i + 1].from : text.size();
            use(*runs[i].table, runs[i].line, std::string_view(text.data() + runs[i].from, end - runs[i].from));
        }
    }

    void clear() {
        runs.clear();
        text.clear();
    }

    fmt::memory_buffer text;

private:
    struct Run {
        const Table* table;
        long long line;
        std::size_t from;
    };
    std::vector<Run> runs;
};

}  // namespace tramo::cli
