// Tables in the Arrow C data interface: batches are handed on without copying them, as often as anyone wants them.
#include "module.h"
#include <cerrno>
#include <cstring>
#include <utility>

namespace python {

namespace {

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

// ---- Schema ---------------------------------------------------------------------------------------------------------

struct OwnedSchema {
    std::string name, format;
    Children<ArrowSchema> children;
};

void fill(ArrowSchema& out, std::unique_ptr<OwnedSchema> owned, bool isNullable) noexcept {
    out = {};
    out.format = owned->format.c_str();
    out.name = owned->name.c_str();
    out.flags = isNullable ? ARROW_FLAG_NULLABLE : 0;
    out.n_children = std::ssize(owned->children.all);
    out.children = owned->children.pointers.data();
    out.release = &release<ArrowSchema, OwnedSchema>;
    out.private_data = owned.release();
}

// ---- Rows -----------------------------------------------------------------------------------------------------------

// Keeps the batch, whose buffers it refers to.
struct SharedArray {
    std::shared_ptr<Batch> batch;
    Children<ArrowArray> children;
};

void fill(ArrowArray& out, const ArrowArray& of, std::unique_ptr<SharedArray> shared) noexcept {
    out = of;
    out.n_children = std::ssize(shared->children.all);
    out.children = shared->children.pointers.data();
    out.release = &release<ArrowArray, SharedArray>;
    out.private_data = shared.release();
}

void share(const std::shared_ptr<Batch>& batch, ArrowArray* out) {
    const auto count = static_cast<std::size_t>(batch->rows.n_children);
    auto rows = std::make_unique<SharedArray>(SharedArray{batch, Children<ArrowArray>(count)});
    std::vector<std::unique_ptr<SharedArray>> columns;
    while (columns.size() < count) columns.push_back(std::make_unique<SharedArray>(SharedArray{batch, Children<ArrowArray>(0)}));

    // Nothing below throws.
    for (std::size_t i = 0; i < count; ++i) fill(rows->children.all[i], *batch->rows.children[i], std::move(columns[i]));
    fill(*out, batch->rows, std::move(rows));
}

// ---- Stream ---------------------------------------------------------------------------------------------------------

struct TableStream {
    std::vector<TableColumn> columns;
    std::vector<std::shared_ptr<Batch>> batches;
    std::size_t next = 0;

    static TableStream& of(ArrowArrayStream* stream) { return *static_cast<TableStream*>(stream->private_data); }

    // Callers of C cannot catch exceptions.
    static int guarded(auto action) noexcept {
        try {
            action();
            return 0;
        } catch (...) { return ENOMEM; }
    }
    static int getSchema(ArrowArrayStream* stream, ArrowSchema* out) {
        return guarded([&] { exportSchema(of(stream).columns, out); });
    }
    static int getNext(ArrowArrayStream* stream, ArrowArray* out) {
        return guarded([&] {
            TableStream& self = of(stream);
            if (self.next == self.batches.size()) {
                *out = {};  // released: the end of the stream
                return;
            }
            share(self.batches[self.next], out);
            self.batches[self.next++].reset();
        });
    }
    static const char* getLastError(ArrowArrayStream*) { return nullptr; }
    static void release(ArrowArrayStream* stream) {
        delete static_cast<TableStream*>(stream->private_data);
        stream->release = nullptr;
    }
};

// ---- Stream of a file -----------------------------------------------------------------------------------------------

// Reads a file while it is consumed, without Python. Errors are kept in words for get_last_error.
struct FileStream {
    tramo::Reader reader;
    tramo::Columns columns;
    std::size_t rowsPerBatch;
    std::string error{};
    const tramo::LineView* waiting = nullptr;  // has been read, but its text did not fit into the last batch

    static FileStream& of(ArrowArrayStream* stream) { return *static_cast<FileStream*>(stream->private_data); }

    void nextBatch(ArrowArray* out) {
        while (columns.rows() < rowsPerBatch) {
            const tramo::LineView* const line = waiting ? std::exchange(waiting, nullptr) : reader.next();
            if (!line) break;
            if (line->kind() == &columns.kind() && !columns.add(*line)) {
                waiting = line;
                break;
            }
        }
        if (columns.rows() > 0) columns.exportRows(out);
        else *out = {};  // released: the end of the stream
    }

    // Returns 0 or an errno: callers of C cannot catch exceptions.
    int guarded(auto action) noexcept {
        try {
            action();
            return 0;
        } catch (const std::system_error& failure) {
            setError(failure.what());
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
        return of(stream).guarded([&] { of(stream).columns.exportSchema(out); });
    }
    static int getNext(ArrowArrayStream* stream, ArrowArray* out) {
        return of(stream).guarded([&] { of(stream).nextBatch(out); });
    }
    static const char* getLastError(ArrowArrayStream* stream) {
        return of(stream).error.empty() ? nullptr : of(stream).error.c_str();
    }
    static void release(ArrowArrayStream* stream) {
        delete static_cast<FileStream*>(stream->private_data);
        stream->release = nullptr;
    }
};

}  // namespace

void exportSchema(const std::vector<TableColumn>& columns, ArrowSchema* out) {
    auto rows = std::make_unique<OwnedSchema>(OwnedSchema{"", "+s", Children<ArrowSchema>(columns.size())});
    std::vector<std::unique_ptr<OwnedSchema>> children;
    for (const TableColumn& column : columns)
        children.push_back(std::make_unique<OwnedSchema>(OwnedSchema{column.name, column.format, Children<ArrowSchema>(0)}));

    // Nothing below throws.
    for (std::size_t i = 0; i < columns.size(); ++i) fill(rows->children.all[i], std::move(children[i]), columns[i].isNullable);
    fill(*out, std::move(rows), false);
}

void exportStream(const Table& table, ArrowArrayStream* out) {
    auto stream = std::make_unique<TableStream>(TableStream{table.columns, table.batches});
    *out = {&TableStream::getSchema, &TableStream::getNext, &TableStream::getLastError, &TableStream::release, nullptr};
    out->private_data = stream.release();
}

void exportStream(tramo::Reader reader, tramo::Columns columns, std::size_t rowsPerBatch, ArrowArrayStream* out) {
    auto stream = std::make_unique<FileStream>(FileStream{std::move(reader), std::move(columns), rowsPerBatch});
    *out = {&FileStream::getSchema, &FileStream::getNext, &FileStream::getLastError, &FileStream::release, nullptr};
    out->private_data = stream.release();
}

Table::Table(const ArrowSchema& schema, const tramo::RecordKind* kind) {
    for (std::int64_t i = 0; i < schema.n_children; ++i) {
        const ArrowSchema& column = *schema.children[i];
        columns.push_back(
            {column.name, column.format, (column.flags & ARROW_FLAG_NULLABLE) != 0, kind ? kind->field(column.name) : nullptr});
    }
}

void Table::add(std::shared_ptr<Batch> batch) {
    rows += static_cast<std::size_t>(batch->rows.length);
    batches.push_back(std::move(batch));
}

}  // namespace python
