#include "sink.h"
#include "celltext.h"
#include "text.h"

namespace tramo::cli {

const Table& fileTable() {
    using enum Column::Type;
    static const Table table{"files", "files",
        {{"name", Text}, {"encoding", Text}, {"bytes", Integer}, {"lines", Integer}, {"version", Text}}, nullptr};
    return table;
}

Row rowOf(const Source& source) {
    auto text = [](std::string_view bytes) { return fromUtf8(validUtf8(bytes)).value_or(L""); };
    return {&fileTable(), 0,
        {text(source.name), text(source.utf16 ? "UTF-16LE" : "ANSI"), static_cast<long long>(source.bytes), source.lines,
            text(TRAMO_VERSION)}};
}

}  // namespace tramo::cli
