// Mends one line of a file, as far as the result can be proven.
#pragma once
#include "check/filerules.h"
#include "common/secret.h"
#include "repair/plan.h"
#include "repair/rawlines.h"
#include "repair/reference.h"
#include "tramostream/repair.h"
#include <functional>
#include <string_view>
#include <vector>

namespace tramo {

// A line of the damaged file as text.
struct DecodedLine {
    SecretText text{};        // without its line ending; its characters are bytes of Windows-1252 unless the file is UTF-16
    std::size_t returns = 0;  // carriage returns at its end
    bool lineFeed = false;
    bool isChanged = false;  // by the plan
    std::string_view odd{};  // half a character at the end of the file
};

DecodedLine decodedLine(const RawLine& raw, const RepairPlan& plan);

// Whether the text looks like a parameter line without its trailing spaces: its key ends before the value, and has no space
// inside.
bool hasParameterKey(std::wstring_view text);

// Whether a record line lost its trailing spaces, and nothing else.
bool isShortenedOnly(const RecordKind& kind, std::wstring_view text);

// A line of the mended file.
struct MendedText {
    SecretText text{};
    std::wstring_view ending{};
    bool isDropped = false, isChanged = false, isKept = false;  // kept: byte for byte
    bool isKey = false;
    std::uint32_t rules = 0;  // what had happened to it
    bool hasProposals = false;
    bool isAccepted = false;  // a proposal was taken
};

// Makes the lines of the mended file in their order.
class LineMender {
public:
    LineMender(const RepairPlan& chosenPlan, const RepairOptions& chosenOptions)
        : plan(chosenPlan), options(chosenOptions), realigner(chosenOptions.reference) {}

    // The steps and proposals of the next lines; both may be empty.
    void report(const RepairOutput& to) { output = &to; }

    // Mends one line. The line lives as long as the call.
    MendedText mend(const RawLine& raw);

    // Mends one line that was broken into these, in a file whose lines were broken. Returns nullopt if they are not a line. Lines
    // after parts that are none need more proof: perhaps a part is missing.
    std::optional<MendedText> join(
        std::span<const DecodedLine> parts, const RawLine& first, const RawLine& last, bool needsProof);

    // Remembers a line that needs no repair.
    void pass(std::wstring_view record) { realigner.pass(record); }

private:
    struct Work;
    void mendText(Work& work);
    void mendEnding(Work& work, bool isMendable);
    void propose(Work& work, std::wstring_view text);
    void finish(Work& work, FileRule rule, std::wstring_view before, SecretText after, std::string proof);
    void note(
        Work& work, FileRule rule, std::size_t column, std::wstring_view before, std::wstring_view after, std::string proof);

    const RepairPlan& plan;
    const RepairOptions& options;
    const RepairOutput* output = nullptr;
    LineRealigner realigner;
};

}  // namespace tramo
