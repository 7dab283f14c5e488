// Tables: the records of a kind, or other rows, as columns for Python.
#include "module.h"
#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <tramostream/linemodel.h>
#include <tramostream/tables.h>

using namespace tramo;

namespace python {

namespace {

constexpr std::size_t rowsPerBatch = 4096;
constexpr std::size_t linesAtOnce = 8192;  // between two looks at signals

// ---- Buffers --------------------------------------------------------------------------------------------------------

// Values of one type in memory of their own, which numpy and memoryview use without a copy.
struct Buffer {
    std::unique_ptr<char[]> memory;
    char format[2];
    Py_ssize_t itemSize, count;

    Buffer(char type, std::size_t size, std::size_t rows)
        : memory(new char[std::max<std::size_t>(size * rows, 1)]), format{type, '\0'}, itemSize(static_cast<Py_ssize_t>(size)),
          count(static_cast<Py_ssize_t>(rows)) {}

    static int get(PyObject* self, Py_buffer* view, int flags) {
        Buffer& buffer = Object<Buffer>::of(self);
        *view = {};
        view->buf = buffer.memory.get();
        view->len = buffer.count * buffer.itemSize;
        view->itemsize = buffer.itemSize;
        view->ndim = 1;
        if (flags & PyBUF_FORMAT) view->format = buffer.format;
        if (flags & PyBUF_ND) view->shape = &buffer.count;
        if ((flags & PyBUF_STRIDES) == PyBUF_STRIDES) view->strides = &buffer.itemSize;
        view->obj = Ref::to(self).release();
        return 0;
    }
    static Py_ssize_t length(PyObject* self) { return Object<Buffer>::of(self).count; }
};

// ---- Columns --------------------------------------------------------------------------------------------------------

const ArrowArray& columnOf(const ArrowArray& batch, std::size_t index) { return *batch.children[index]; }

bool has(const ArrowArray& column, std::size_t row) {
    const auto* const validity = static_cast<const std::uint8_t*>(column.buffers[0]);
    return !validity || (validity[row / 8] >> (row % 8) & 1) != 0;
}

std::size_t rowsOf(const ArrowArray& column) { return static_cast<std::size_t>(column.length); }

template <class T> const T* valuesOf(const ArrowArray& column) { return static_cast<const T*>(column.buffers[1]); }

std::string_view textOf(const ArrowArray& column, std::size_t row) {
    const auto* const offsets = valuesOf<std::int32_t>(column);
    return {
        static_cast<const char*>(column.buffers[2]) + offsets[row], static_cast<std::size_t>(offsets[row + 1] - offsets[row])};
}

// The character that struct and memoryview have for the type, and its size; of bits, those of a byte.
std::pair<char, std::size_t> typeOf(std::string_view format) {
    if (format == "i" || format == "tdD") return {'i', 4};
    if (format == "s") return {'h', 2};
    if (format == "S") return {'H', 2};
    if (format == "g") return {'d', 8};
    if (format == "b") return {'?', 1};
    return {'q', 8};
}

bool isText(const TableColumn& column) { return column.format == "u"; }

// Alarm flags, which people write as four hexadecimal digits.
bool isFlags(const TableColumn& column) { return column.format == "S"; }

struct TableObject {
    Table table;
    std::string name;

