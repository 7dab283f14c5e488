// Mends files that other programs damaged, where the result can be proven, and proposes how to mend the rest.
#pragma once
#include "check.h"
#include "diagnosis.h"
#include "export.h"
#include "fields.h"
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

/// Reads bytes of a file from an offset into a buffer. Returns how many; fewer than wanted only at the end of the file. A repair
/// reads the file several times, from its beginning to its end: it must not change meanwhile.
using ReadBytes = std::function<std::size_t(std::uint64_t offset, char* bytes, std::size_t wanted)>;

/// Returns a function that reads text in memory. The text must outlive it.
TRAMO_EXPORT ReadBytes readingFrom(std::string_view bytes);

/// A change that a repair makes, with its proof. The changes of one line follow each other: each begins with the text that the
/// one before has left.
struct RepairStep {
    std::int64_t line = 0;     ///< the number of the line in the damaged file, 1-based; 0: the whole file
    std::uint64_t offset = 0;  ///< of the line in the damaged file, in bytes
    const Rule* rule{};        ///< what had happened: a rule about files (isAboutFile)
    std::size_t column = 0;    ///< the first changed column, 1-based; 0: none
    std::wstring before{};     ///< the text there; empty if it may hold keys
    std::wstring after{};      ///< what it becomes; empty if it may hold keys
    bool isMasked = false;     ///< the texts are left out, because they may hold keys
    std::string proof{};       ///< a sentence: why the result is right
};

/// A way to mend a line that lost or gained characters inside. It is likely, but not proven.
struct RepairProposal {
    std::int64_t line = 0;      ///< the number of the line in the damaged file
    std::uint64_t offset = 0;   ///< of the line in the damaged file, in bytes
    int number = 0;             ///< 1 is the most likely one of its line
    int characters = 0;         ///< that the line gained; negative: lost; 0: it lost trailing spaces
    const Field* field{};       ///< in which it happened; nullptr: at the end of the line
    std::wstring before{};      ///< the line
    std::wstring after{};       ///< the mended line
    std::size_t column = 0;     ///< the first column of `after` whose text has moved, 1-based; 0: none
    std::size_t endColumn = 0;  ///< the column after the last one
    bool isAccepted = false;    ///< RepairOptions asks for it
};

/// The exported round of a damaged file that was returned: its lines know what the master data of the meters are. Thread-safe.
///
/// @snippet docs/examples.cpp RepairReference
class TRAMO_EXPORT RepairReference {
public:
    /// Reads the whole file once. Later, repairs read single lines again. Takes about 40 bytes of memory for each line.
    explicit RepairReference(ReadBytes read);
    ~RepairReference();
    RepairReference(RepairReference&&) noexcept;
    RepairReference& operator=(RepairReference&&) noexcept;

    /// Returns the number of lines that repairs can compare with.
    std::size_t lines() const;

private:
    friend class LineRealigner;
    struct Index;
    std::unique_ptr<Index> index;
};

/// A proposal that is to be taken.
struct AcceptedProposal {
    std::int64_t line = 0;  ///< RepairProposal::line
    int number = 0;         ///< RepairProposal::number
};

/// What a repair may use. The reference must outlive the repair.
struct RepairOptions {
    const RepairReference* reference = nullptr;  ///< nullptr: none
    std::vector<AcceptedProposal> accepted{};    ///< at most one of each line
};

/// Where a repair writes. Functions that are empty are not called.
struct RepairOutput {
    std::function<void(std::string_view bytes)> write{};             ///< the next bytes of the mended file
    std::function<void(const RepairStep& step)> step{};              ///< a change, in the order of the lines
    std::function<void(const RepairProposal& proposal)> proposal{};  ///< a proposal, in the order of the lines
};

/// How many lines were mended for one reason.
struct MendedLines {
    const Rule* rule;  ///< what had happened
    SomeLines lines;   ///< of the damaged file; none: the whole file
};

/// Repairs one file. It mends only what it can prove by reading the result again: other encodings and line endings, blank and
/// broken lines, removed or replaced spaces, quotation marks. Everything else stays as it is, byte for byte. Characters that were
/// lost or added inside a line are proposals, unless a reference proves where.
///
/// Takes time in proportion to the size of the file, and memory for a few lines. Not thread-safe. Keeps no key. The models may
/// print messages on the standard output: see setMessages().
///
/// @snippet docs/examples.cpp Repair
class TRAMO_EXPORT Repair {
public:
    /// Reads the file, diagnoses it, and finds out what can be mended.
    explicit Repair(ReadBytes read, RepairOptions options = {});
    ~Repair();
    Repair(Repair&&) noexcept;
    Repair& operator=(Repair&&) noexcept;

    /// Returns what happened to the file: the findings of the diagnosis before the repair.
    const std::vector<Finding>& diagnosed() const;

    /// Returns whether the file has lines. If not, it is of another format, and nothing can be written.
    bool hasLines() const;

    /// Returns what run() mends, by rule.
    const std::vector<MendedLines>& mended() const;

    /// Returns the number of lines that run() changes or removes.
    std::uint64_t mendedLines() const;

    /// Returns the number of lines of the damaged file.
    std::uint64_t lines() const;

    /// Returns the lines of the damaged file with proposals of which none is accepted.
    const SomeLines& linesWithProposals() const;

    /// Returns how many of RepairOptions::accepted exist, so that run() follows them.
    std::size_t acceptedProposals() const;

    /// Returns the accepted proposals that do not exist.
    const std::vector<AcceptedProposal>& unknownProposals() const;

    /// Returns whether the file may hold keys, so that only its owner should read the mended file.
    bool mayHoldKeys() const;

    /// Returns what is left of the file's findings: the diagnosis of the mended file.
    const std::vector<Finding>& left() const;

    /// Returns the number of findings about the lines of the mended file that its diagnosis does not explain.
    const FindingCount& findingsLeft() const;

    /// Returns whether the mended file has no errors.
    bool isWell() const;

    /// Writes the mended file, its changes, and all proposals.
    void run(const RepairOutput& output);

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Repairs a file in memory, and returns the mended file.
TRAMO_EXPORT std::string repaired(std::string_view bytes, const RepairOptions& options = {});

}  // namespace tramo
