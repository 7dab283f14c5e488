// A parsed key line that leaves nothing in memory.
#pragma once
#include "common/secret.h"
#include "tramostream/keyline.h"
#include <optional>
#include <vector>

namespace tramo {

// Overwrites all texts of a parsed key line.
inline void wipe(ParsedKeyLine& parsed) noexcept {
    wipe(parsed.line.line);
    for (const KeyValue& value : keyValues)
        if (value.text) wipe(parsed.line.*value.text);
    for (KeyLineRemark& remark : parsed.remarks) wipe(remark.name);  // may be a key in the wrong place
}

class SecretKeyLine {
public:
    explicit SecretKeyLine(std::wstring_view text) : parsed(parseKeyLine(text)) {}
    SecretKeyLine(SecretKeyLine&&) = default;  // wiped, too, when it has been moved from
    SecretKeyLine& operator=(SecretKeyLine&&) = delete;
    ~SecretKeyLine() { wipe(parsed); }

    const AMRKeyLine& values() const { return parsed.line; }
    const std::optional<KeyLineError>& error() const { return parsed.error; }
    const std::vector<KeyLineRemark>& remarks() const { return parsed.remarks; }

    // Where only the other values are needed any more.
    void forgetText() { wipe(parsed.line.line); }
    void forgetKeys() {
        for (const KeyValue& value : keyValues)
            if (value.secret) wipe(parsed.line.*value.text);
    }

private:
    ParsedKeyLine parsed;
};

}  // namespace tramo
