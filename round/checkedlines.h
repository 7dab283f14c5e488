// Lines of a reader as a checker takes them.
#pragma once
#include "common/encoding.h"
#include "common/secret.h"
#include "tramostream/check.h"
#include "tramostream/reader.h"

namespace tramo {

// Counts what only the end of a file shows.
class CheckedLines {
public:
    // Makes `source` the line, with its text in this object. Returns false for a line after the end of the text, which is not
    // checked.
    bool take(const LineView& line, SourceLine& source) {
        if (line.fault() == LineFault::HalfCharacter) atEnd.isLastByteOdd = true;
        if (line.fault() == LineFault::Unread) {
            atEnd.charactersUnread += line.size() + (line.ending() == LineEnding::CrLf ? 2 : line.ending() != LineEnding::None);
            return false;
        }
        ++atEnd.lines;
        text.resize(line.size());
        encoding::read(reinterpret_cast<const unsigned char*>(line.bytes().data()), text.size(),
            line.encoding() == Encoding::Utf16, text.data());
        bool hasReturn = line.ending() == LineEnding::CrLf || line.ending() == LineEnding::Cr;
        if (line.fault() == LineFault::HalfCharacter && text.ends_with(L'\r')) {  // the byte after it belongs to no line
            text.pop_back();
            hasReturn = true;
        }
        source = {.text = text,
            .carriageReturn = hasReturn,
            .lineFeed = line.ending() == LineEnding::CrLf || line.ending() == LineEnding::Lf,
            .number = line.number()};
        return true;
    }
    void countClean() { ++atEnd.lines; }

    const Checker::End& end() const { return atEnd; }

private:
    Checker::End atEnd{};
    SecretText text{};  // may hold a key line
};

}  // namespace tramo
