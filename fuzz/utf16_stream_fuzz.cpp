// A UTF-16 file, read, and written again in both encodings. The first byte selects how; see Reading. A file without a byte
// order mark is ANSI.
#include "streams.h"
#include <tramostream/stringconverter.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool silent = fuzz::silenceLibrary();
    fuzz::Bytes bytes(data, size);
    const fuzz::Reading reading{fuzz::takeByte(bytes)};
    const bool hasMark = bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE;
    const std::wstring text = fuzz::textOf(hasMark ? bytes.subspan(2) : bytes, hasMark);
    const fuzz::File file(bytes);
    iFileStream in;
    in.open(file.path(), StrConv::ENCODING_UTF16LE);
    FUZZ_CHECK(in.getEncoding() == (hasMark || bytes.empty() ? StrConv::ENCODING_UTF16LE : StrConv::ENCODING_ANSI));
    // The flags of a one-byte file stay raised.
    if (bytes.size() == 1) return 0;
    fuzz::checkReading(in, text, reading);
    fuzz::checkWriting(text, StrConv::ENCODING_UTF16LE);
    fuzz::checkWriting(text, StrConv::ENCODING_ANSI);
    return 0;
}
