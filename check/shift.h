// Finds where a line lost or gained characters, from the fields that are valid before and after that place.
#pragma once
#include "common/secret.h"
#include "tramostream/fields.h"
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace tramo {

struct Shift {
    int characters = 0;    // gained; negative: lost
    const Field* field{};  // in which it happened most likely
};

// `text`: a record line of this kind, of any length. nullopt: no shift of up to three characters makes all fields valid, or the
// line is valid as it is. A line of the right length counts as shifted only if at least two fields are invalid.
std::optional<Shift> shiftOf(const RecordKind& kind, std::wstring_view text);

// The same, but all of them, the most likely first; at most `most` that make different lines.
std::vector<Shift> shiftsOf(const RecordKind& kind, std::wstring_view text, std::size_t most);

// Returns the line as it was before this shift, with spaces in the place of lost characters.
SecretText shiftedBack(const RecordKind& kind, std::wstring_view text, const Shift& shift);

// Returns the number of fields with errors, in the line padded or cut to its length.
int invalidFields(const RecordKind& kind, std::wstring_view text);

}  // namespace tramo
