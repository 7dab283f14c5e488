// Finds the line of the exported round that a damaged line comes from, and with it how the damaged line was.
#pragma once
#include "common/secret.h"
#include "tramostream/repair.h"
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tramo {

struct Realigned {
    SecretText line{};
    int characters = 0;  // that the damaged line gained; negative: lost
};

class LineRealigner {
public:
    explicit LineRealigner(const RepairReference* exported) : reference(exported) {}

    // Remembers the line before a damaged one: rounds keep their order.
    void pass(std::wstring_view record);

    // Returns the line as it was, if exactly one way to undo a loss or a gain of up to three characters gives it the master data
    // of its exported line, and all its fields can be read. `text` may lack trailing spaces if `isTrimmed`.
    std::optional<Realigned> realigned(std::wstring_view text, bool isTrimmed);

    // Returns whether the master data of a line of the right length are those of an exported line.
    bool hasMasterData(std::wstring_view line);

private:
    void addCandidates(const RecordKind& kind, std::wstring_view text, std::vector<SecretText>& candidates) const;

    const RepairReference* reference;
    std::array<SecretText, 128> previous{};  // by letter
};

}  // namespace tramo
