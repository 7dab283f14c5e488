// Columns as the structures of the Arrow C data interface, and files as streams of them.
#include "common/nativepath.h"
#include "round/arrowrows.h"
#include "round/columndata.h"
#include "round/linebatches.h"
#include "tramostream/tables.h"
#include <cerrno>
#include <new>
#include <string>
#include <system_error>

namespace tramo {

namespace {

constexpr const char* lineColumn = "line";

// Errors are kept in words for get_last_error.
struct BatchStream {
    std::unique_ptr<ArrowBatches> batches;
    std::string error{};

    static BatchStream& of(ArrowArrayStream* stream) { return *static_cast<BatchStream*>(stream->private_data); }

    // Returns 0 or an errno, because callers of C cannot catch exceptions.
    int guarded(auto action) noexcept {
        error.clear();
        try {
            action();
            return 0;
        } catch (const std::bad_alloc&) { return ENOMEM; } catch (const std::system_error& failure) {
            setError(failure.what());
            return failure.code().value() != 0 ? failure.code().value() : EIO;
        } catch (const std::exception& failure) {
            setError(failure.what());
            return EIO;
        } catch (...) { return EIO; }
    }

    // Without memory for the words, there are none.
    void setError(const char* words) noexcept {
        try {
            error = words;
        } catch (const std::bad_alloc&) { error.clear(); }
    }
    static int getSchema(ArrowArrayStream* stream, ArrowSchema* out) {
        return of(stream).guarded([&] { of(stream).batches->exportSchema(out); });
    }
    static int getNext(ArrowArrayStream* stream, ArrowArray* out) {
        return of(stream).guarded([&] {
            if (!of(stream).batches->exportRows(out)) *out = {};  // released: the end of the stream
        });
    }
    static const char* getLastError(ArrowArrayStream* stream) {
        return of(stream).error.empty() ? nullptr : of(stream).error.c_str();
    }
    static void release(ArrowArrayStream* stream) {
        delete &of(stream);
        stream->release = nullptr;
    }
};

// Makes `out` a stream of the lines of a reader that are in a table.
template <class Table, class IsWanted>
void streamLines(Reader reader, Table table, IsWanted isWanted, ArrowArrayStream* out, const ArrowStreamOptions& options) {
    arrowStream(
        std::make_unique<LineBatches<Table, IsWanted>>(std::move(reader), std::move(table), std::move(isWanted), options), out);
}

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

ArrowBatches::~ArrowBatches() = default;

void arrowStream(std::unique_ptr<ArrowBatches> batches, ArrowArrayStream* out) {
    auto stream = std::make_unique<BatchStream>(BatchStream{std::move(batches)});
    *out = {&BatchStream::getSchema, &BatchStream::getNext, &BatchStream::getLastError, &BatchStream::release, nullptr};
    out->private_data = stream.release();
}

void arrowStream(Reader reader, const RecordKind& kind, std::span<const Field* const> fields, ArrowArrayStream* out,
    const ArrowStreamOptions& options) {
    streamLines(
        std::move(reader), Columns(kind, fields), [&kind](const LineView& line) { return line.kind() == &kind; }, out, options);
}

void arrowStream(const char* path, const RecordKind& kind, std::span<const Field* const> fields, ArrowArrayStream* out,
    const ArrowStreamOptions& options) {
    arrowStream(Reader(nativePath(path)), kind, fields, out, options);
}

void arrowStream(Reader reader, ArrowArrayStream* out, const ArrowStreamOptions& options) {
    streamLines(
        std::move(reader), LineTable(), [](const LineView& line) { return !line.kind(); }, out, options);
}

void shareArrow(const std::shared_ptr<const ArrowSchema>& schema, ArrowSchema* out) { share(schema, out); }
void shareArrow(const std::shared_ptr<const ArrowArray>& rows, ArrowArray* out) { share(rows, out); }

}  // namespace tramo
