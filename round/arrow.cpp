// Columns as the structures of the Arrow C data interface, and a file as a stream of them.
#include "round/columndata.h"
#include "round/recordlines.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <system_error>

namespace tramo {

namespace {

const char* formatOf(ColumnType type) {
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

// Releases the children that nobody has moved away, as the interface asks, and what the structure owns.
template <class Structure, class Owned> void release(Structure* structure) {
    for (std::int64_t i = 0; i < structure->n_children; ++i)
        if (Structure* child = structure->children[i]; child->release) child->release(child);
    delete static_cast<Owned*>(structure->private_data);
    structure->release = nullptr;
}

template <class Structure> struct Children {
    std::vector<Structure> all;
    std::vector<Structure*> pointers;

    explicit Children(std::size_t count) : all(count) {
        for (Structure& child : all) pointers.push_back(&child);
    }
};

// What a structure refers to.
struct OwnedSchema {
    std::string name;
    Children<ArrowSchema> children;
};

struct OwnedArray {
    Children<ArrowArray> children;
    std::array<AlignedBuffer, 3> memory{};
    std::array<const void*, 3> buffers{};
};

void fill(ArrowSchema& out, std::unique_ptr<OwnedSchema> owned, const char* format, bool isNullable) noexcept {
    out = {.format = format,
        .name = owned->name.c_str(),
        .metadata = nullptr,
        .flags = isNullable ? ARROW_FLAG_NULLABLE : 0,
        .n_children = std::ssize(owned->children.all),
        .children = owned->children.pointers.data(),
        .dictionary = nullptr,
        .release = &release<ArrowSchema, OwnedSchema>,
        .private_data = owned.get()};
    (void)owned.release();
}

void fill(ArrowArray& out, std::unique_ptr<OwnedArray> owned, std::size_t rows, std::size_t absent, int bufferCount) noexcept {
    for (std::size_t i = 0; i < owned->memory.size(); ++i) owned->buffers[i] = owned->memory[i].data();
    out = {.length = static_cast<std::int64_t>(rows),
        .null_count = static_cast<std::int64_t>(absent),
        .offset = 0,
        .n_buffers = bufferCount,
        .n_children = std::ssize(owned->children.all),
        .buffers = owned->buffers.data(),
        .children = owned->children.pointers.data(),
        .dictionary = nullptr,
        .release = &release<ArrowArray, OwnedArray>,
        .private_data = owned.get()};
    (void)owned.release();
}

constexpr const char* lineColumn = "line";

// A file as a stream. Errors are kept in words for get_last_error.
struct FileStream {
    RecordLines lines;
    Columns columns;
    std::size_t rowsPerBatch;
    std::string path, error{};

    void nextBatch(ArrowArray* out) {
        while (columns.rows() < rowsPerBatch && lines.next()) {
            if (lines.isUtf16()) columns.add(lines.number(), lines.units());
            else columns.add(lines.number(), lines.bytes());
        }
        if (lines.error()) throw std::system_error(lines.error(), std::generic_category(), path);
        if (columns.rows() > 0) columns.exportRows(out);
        else *out = {};  // released: the end of the stream
    }

    // Returns 0 or an errno, because callers of C cannot catch exceptions.
    static int guarded(ArrowArrayStream* stream, auto action) noexcept {
        auto& self = *static_cast<FileStream*>(stream->private_data);
        try {
            action(self);
            return 0;
        } catch (const std::system_error& failure) {
            self.setError(failure.what());
            return failure.code().value();
        } catch (...) { return ENOMEM; }
    }

    // Without memory for the words, there are none.
    void setError(const char* words) noexcept {
        try {
            error = words;
        } catch (const std::bad_alloc&) { error.clear(); }
    }
    static int getSchema(ArrowArrayStream* stream, ArrowSchema* out) {
        return guarded(stream, [&](FileStream& self) { self.columns.exportSchema(out); });
    }
    static int getNext(ArrowArrayStream* stream, ArrowArray* out) {
        return guarded(stream, [&](FileStream& self) { self.nextBatch(out); });
    }
    static const char* getLastError(ArrowArrayStream* stream) {
        const auto& self = *static_cast<FileStream*>(stream->private_data);
        return self.error.empty() ? nullptr : self.error.c_str();
    }
    static void release(ArrowArrayStream* stream) {
        delete static_cast<FileStream*>(stream->private_data);
        stream->release = nullptr;
    }
};

}  // namespace

void Columns::exportSchema(ArrowSchema* out) const {
    auto rows = std::make_unique<OwnedSchema>(OwnedSchema{"", Children<ArrowSchema>(1 + size())});
    std::vector<std::unique_ptr<OwnedSchema>> columns;
    columns.push_back(std::make_unique<OwnedSchema>(OwnedSchema{lineColumn, Children<ArrowSchema>(0)}));
    for (const ColumnData& column : state->columns)
        columns.push_back(std::make_unique<OwnedSchema>(OwnedSchema{column.field->name, Children<ArrowSchema>(0)}));

    // Nothing below throws.
    fill(rows->children.all[0], std::move(columns[0]), formatOf(ColumnType::Int64), false);
    for (std::size_t i = 0; i < size(); ++i)
        fill(rows->children.all[i + 1], std::move(columns[i + 1]), formatOf(state->columns[i].type), true);
    fill(*out, std::move(rows), "+s", false);
}

void Columns::exportRows(ArrowArray* out) {
    auto rows = std::make_unique<OwnedArray>(OwnedArray{Children<ArrowArray>(1 + size())});
    std::vector<std::unique_ptr<OwnedArray>> columns;
    while (columns.size() < 1 + size()) columns.push_back(std::make_unique<OwnedArray>(OwnedArray{Children<ArrowArray>(0)}));
    if (state->capacity == 0) state->makeRoom();  // the interface wants offsets even without rows

    // Nothing below throws.
    const std::size_t count = state->rows;
    columns[0]->memory[1] = std::move(state->lines);
    fill(rows->children.all[0], std::move(columns[0]), count, 0, 2);
    for (std::size_t i = 0; i < size(); ++i) {
        ColumnData& column = state->columns[i];
        const bool isText = column.isText();
        const std::size_t absent = count - column.present(count);
        OwnedArray& array = *columns[i + 1];
        array.memory[0] = std::move(column.validity);
        array.memory[1] = std::move(isText ? column.offsets : column.values);
        if (isText) array.memory[2] = std::move(column.values);
        fill(rows->children.all[i + 1], std::move(columns[i + 1]), count, absent, isText ? 3 : 2);
        column.textSize = 0;
    }
    fill(*out, std::move(rows), count, 0, 1);
    state->rows = state->capacity = state->unreadable = state->rowsWithRoom = 0;
}

void arrowStream(const char* path, const RecordKind& kind, std::span<const Field* const> fields, ArrowArrayStream* out,
    const ArrowStreamOptions& options) {
    Columns columns(kind, fields);
    errno = 0;
    File file(path, File::Access::Read);
    if (!file.isOpen()) throw std::system_error(errno != 0 ? errno : EISDIR, std::generic_category(), path);
    const std::size_t rows = std::max<std::size_t>(options.rowsPerBatch, 1);
    std::unique_ptr<FileStream> stream(new FileStream{RecordLines(std::move(file)), std::move(columns), rows, path});
    *out = {&FileStream::getSchema, &FileStream::getNext, &FileStream::getLastError, &FileStream::release, stream.get()};
    (void)stream.release();
}

}  // namespace tramo
