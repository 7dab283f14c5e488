// Checks a whole file in one call: what happened to it, and what is wrong with its lines.
#pragma once
#include "check.h"
#include "diagnosis.h"
#include "export.h"
#include "reader.h"
#include <cstddef>
#include <memory>
#include <vector>

namespace tramo {

/// What a check has found in a file.
struct CheckedFile {
    std::vector<Finding> diagnosis;  ///< of the whole file, the most important first; see Diagnosis
    std::vector<Finding> findings;   ///< of its lines, in their order
    CheckSummary summary;            ///< counts both
};

/// The options of a check of a file.
struct FileCheckOptions {
    CheckOptions lines{};  ///< of its lines; `prevailing` is found in the file
    bool each = false;     ///< keeps findings that the diagnosis explains
};

/// Checks a file as `tramo check` does, with the same findings; those of many lines are not put together.
///
/// The reader must be made with ReadOptions::diagnose, and no line be read before. It must outlive the checker. Not thread-safe.
/// The models may print messages on the standard output: see setMessages().
///
/// @snippet docs/examples.cpp FileChecker
class TRAMO_EXPORT FileChecker {
public:
    /// Starts a check of all lines of the reader.
    explicit FileChecker(Reader& reader, const FileCheckOptions& options = {});
    FileChecker(FileChecker&&) noexcept;
    FileChecker& operator=(FileChecker&&) noexcept;
    ~FileChecker();

    /// Checks so many of the next lines. Returns false at the end of the file. Throws as Reader::next.
    bool check(std::size_t lines);

    /// Returns what has been found. Call it once, at the end of the file.
    CheckedFile result();

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Checks the whole file.
TRAMO_EXPORT CheckedFile checkFile(const std::filesystem::path& path, const FileCheckOptions& options = {});

}  // namespace tramo
