// Exchange files as the tool reads them.
#pragma once
#include "console.h"
#include "lines.h"
#include "platform.h"
#include "text.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tramostream/ifilestream.h>
#include <tramostream/stringconverter.h>
#include <tramostream/tramoline.h>

namespace tramo::cli {

/// A file cannot be read, or not as what it is.
struct Unreadable {
    std::string reason;
    std::string file{};  ///< its path; empty where the reason names it
};

enum class EncodingChoice { Auto, Ansi, Utf16le };

/// One file, read line by line. "-" is the standard input; what is no plain file is copied to a temporary one first. On a
/// terminal it tells how far it has come.
class Input {
public:
    /// Throws Unreadable, or WriteFailed when the copy cannot be written.
    Input(const std::string& path, EncodingChoice encoding);

    /// Lines may hold keys: nothing is left of the last one.
    ~Input() { wipe(buffer.line); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    /// The file's name as people read it.
    const std::string& name() const { return ownName; }

    /// The next line; false at the end of the text.
    bool next(Line& line);

    std::uint64_t bytes() const { return size; }
    std::uint64_t bytesRead() const { return charactersRead * bytesPerCharacter(); }
    bool isUtf16() const { return stream.getEncoding() != StrConv::ENCODING_ANSI; }

    /// The kind of most lines at the beginning of the file.
    std::optional<LineKind> prevailingKind() const { return prevailing; }

    // At the end:
    std::uint64_t charactersUnread() const;
    bool hasOddByte() const { return isUtf16() && size % 2 != 0; }

    /// What could not be read, in words; empty: nothing.
    std::string unreadRest() const;

private:
    void open(const std::string& path, EncodingChoice encoding);
    std::uint64_t bytesPerCharacter() const { return isUtf16() ? 2 : 1; }

    std::string ownName;
    Progress progress;
    std::unique_ptr<Spool> spool;
    iFileStream stream;
    AMRKeyLine buffer;
    std::uint64_t size = 0, charactersRead = 0;
    long long lines = 0;
    std::optional<LineKind> prevailing;
};

}  // namespace tramo::cli
