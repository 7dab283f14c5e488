// Files in which personal data is replaced, in memory: each text by its pseudonym, in every line and file the same.
#pragma once
#include "common/secret.h"
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tramostream/reader.h>
#include <vector>

namespace tramo::page {

struct WithoutPersonal {
    std::vector<SecretBytes> files{};  // in the order of the files
    std::string failure{};             // why they still hold something that should have been replaced; empty: they do not
};

// `key`: see Anonymizer. `encoding`: of all files. Throws std::bad_alloc only.
WithoutPersonal withoutPersonal(std::span<const std::string_view> files, std::optional<Encoding> encoding, std::string_view key);

}  // namespace tramo::page
