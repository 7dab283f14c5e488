#include "round/arrowrows.h"

namespace tramo {

namespace {

// What a schema refers to.
struct OwnedSchema {
    std::string name;
    ArrowChildren<ArrowSchema> children;
};

void fill(ArrowSchema& out, std::unique_ptr<OwnedSchema> owned, const char* format, bool isNullable) noexcept {
    out = {.format = format,
        .name = owned->name.c_str(),
        .metadata = nullptr,
        .flags = isNullable ? ARROW_FLAG_NULLABLE : 0,
        .n_children = std::ssize(owned->children.all),
        .children = owned->children.pointers.data(),
        .dictionary = nullptr,
        .release = &releaseArrow<ArrowSchema, OwnedSchema>,
        .private_data = owned.get()};
    (void)owned.release();
}

}  // namespace

const char* arrowFormatOf(ColumnType type) {
    switch (type) {
    case ColumnType::Text: return "u";
    case ColumnType::Int32: return "i";
    case ColumnType::Int64: return "l";
    case ColumnType::Double: return "g";
    case ColumnType::Day: return "tdD";
    case ColumnType::Time: return "tss:";
    case ColumnType::Year: return "s";
    case ColumnType::Flag: return "b";
    case ColumnType::Alarms: return "S";
    }
    return "n";
}

void exportShapes(std::span<const ColumnShape> columns, ArrowSchema* out) {
    auto rows = std::make_unique<OwnedSchema>(OwnedSchema{"", ArrowChildren<ArrowSchema>(columns.size())});
    std::vector<std::unique_ptr<OwnedSchema>> children;
    for (const ColumnShape& column : columns)
        children.push_back(std::make_unique<OwnedSchema>(OwnedSchema{column.name, ArrowChildren<ArrowSchema>(0)}));

    // Nothing below throws.
    for (std::size_t i = 0; i < columns.size(); ++i)
        fill(rows->children.all[i], std::move(children[i]), arrowFormatOf(columns[i].type), columns[i].isNullable);
    fill(*out, std::move(rows), "+s", false);
}

void fillArrow(
    ArrowArray& out, std::unique_ptr<OwnedArray> owned, std::size_t rows, std::size_t absent, int bufferCount) noexcept {
    for (std::size_t i = 0; i < owned->memory.size(); ++i) owned->buffers[i] = owned->memory[i].data();
    out = {.length = static_cast<std::int64_t>(rows),
        .null_count = static_cast<std::int64_t>(absent),
        .offset = 0,
        .n_buffers = bufferCount,
        .n_children = std::ssize(owned->children.all),
        .buffers = owned->buffers.data(),
        .children = owned->children.pointers.data(),
        .dictionary = nullptr,
        .release = &releaseArrow<ArrowArray, OwnedArray>,
        .private_data = owned.get()};
    (void)owned.release();
}

}  // namespace tramo
