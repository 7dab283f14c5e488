// Anonymizes files in several passes.
#pragma once
#include "cli/lines/input.h"
#include "common/secret.h"
#include <string>
#include <tramostream/anonymize.h>
#include <vector>

namespace tramo::cli {

struct AnonymizeFiles {
    AnonymizeOptions options{};
    EncodingChoice from = std::nullopt;
    bool force = false;
};

/// `out`: a file, or of several files a folder. Returns the exit code. Throws Unreadable, WriteFailed and WrongUsage.
int anonymizeFiles(
    const std::vector<std::string>& files, const std::string& out, const SecretBytes& key, const AnonymizeFiles& how);

}  // namespace tramo::cli
