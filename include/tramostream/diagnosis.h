// The diagnosis of a whole file: what happened to it on its way, in one sentence, and what to do about it.
#pragma once
#include "check.h"
#include "export.h"
#include "linekind.h"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tramo {

/// Returns whether findings of this rule come from a diagnosis: they are about the whole file.
TRAMO_EXPORT bool isAboutFile(const Rule& rule);

/// What the first bytes of a file show: a signature of another format, the encoding, the kind of its lines, and how lines were
/// broken. Immutable and thread-safe.
///
/// @snippet docs/examples.cpp FileHead
class TRAMO_EXPORT FileHead {
public:
    /// The number of bytes that a diagnosis looks at. Lines that are damaged in a row are recognized by these bytes.
    static constexpr std::size_t size = 256 * 1024;

    /// Examines the first bytes of a file: `size` of them, or the whole file. Keeps no reference to them. `isWhole`: the file has
    /// no more bytes. `isUtf16`: the caller reads the bytes as UTF-16 little-endian; nullopt: the byte order mark decides.
    FileHead(std::string_view bytes, bool isWhole, std::optional<bool> isUtf16 = std::nullopt);

    /// Returns whether the file has lines that can be checked. If not, `findings` explains why, and there is nothing to add.
    bool hasLines() const { return readable; }

    /// Returns what is already certain: at most one finding.
    std::span<const Finding> findings() const { return certain; }

    /// Returns whether the text is UTF-16 with its low byte first.
    bool isUtf16() const { return utf16; }

    /// Returns the kind of the lines, also if all of them are malformed; nullopt: no kind fits.
    std::optional<LineKind> kind() const { return lineKind; }

    /// Returns the length in characters at which every line was broken; 0: lines were not broken.
    std::size_t wrappedAt() const { return wrapped; }

    /// Returns the length in characters after which the rest of every line is lost; 0: nothing is lost.
    std::size_t lostAfter() const { return lost; }

private:
    std::vector<Finding> certain;
    bool readable = true, utf16 = false;
    std::optional<LineKind> lineKind{};
    std::size_t wrapped = 0, lost = 0;
};

/// Diagnoses a file from its lines: call line() for each line in order, or clean() for lines without findings, then findings().
/// Memory does not grow with the file. A clean line costs no allocation, and nearly no time.
///
/// Several diagnoses of one FileHead may read parts of a file in parallel; then add them in the order of the parts.
/// Not thread-safe. The models may print messages on the standard output: see setMessages().
///
/// @snippet docs/examples.cpp Diagnosis
class TRAMO_EXPORT Diagnosis {
public:
    /// Starts the diagnosis of the lines of a file.
    explicit Diagnosis(std::shared_ptr<const FileHead> head);
    ~Diagnosis();
    Diagnosis(Diagnosis&&) noexcept;
    Diagnosis& operator=(Diagnosis&&) noexcept;

    /// Diagnoses the next line. Keeps no reference to it.
    void line(const SourceLine& line);

    /// Instead of line(), for a record line that Checker::countIfClean() has counted.
    void clean(std::string_view record, std::int64_t number);

    /// Adds the diagnosis of the next lines.
    Diagnosis& operator+=(const Diagnosis& next);

    /// Returns the findings, the most important first. They are about the file as a whole, or about single lines of it. Call it
    /// after the last line. `lines`: how many the file has, for sentences such as "169 of 172 lines".
    std::vector<Finding> findings() const;

    /// Returns the rules about files that would explain a finding of the checker about the last line that line() was called with,
    /// as a set of bits. If findings() then contains one of these rules, the finding says nothing new. `isLastLine`: of the file.
    std::uint32_t explanations(const Finding& finding, bool isLastLine) const;

    /// Returns the bits of these findings.
    static std::uint32_t bitsOf(std::span<const Finding> diagnosed);

private:
    struct Facts;
    std::unique_ptr<Facts> found;
    std::shared_ptr<const FileHead> beginning;
};

/// Diagnoses a file in memory. `findings`: as Diagnosis::findings().
TRAMO_EXPORT std::vector<Finding> diagnose(std::string_view bytes);

}  // namespace tramo
