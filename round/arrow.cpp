// Columns as the structures of the Arrow C data interface, and a file as a stream of them.
#include "round/arrowrows.h"
#include "round/columndata.h"
#include "round/recordlines.h"
#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

namespace tramo {

namespace {

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
    std::vector<ColumnShape> shapes{{lineColumn, ColumnType::Int64, false}};
    for (const ColumnData& column : state->columns) shapes.push_back({column.field->name, column.type});
    exportShapes(shapes, out);
}

void Columns::exportRows(ArrowArray* out) {
    if (state->capacity == 0) state->makeRoom();  // the interface wants offsets even without rows
    exportMemory(1 + size(), state->rows, out, [&](std::size_t index) noexcept {
        if (index == 0) return ColumnMemory{.values = std::move(state->lines)};
        return takeMemory(state->columns[index - 1], state->rows);
    });
    state->forget();
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
