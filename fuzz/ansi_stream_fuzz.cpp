// An ANSI file, read and written again. The first byte selects how; see Reading.
#include "streams.h"
#include <ios>
#include <tramostream/stringconverter.h>

namespace {

// Reads one file after the other; an empty one ends the reading.
void checkTwoFiles(fuzz::Bytes bytes, fuzz::Reading reading) {
    const fuzz::Bytes first = bytes.first(bytes.size() / 3), second = bytes.subspan(first.size());
    const fuzz::File firstFile(first), secondFile(second);
    iFileStream in;
    in.open(firstFile.path(), StrConv::ENCODING_ANSI);
    try {
        in.open(secondFile.path(), StrConv::ENCODING_ANSI);
        FUZZ_CHECK(!first.empty());
        fuzz::checkReading(in, fuzz::textOf(bytes, false), reading);
    } catch (const std::ios_base::failure&) { FUZZ_CHECK(first.empty()); }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool silent = fuzz::silenceLibrary();
    fuzz::Bytes bytes(data, size);
    const fuzz::Reading reading{fuzz::takeByte(bytes)};
    if (reading.isCut()) {
        checkTwoFiles(bytes, reading);
        return 0;
    }
    const std::wstring text = fuzz::textOf(bytes, false);
    const fuzz::File file(bytes);
    iFileStream in;
    in.open(file.path(), StrConv::ENCODING_ANSI);
    FUZZ_CHECK(in.getEncoding() == StrConv::ENCODING_ANSI);
    fuzz::checkReading(in, text, reading);
    fuzz::checkWriting(text, StrConv::ENCODING_ANSI);
    return 0;
}
