// A file in parts that can be read independently.
#include "common/encoding.h"
#include "common/nativepath.h"
#include "round/linesource.h"
#include "round/openfile.h"
#include "tramostream/reader.h"
#include <algorithm>

namespace tramo {

FileParts splitFile(const std::filesystem::path& path, std::uint64_t bytesPerPart, const ReadOptions& options) {
    const auto fail = [&](int reason) { throw std::system_error(reason, std::generic_category(), narrowPath(path)); };
    File opened = openToRead(path);
    if (!opened.isOpen()) fail(errno);
    LineSource source(std::move(opened));
    if (!source.load(encoding::utf16Mark.size())) fail(source.error());
    const bool hasMark = source.waiting().starts_with(encoding::utf16Mark);
    FileParts file{options.encoding.value_or(hasMark ? Encoding::Utf16 : Encoding::Ansi)};
    const bool isUtf16 = file.encoding == Encoding::Utf16;
    source.setUtf16(isUtf16);
    source.limitTo(512);  // lines are only counted

    FilePart part{.offset = source.place()};
    bool isTextOver = false;
    const auto cut = [&](std::uint64_t end, std::int64_t nextLine) {
        part.size = end - part.offset;
        if (part.size > 0) file.parts.push_back(part);
        part = {.offset = end, .firstLine = nextLine};
    };
    std::int64_t lines = 0;
    while (source.next()) {
        if (isUtf16 && !isTextOver && source.bytes().starts_with("\xFF\xFF")) {
            cut(source.offset(), lines + 1);
            isTextOver = true;
        }
        ++lines;
        if (!isTextOver && source.place() - part.offset >= bytesPerPart) cut(source.place(), lines + 1);
    }
    if (source.error() != 0) fail(source.error());
    cut(source.place(), lines + 1);
    return file;
}

}  // namespace tramo
