// The radio modules of files of key lines, and the findings about them: what `tramo keys` lists.
#pragma once
#include "cli/lines/input.h"
#include "common/secretkeyline.h"
#include <array>
#include <deque>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <tramostream/check.h>
#include <vector>

namespace tramo::cli {

/// What a part of the wireless M-Bus address means beyond its number.
struct AddressMeaning {
    std::string_view part;                   ///< KeyValue::name
    const char* name;                        ///< in JSON
    std::string (*of)(std::int32_t number);  ///< in words; empty: unknown
};

/// nullptr: the number is all.
const AddressMeaning* meaningOf(const KeyValue& value);

/// What is shown of a key.
struct KeyForm {
    std::size_t length = 0;
    bool hexadecimal = false;
    std::string words() const { return fmt::format("{} {}", length, hexadecimal ? "hex" : "not hex"); }
};

/// One module. Its keys are kept only when they are to be shown.
class Module {
public:
    Module(SecretKeyLine&& read, long long number, bool showKeys);

    const AMRKeyLine& values() const { return parsed.values(); }
    const KeyForm& form(const KeyValue& key) const { return forms[static_cast<std::size_t>(&key - keyValues)]; }
    bool isAbsent(const KeyValue& value) const { return value.secret ? form(value).length == 0 : value.isAbsent(values()); }
    bool isMasked(const KeyValue& key) const { return key.secret && (values().*key.text).empty(); }

    long long line;

private:
    SecretKeyLine parsed;
    std::array<KeyForm, std::size(keyValues)> forms{};
};

/// The modules and findings of one file.
struct Contents {
    std::deque<Module> modules;
    std::vector<Finding> findings;
    FindingCount total;
    CheckSummary others;  ///< lines of other kinds
    bool isWhole = true;  ///< the file was read to its end

    void add(long long line, Finding finding) {
        total += finding.severity;
        finding.line = line;
        findings.push_back(std::move(finding));
    }
};

/// Reads the modules of several files, and compares them over all files.
class KeyReader {
public:
    KeyReader(EncodingChoice encodingOfFiles, bool keysToo) : encoding(encodingOfFiles), showKeys(keysToo) {}

    /// Throws Unreadable.
    std::unique_ptr<Contents> read(const std::string& file);

private:
    void take(const Line& line, Contents& contents);

    const EncodingChoice encoding;
    const bool showKeys;
    KeyFileChecker checker;
};

}  // namespace tramo::cli
