// The streams against a text that is cut into lines by hand.
#pragma once
#include "support.h"
#include <string>
#include <tramostream/ifilestream.h>

namespace fuzz {

/// How a text is read, by the bits of a byte.
struct Reading {
    unsigned choice;

    unsigned buffer(int line) const { return (choice + (choice >> 2 & 1) * static_cast<unsigned>(line)) & 3; }
    bool asksForEnd() const { return choice >> 3 & 1; }  // calls eof() before each line
    bool isShort() const { return choice >> 4 & 1; }     // less than the whole buffer is filled
    bool isCut() const { return choice >> 5 & 1; }       // two files are read, one behind the other
    bool isLong() const { return choice >> 6 & 1; }      // a length larger than the buffer is given
};

/// A stream that has just been opened reads this text to its end, and behind it.
void checkReading(iFileStream& in, const std::wstring& text, Reading reading);

/// A stream writes the text's lines; those that the encoding cannot represent it refuses.
void checkWriting(const std::wstring& text, int encoding);

}  // namespace fuzz