    const TableColumn& column(Py_ssize_t index) const {
        if (index < 0 || index >= std::ssize(table.columns)) raise(PyExc_IndexError, "no such column");
        return table.columns[static_cast<std::size_t>(index)];
    }
};

template <class Take> void forEachBatch(const Table& table, std::size_t index, Take take) {
    std::size_t row = 0;
    for (const auto& batch : table.batches) {
        const ArrowArray& column = columnOf(*batch, index);
        if (!column.release) throw std::runtime_error("the column has been converted, and its memory is free");
        take(column, row);
        row += rowsOf(column);
    }
}

void copyBits(const ArrowArray& column, int buffer, bool inverted, char* out) {
    const auto* const bits = static_cast<const std::uint8_t*>(column.buffers[buffer]);
    for (std::size_t row = 0; row < rowsOf(column); ++row)
        out[row] = static_cast<char>((bits[row / 8] >> (row % 8) & 1) != inverted);
}

// values(index): the values of a column of numbers or flags; those of absent rows are 0.
PyObject* values(PyObject* self, PyObject* argument) {
    return guarded([&] {
        const TableObject& object = Object<TableObject>::of(self);
        const TableColumn& column = object.column(PyLong_AsSsize_t(argument));
        if (isText(column)) raise(PyExc_TypeError, column.name + " holds texts");
        const auto [type, size] = typeOf(column.format);
        Ref made = Object<Buffer>::make(type, size, object.table.rows);
        char* const out = Object<Buffer>::of(made.get()).memory.get();
        const auto index = static_cast<std::size_t>(&column - object.table.columns.data());
        const Unlocked unlocked;
        forEachBatch(object.table, index, [&, size = size](const ArrowArray& batch, std::size_t row) {
            if (column.format == "b") copyBits(batch, 1, false, out + row);
            else std::memcpy(out + row * size, batch.buffers[1], rowsOf(batch) * size);
        });
        return made;
    });
}

// absent(index): for each row whether it has no value; None: all rows have one.
PyObject* absent(PyObject* self, PyObject* argument) {
    return guarded([&] {
        const TableObject& object = Object<TableObject>::of(self);
        const TableColumn& column = object.column(PyLong_AsSsize_t(argument));
        const auto index = static_cast<std::size_t>(&column - object.table.columns.data());
        std::int64_t count = 0;
        forEachBatch(object.table, index, [&](const ArrowArray& batch, std::size_t) { count += batch.null_count; });
        if (count == 0) return none();
        Ref made = Object<Buffer>::make('?', 1U, object.table.rows);
        char* const out = Object<Buffer>::of(made.get()).memory.get();
        const Unlocked unlocked;
        forEachBatch(object.table, index, [&](const ArrowArray& batch, std::size_t row) {
            if (batch.null_count > 0) copyBits(batch, 0, true, out + row);
            else std::memset(out + row, 0, rowsOf(batch));
        });
        return made;
    });
}

// times(index, factor): days or seconds since 1970, times a factor, as numpy has them: the lowest number is absent.
PyObject* times(PyObject* self, PyObject* arguments) {
    return guarded([&] {
        Py_ssize_t at = 0;
        long long factor = 1;
        if (!PyArg_ParseTuple(arguments, "nL", &at, &factor)) throw Raised();
        const TableObject& object = Object<TableObject>::of(self);
        const TableColumn& column = object.column(at);
        const bool isDay = column.format == "tdD";
        if (!isDay && column.format != "tss:") raise(PyExc_TypeError, column.name + " holds no times");
        Ref made = Object<Buffer>::make('q', 8U, object.table.rows);
        auto* const out = reinterpret_cast<std::int64_t*>(Object<Buffer>::of(made.get()).memory.get());
        const Unlocked unlocked;
        forEachBatch(object.table, static_cast<std::size_t>(at), [&](const ArrowArray& batch, std::size_t row) {
            for (std::size_t i = 0; i < rowsOf(batch); ++i) {
                const std::int64_t value = isDay ? valuesOf<std::int32_t>(batch)[i] : valuesOf<std::int64_t>(batch)[i];
                out[row + i] = has(batch, i) ? value * factor : std::numeric_limits<std::int64_t>::min();
            }
        });
        return made;
    });
}

// ---- Texts ----------------------------------------------------------------------------------------------------------

// Texts of a column as objects. A text that has been used a little earlier is the same object: most columns have few. In a
// column of many, nothing is remembered.
class Texts {
public:
    Texts() : known(size) {}

    // A new reference.
    PyObject* objectOf(std::string_view utf8) {
        if (isVaried) return text(utf8).release();
        const Key key(utf8);
        Entry& entry = known[key.hash() % size];
        ++used;
        if (!entry.object || !(entry.key == key) || (utf8.size() > Key::size && entry.utf8 != utf8)) {
            entry.object = text(utf8);
            entry.utf8 = utf8;
            entry.key = key;
            isVaried = ++made > 4 * size && 2 * made > used;
        }
        return Ref(entry.object).release();
    }

private:
    static constexpr std::size_t size = 1024;

    // The whole of a short text, the ends of a long one.
    struct Key {
        static constexpr std::size_t size = 16;
        std::uint64_t first = 0, last = 0;
        std::size_t length = 0;

