// Key lines without what identifies a radio module.
#pragma once
#include "common/secret.h"
#include "round/pseudonyms.h"
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

// Returns the line with other keys, serial numbers and addresses; nullopt if it cannot be read. `replaced`: if not nullptr, gets
// the texts that were replaced.
std::optional<std::wstring> anonymizedKeyLine(
    std::wstring_view text, const Pseudonyms& pseudonyms, std::vector<SecretText>* replaced = nullptr);

}  // namespace tramo
