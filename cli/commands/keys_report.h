// The forms in which the modules of key lines are printed.
#pragma once
#include "cli/commands/keys_modules.h"
#include "cli/io/console.h"
#include <memory>
#include <string>

namespace tramo::cli {

class KeysReport {
public:
    virtual ~KeysReport() = default;

    /// `file` is the path as the user gave it.
    virtual void file(const std::string& file, const Contents& contents) = 0;

    /// To be called after the last file that could be read.
    virtual void end() = 0;
};

std::unique_ptr<KeysReport> makeTextKeys(Output& output);
std::unique_ptr<KeysReport> makeJsonKeys(Output& output);

}  // namespace tramo::cli