        Key() = default;
        explicit Key(std::string_view text) : length(text.size()) {
            if (length >= 8) {
                std::memcpy(&first, text.data(), 8);
                std::memcpy(&last, text.data() + length - 8, 8);
            } else {
                for (const char c : text) first = first << 8 | static_cast<unsigned char>(c);
            }
        }
        bool operator==(const Key&) const = default;
        std::size_t hash() const {
            return static_cast<std::size_t>((first ^ std::rotl(last, 29) ^ length) * 0x9E3779B97F4A7C15 >> 32);
        }
    };
    struct Entry {
        Ref object{};
        std::string_view utf8{};  // in the batch
        Key key{};
    };

    std::vector<Entry> known;
    std::size_t used = 0, made = 0;
    bool isVaried = false;
};

// The texts of alarm flags, each made once.
class FlagTexts {
public:
    explicit FlagTexts(const TableColumn& column) : field(column.field) {}

    PyObject* objectOf(std::uint16_t flags) {
        Ref& known = all[flags];
        if (!known) {
            const std::wstring wide = field ? tramo::textOf(*field, FieldValue(static_cast<long long>(flags))) : std::wstring();
            known = checked(PyUnicode_FromWideChar(wide.data(), static_cast<Py_ssize_t>(wide.size())));
        }
        return Ref(known).release();
    }

private:
    const Field* field;
    std::map<std::uint16_t, Ref> all{};
};

// Calls take(row, object) with a new reference to each text of a column, or to `absent`.
template <class Take> void forEachText(const TableObject& object, const TableColumn& column, PyObject* absentValue, Take take) {
    const auto index = static_cast<std::size_t>(&column - object.table.columns.data());
    Texts texts;
    FlagTexts flags(column);
    forEachBatch(object.table, index, [&](const ArrowArray& batch, std::size_t first) {
        for (std::size_t row = 0; row < rowsOf(batch); ++row) {
            if (!has(batch, row)) take(first + row, Ref::to(absentValue).release());
            else if (isText(column)) take(first + row, texts.objectOf(textOf(batch, row)));
            else take(first + row, flags.objectOf(valuesOf<std::uint16_t>(batch)[row]));
        }
    });
}

const TableColumn& textColumn(const TableObject& object, Py_ssize_t index) {
    const TableColumn& column = object.column(index);
    if (!isText(column) && !isFlags(column)) raise(PyExc_TypeError, column.name + " holds no texts");
    return column;
}

// fill_texts(index, objects, absent): writes the texts into an array of objects of numpy.
PyObject* fillTexts(PyObject* self, PyObject* arguments) {
    return guarded([&] {
        Py_ssize_t index = 0;
        PyObject *array = nullptr, *absentValue = nullptr;
        if (!PyArg_ParseTuple(arguments, "nOO", &index, &array, &absentValue)) throw Raised();
        const TableObject& object = Object<TableObject>::of(self);
        const TableColumn& column = textColumn(object, index);
        const View view(array, PyBUF_WRITABLE | PyBUF_ND | PyBUF_FORMAT);
        if (!view.holdsObjects() || view.size() != object.table.rows * sizeof(PyObject*))
            raise(PyExc_ValueError, "expected an array with an object for each row");
        auto* const out = reinterpret_cast<PyObject**>(view.data());
        forEachText(
            object, column, absentValue, [&](std::size_t row, PyObject* value) { Py_XDECREF(std::exchange(out[row], value)); });
        return none();
    });
}

// categories(index): the number of each row's text in the list of texts, -1: absent; and the list.
PyObject* categories(PyObject* self, PyObject* argument) {
    return guarded([&] {
        const TableObject& object = Object<TableObject>::of(self);
        const TableColumn& column = textColumn(object, PyLong_AsSsize_t(argument));
        Ref codes = Object<Buffer>::make('i', 4U, object.table.rows), list = checked(PyList_New(0)),
            numbers = checked(PyDict_New());
        auto* const out = reinterpret_cast<std::int32_t*>(Object<Buffer>::of(codes.get()).memory.get());
        PyObject* last = nullptr;
        std::int32_t lastCode = -1;
        forEachText(object, column, Py_None, [&](std::size_t row, PyObject* owned) {
            const Ref value(owned);
            if (value.get() == Py_None) {
                out[row] = -1;
                return;
            }
            if (value.get() != last) {
                PyObject* known = PyDict_GetItemWithError(numbers.get(), value.get());
                if (!known) {
                    if (PyErr_Occurred()) throw Raised();
                    const Ref code = number(PyList_Size(list.get()));
                    append(list, value);
                    checked(PyDict_SetItem(numbers.get(), value.get(), code.get()));
                    known = code.get();
                }
                lastCode = static_cast<std::int32_t>(PyLong_AsLong(known));
                last = value.get();
            }
            out[row] = lastCode;
        });
        return tuple(codes, list);
    });
}

// The value of a row of a column that holds no texts.
Ref valueAt(const TableColumn& column, const ArrowArray& batch, std::size_t row) {
    const std::string& format = column.format;
    if (format == "i") return number(valuesOf<std::int32_t>(batch)[row]);
    if (format == "l") return number(valuesOf<std::int64_t>(batch)[row]);
    if (format == "s") return number(valuesOf<std::int16_t>(batch)[row]);
    if (format == "g") return real(valuesOf<double>(batch)[row]);
    if (format == "b") return boolean((valuesOf<std::uint8_t>(batch)[row / 8] >> (row % 8) & 1) != 0);
    if (format == "tdD") return dayOf(std::chrono::local_days{std::chrono::days{valuesOf<std::int32_t>(batch)[row]}});
    return localTimeOf(valuesOf<std::int64_t>(batch)[row]);
}

// to_list(index): the values of a column; None: absent.
PyObject* toList(PyObject* self, PyObject* argument) {
    return guarded([&] {
        const TableObject& object = Object<TableObject>::of(self);
        const TableColumn& column = object.column(PyLong_AsSsize_t(argument));
        const auto index = static_cast<std::size_t>(&column - object.table.columns.data());
        Ref list = checked(PyList_New(static_cast<Py_ssize_t>(object.table.rows)));
        const auto take = [&](std::size_t row, PyObject* value) {
            checked(PyList_SetItem(list.get(), static_cast<Py_ssize_t>(row), value));
        };
        if (isText(column) || isFlags(column)) {
            forEachText(object, column, Py_None, take);
            return list;
        }
        forEachBatch(object.table, index, [&](const ArrowArray& batch, std::size_t first) {
            for (std::size_t row = 0; row < rowsOf(batch); ++row)
                take(first + row, (has(batch, row) ? valueAt(column, batch, row) : none()).release());
        });
        return list;
    });
}

// columns(): for each column its name and its format of the Arrow C data interface; alarm flags are texts in Python.
PyObject* columns(PyObject* self, PyObject*) {
    return guarded([&] {
        Ref list = checked(PyList_New(0));
        for (const TableColumn& column : Object<TableObject>::of(self).table.columns)
            append(list, tuple(text(column.name), text(column.format)));
        return list;
    });
}

// drop(index): frees the memory of a column that has been converted, unless a stream still refers to it.
PyObject* drop(PyObject* self, PyObject* argument) {
    return guarded([&] {
        TableObject& object = Object<TableObject>::of(self);
        const TableColumn& column = object.column(PyLong_AsSsize_t(argument));
        const auto index = &column - object.table.columns.data();
        for (const auto& batch : object.table.batches)
            if (ArrowArray* const array = batch->children[index]; batch.use_count() == 1 && array->release) array->release(array);
        return none();
    });
}

// ---- Arrow ----------------------------------------------------------------------------------------------------------

template <class Structure> void freeCapsule(PyObject* capsule, const char* name) {
    auto* const structure = static_cast<Structure*>(PyCapsule_GetPointer(capsule, name));
    if (structure->release) structure->release(structure);
    delete structure;
}

Ref capsuleOf(std::unique_ptr<ArrowArrayStream> stream) {
    constexpr static const char* name = "arrow_array_stream";
    PyObject* const capsule =
        PyCapsule_New(stream.get(), name, [](PyObject* self) { freeCapsule<ArrowArrayStream>(self, name); });
    if (!capsule) stream->release(stream.get());
    else (void)stream.release();
    return checked(capsule);
}

Ref schemaCapsule(const Table& table) {
    constexpr static const char* name = "arrow_schema";
    auto schema = std::make_unique<ArrowSchema>();
    shareArrow(table.schema, schema.get());
    PyObject* const capsule = PyCapsule_New(schema.get(), name, [](PyObject* self) { freeCapsule<ArrowSchema>(self, name); });
    if (!capsule) schema->release(schema.get());
    else (void)schema.release();
    return checked(capsule);
}

PyObject* arrowStreamOfTable(PyObject* self, PyObject*) {
    return guarded([&] {
        auto stream = std::make_unique<ArrowArrayStream>();
        exportStream(Object<TableObject>::of(self).table, stream.get());
        return capsuleOf(std::move(stream));
    });
}

PyObject* arrowSchemaOfTable(PyObject* self, PyObject*) {
    return guarded([&] { return schemaCapsule(Object<TableObject>::of(self).table); });
}

Py_ssize_t tableLength(PyObject* self) { return static_cast<Py_ssize_t>(Object<TableObject>::of(self).table.rows); }

// ---- Reading --------------------------------------------------------------------------------------------------------

// Moves the rows of a source into a table.
template <class Source> void flush(Source& source, Table& table) {
    auto batch = makeArrow<ArrowArray>();
    source.exportRows(batch.get());
    table.add(std::move(batch));
}

// The lines of one kind.
struct KindReading {
    Columns columns;
    Table table;

