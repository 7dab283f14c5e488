// What `tramo repair` prints and logs.
#pragma once
#include "cli/io/console.h"
#include "cli/io/outfile.h"
#include <fmt/format.h>
#include <string>
#include <tramostream/repair.h>

namespace tramo::cli {

/// A dry run: what would be mended, the proposals, and what would be left. `name`: of the file, for messages; `word`: the file as
/// a word of a command line.
void printRepair(Output& out, Repair& repair, const std::string& name, const std::string& word);

/// The same in a few lines on the standard error, after the mended file was written; `newWord` is its path as a word.
void complainOfRepair(const Repair& repair, const std::string& name, const std::string& word, const std::string& newWord);

/// Writes steps as JSON lines.
class RepairLog {
public:
    RepairLog(const std::string& path, bool force) : out(path, OutFile::Mode{.secret = true, .held = true, .force = force}) {}
    void add(const RepairStep& step);
    void commit();

private:
    OutFile out;
    fmt::memory_buffer text;
};

}  // namespace tramo::cli
