// Compares the streams with a text that is split into lines separately.
#pragma once
#include "support.h"
#include <string>
#include <tramostream/ifilestream.h>

namespace fuzz {

/// How to read a text, selected by the bits of a byte.
struct Reading {
    unsigned choice;

    unsigned buffer(int line) const { return (choice + (choice >> 2 & 1) * static_cast<unsigned>(line)) & 3; }
    bool asksForEnd() const { return choice >> 3 & 1; }  // calls eof() before each line
    bool isShort() const { return choice >> 4 & 1; }     // the length is smaller than the buffer
    bool isCut() const { return choice >> 5 & 1; }       // two files are read, one after the other
    bool isLong() const { return choice >> 6 & 1; }      // the length is larger than the buffer
};

/// Checks that a newly opened stream reads this text to its end, and past it.
void checkReading(iFileStream& in, const std::wstring& text, Reading reading);

/// Checks that a stream writes the lines of the text and rejects those that the encoding cannot represent.
void checkWriting(const std::wstring& text, int encoding);

}  // namespace fuzz