    explicit KindReading(Columns chosen) : columns(std::move(chosen)), table(tableOf(columns, &columns.kind())) {}
    void flush() {
        if (columns.rows() > 0) python::flush(columns, table);
    }
};

class FileReading {
public:
    // `kinds` and `names`: lists of texts, or None for all.
    FileReading(PyObject* kinds, PyObject* names) {
        if (kinds == Py_None) {
            for (const RecordKind* kind : allKinds()) addKind(*kind, names);
        } else {
            for (Py_ssize_t i = 0; i < PyList_Size(kinds); ++i)
                addKind(kindOf(checked(PySequence_GetItem(kinds, i)).get()), names);
        }
        if (names != Py_None)
            for (Py_ssize_t i = 0; i < PyList_Size(names); ++i) expectField(kinds, checked(PySequence_GetItem(names, i)).get());
    }

    // Reads some lines. Returns false after the last one.
    bool readSome(Reader& reader) {
        for (std::size_t count = 0; count < linesAtOnce; ++count) {
            const LineView* const line = reader.next();
            if (!line) return false;
            if (line->kind()) add(*line);
            else if (!malformed.add(*line)) {  // the texts of this batch would be too large
                flushMalformed();
                malformed.add(*line);
            }
        }
        return true;
    }

    // A dictionary of tables by kind.
    Ref result() {
        Ref tables = checked(PyDict_New());
        for (const RecordKind* kind : allKinds()) {
            const auto found = readings.find(kind);
            if (found == readings.end()) continue;
            found->second.flush();
            put(tables, kind->name.c_str(), makeTable(std::move(found->second.table), kind->name));
        }
        flushMalformed();
        return tuple(tables, makeTable(std::move(malformedTable), "malformed lines"));
    }

private:
    void addKind(const RecordKind& kind, PyObject* names) {
        std::vector<const Field*> fields;
        if (names != Py_None) {
            for (Py_ssize_t i = 0; i < PyList_Size(names); ++i)
                if (const Field* field = findField(kind, checked(PySequence_GetItem(names, i)).get())) fields.push_back(field);
            if (fields.empty()) return;
        }
        if (readings.find(&kind) == readings.end()) readings.emplace(&kind, KindReading(Columns(kind, fields)));
    }

