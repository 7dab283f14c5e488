// The export of files: their lines as rows for a form.
#pragma once
#include "cli/lines/input.h"
#include "cli/tables/forms.h"
#include <optional>
#include <string>
#include <vector>

namespace tramo::cli {

struct ExportOptions {
    std::vector<std::string> files;
    std::string output = "-", findings;
    const TableForm* form = nullptr;
    EncodingChoice encoding{};
    const Table* only = nullptr;             ///< of records
    std::optional<RoundTable> roundTable{};  ///< only this table, and no records
    bool onlyRecords = false;                ///< no tables of rounds
    std::vector<std::string> fields{};       ///< of the only table; empty: all
    LineRange lines;
    unsigned threads = 1;
    Keys keys = Keys::Masked;
    bool force = false, bom = false;

    bool hasRecords() const { return !roundTable; }

    /// The tables of rounds, in their order.
    std::vector<RoundTable> roundTables() const;

    /// Whether rows show their file.
    bool namesFiles() const { return files.size() > 1; }
};

/// Returns the exit code.
int exportFiles(const ExportOptions& options);

}  // namespace tramo::cli
