// A file as a stream of Arrow arrays, compared with a text that is split into lines separately. The first byte selects the kind,
// the encoding, and whether the text is repeated until it is longer than a block of the file.
#include "support.h"
#include <algorithm>
#include <cstring>
#include <tramostream/columns.h>
#include <tramostream/reader.h>
#include <vector>

namespace {

using tramo::RecordKind;

constexpr std::size_t lineLength = 512, blockSize = 256 << 10;

struct NumberedLine {
    std::int64_t number;
    std::wstring text;
};

// The lines of the text that are records of this kind.
std::vector<NumberedLine> recordsOf(const std::wstring& text, const RecordKind& kind, bool isWide) {
    std::vector<NumberedLine> records;
    std::int64_t number = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (isWide && text[at] == 0xFFFF) break;
        const std::size_t end = std::min(text.find(L'\n', at), text.size());
        std::wstring line = text.substr(at, end - at);
        at = end + 1;
        ++number;
        const bool hasLineFeed = end < text.size(), hasReturn = line.ends_with(L'\r');
        const bool insteadOfReturn = line.size() == lineLength + 1 && hasLineFeed;  // any character
        if (hasReturn || insteadOfReturn) line.pop_back();
        if (line.size() == lineLength && line[0] == kind.letter) records.push_back({number, line});
    }
    return records;
}

// All rows of the stream, batch by batch, compared with the same lines as columns.
void checkStream(const char* path, const RecordKind& kind, const std::vector<NumberedLine>& expected, std::size_t rowsPerBatch) {
    ArrowArrayStream stream{};
    const tramo::ReadOptions options{.kind = tramo::LineKind::Record};  // reader_fuzz.cpp has lines of other kinds
    tramo::arrowStream(tramo::Reader(path, options), kind, {}, &stream, {.rowsPerBatch = rowsPerBatch});
    ArrowSchema schema{};
    FUZZ_CHECK(stream.get_schema(&stream, &schema) == 0);
    std::size_t row = 0;
    for (;;) {
        ArrowArray rows{};
        FUZZ_CHECK(stream.get_next(&stream, &rows) == 0);
        if (!rows.release) break;
        FUZZ_CHECK(rows.length >= 1 && static_cast<std::size_t>(rows.length) <= rowsPerBatch);
        FUZZ_CHECK(rows.n_children == schema.n_children);
        FUZZ_CHECK(row + static_cast<std::size_t>(rows.length) <= expected.size());
        tramo::Columns columns(kind);
        for (std::int64_t i = 0; i < rows.length; ++i, ++row) {
            std::int64_t number = 0;
            std::memcpy(&number, static_cast<const char*>(rows.children[0]->buffers[1]) + 8 * i, 8);
            FUZZ_CHECK(number == expected[row].number);
            FUZZ_CHECK(columns.add(number, std::u16string(expected[row].text.begin(), expected[row].text.end())));
        }
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const tramo::Column column = columns[i];
            const ArrowArray& array = *rows.children[i + 1];
            FUZZ_CHECK(array.null_count == static_cast<std::int64_t>(column.absent));
            FUZZ_CHECK(std::memcmp(array.buffers[0], column.validity, (column.rows + 7) / 8) == 0);
            if (column.type != tramo::ColumnType::Text) continue;
            FUZZ_CHECK(std::memcmp(array.buffers[1], column.offsets, 4 * (column.rows + 1)) == 0);
            FUZZ_CHECK(std::memcmp(array.buffers[2], column.values, static_cast<std::size_t>(column.offsets[column.rows])) == 0);
        }
        rows.release(&rows);
    }
    FUZZ_CHECK(row == expected.size());
    schema.release(&schema);
    stream.release(&stream);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool silent = fuzz::silenceLibrary();
    fuzz::Bytes bytes(data, size);
    const unsigned choice = fuzz::takeByte(bytes);
    const bool isWide = choice >> 7 & 1, isLong = (choice >> 4 & 7) == 7;
    const auto kinds = tramo::recordKinds();
    const RecordKind& kind = *kinds[(choice & 0x0F) % kinds.size()];

    std::wstring text = fuzz::withSpaces(fuzz::textOf(bytes, isWide));
    const std::wstring once = text;
    while (isLong && once.size() > 100 && text.size() < blockSize) text += once;
    if (!isWide && text.starts_with(L"\xFF\xFE")) return 0;
    const fuzz::File file(fuzz::encoded(text, isWide));
    checkStream(file.path(), kind, recordsOf(text, kind, isWide), 1 + (choice >> 4 & 3));
    return 0;
}