    // Throws if none of the kinds has the field; names the closest one of the first kind.
    void expectField(PyObject* kinds, PyObject* name) const {
        for (const auto& [kind, reading] : readings)
            if (findField(*kind, name)) return;
        if (kinds != Py_None && PyList_Size(kinds) > 0) (void)fieldOf(kindOf(PyList_GetItem(kinds, 0)), name);
        else (void)fieldOf(kindOf(text("meter subscriber").get()), name);
    }

    void flushMalformed() { flush(malformed, malformedTable); }

    void add(const LineView& line) {
        const auto found = last != readings.end() && last->first == line.kind() ? last : readings.find(line.kind());
        if (found == readings.end()) return;
        last = found;
        KindReading& reading = found->second;
        if (!reading.columns.add(line)) {  // the texts of this batch would be too large
            reading.flush();
            reading.columns.add(line);
        }
        if (reading.columns.rows() == rowsPerBatch) reading.flush();
    }

    std::map<const RecordKind*, KindReading> readings;
    std::map<const RecordKind*, KindReading>::iterator last = readings.end();
    LineTable malformed{};
    Table malformedTable = tableOf(malformed);
};

// The fields with these names; `names`: a list of texts, or None for all, which an empty list is to the library.
std::vector<const Field*> fieldsOf(const RecordKind& kind, PyObject* names) {
    std::vector<const Field*> fields;
    if (names != Py_None)
        for (Py_ssize_t i = 0; i < PyList_Size(names); ++i) fields.push_back(&fieldOf(kind, PyList_GetItem(names, i)));
    return fields;
}

}  // namespace

Ref makeTable(Table table, std::string name) { return Object<TableObject>::make(TableObject{std::move(table), std::move(name)}); }

PyObject* readTables(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *source = nullptr, *kinds = nullptr, *names = nullptr;
        if (!PyArg_ParseTuple(arguments, "OOO", &source, &kinds, &names)) throw Raised();
        FileReading reading(kinds, names);
        Using reader(readerOf(source));
        for (bool isMore = true; isMore;) {
            onFile(reader->path, [&] {
                const Unlocked unlocked;
                isMore = reading.readSome(*reader->reader);
            });
            checked(PyErr_CheckSignals());
        }
        return reading.result();
    });
}

// scan_stream(path, kind, names, rows, encoding): a capsule of a stream that reads the file; kind None: lines without fields.
PyObject* scanStream(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *path = nullptr, *kindName = nullptr, *names = nullptr, *encoding = nullptr;
        Py_ssize_t rows = 0;
        if (!PyArg_ParseTuple(arguments, "SOOnO", &path, &kindName, &names, &rows, &encoding)) throw Raised();
        const RecordKind* const kind = kindName == Py_None ? nullptr : &kindOf(kindName);
        const std::vector<const Field*> fields = kind ? fieldsOf(*kind, names) : std::vector<const Field*>();
        const ReadOptions options{.encoding = encodingOf(encoding)};
        const ArrowStreamOptions streamOptions{.rowsPerBatch = static_cast<std::size_t>(rows)};
        auto stream = std::make_unique<ArrowArrayStream>();
        const std::string name = PyBytes_AsString(path);
        onFile(name, [&] {
            const Unlocked unlocked;
            Reader reader(std::filesystem::path(name), options);
            if (kind) arrowStream(std::move(reader), *kind, fields, stream.get(), streamOptions);
            else arrowStream(std::move(reader), stream.get(), streamOptions);
        });
        return capsuleOf(std::move(stream));
    });
}

PyObject* scanSchema(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *kindName = nullptr, *names = nullptr;
        if (!PyArg_ParseTuple(arguments, "OO", &kindName, &names)) throw Raised();
        if (kindName == Py_None) return schemaCapsule(tableOf(LineTable()));
        const RecordKind& kind = kindOf(kindName);
        return schemaCapsule(tableOf(Columns(kind, fieldsOf(kind, names))));
    });
}

void addTables(PyObject* module) {
    static PyMethodDef methods[] = {
        {"columns", columns, METH_NOARGS, nullptr},
        {"values", values, METH_O, nullptr},
        {"absent", absent, METH_O, nullptr},
        {"times", times, METH_VARARGS, nullptr},
        {"fill_texts", fillTexts, METH_VARARGS, nullptr},
        {"categories", categories, METH_O, nullptr},
        {"to_list", toList, METH_O, nullptr},
        {"drop", drop, METH_O, nullptr},
        {"arrow_stream", arrowStreamOfTable, METH_NOARGS, nullptr},
        {"arrow_schema", arrowSchemaOfTable, METH_NOARGS, nullptr},
        {nullptr, nullptr, 0, nullptr},
    };
    addType<TableObject>(module, "tramostream._core.Table",
        {noConstructor, {Py_tp_methods, methods}, {Py_sq_length, reinterpret_cast<void*>(&tableLength)}});
    addType<Buffer>(module, "tramostream._core.Buffer",
        {noConstructor, {Py_bf_getbuffer, reinterpret_cast<void*>(&Buffer::get)},
            {Py_sq_length, reinterpret_cast<void*>(&Buffer::length)}});
}

}  // namespace python
