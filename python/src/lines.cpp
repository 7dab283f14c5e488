// Readers and lines for Python.
#include "module.h"
#include <algorithm>
#include <cstring>

using namespace tramo;

namespace python {

namespace {

constexpr std::size_t linesAtOnce = 256;  // between two times of taking the global lock

const char* textOf(LineEnding ending) {
    switch (ending) {
    case LineEnding::CrLf: return "\r\n";
    case LineEnding::Lf: return "\n";
    case LineEnding::Cr: return "\r";
    case LineEnding::None: break;
    }
    return "";
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

// The attributes of a line that are not fields.
struct LineAttribute {
    const char* name;
    Ref (*get)(const Line& line);
};

const LineAttribute lineAttributes[] = {
    {"bytes", [](const Line& line) { return bytes(line.bytes()); }},
    {"encoding", [](const Line& line) { return text(nameOf(line.encoding())); }},
    {"ending", [](const Line& line) { return text(textOf(line.ending())); }},
    {"fault", [](const Line& line) { return line.fault() == LineFault::None ? none() : text(describe(line.fault())); }},
    {"kind", [](const Line& line) { return line.kind() ? text(line.kind()->name) : none(); }},
    {"number", [](const Line& line) { return number(line.number()); }},
    {"offset", [](const Line& line) { return number(static_cast<long long>(line.offset())); }},
    {"text", [](const Line& line) { return text(line.utf8()); }},
};

// The field with this name; of a line without a kind, none.
const Field* fieldIn(const Line& line, PyObject* name) {
    if (!line.kind()) raise(PyExc_AttributeError, "the line has no fields: " + std::string(describe(line.fault())));
    return findField(*line.kind(), name);
}

// Raises an AttributeError that names the closest field, unless the kind has this one.
void expectAttribute(const RecordKind& kind, PyObject* name) {
    try {
        (void)fieldOf(kind, name);
    } catch (const std::invalid_argument& unknown) { raise(PyExc_AttributeError, sentenceOf(unknown)); }
}

PyObject* getAttribute(PyObject* self, PyObject* name) {
    return guarded([&] {
        const Line& line = Object<Line>::of(self);
        const std::string word = utf8(name);
        for (const LineAttribute& attribute : lineAttributes)
            if (word == attribute.name) return attribute.get(line);
        if (line.kind())
            if (const Field* field = line.kind()->field(word)) return valueOf(line, *field);
        PyObject* const attribute = PyObject_GenericGetAttr(self, name);
        if (!attribute && line.kind() && !word.starts_with('_') && PyErr_ExceptionMatches(PyExc_AttributeError)) {
            PyErr_Clear();
            expectAttribute(*line.kind(), name);
        }
        return checked(attribute);
    });
}

PyObject* getItem(PyObject* self, PyObject* name) {
    return guarded([&] {
        const Line& line = Object<Line>::of(self);
        if (!line.kind()) throw std::invalid_argument("the line has no fields: " + std::string(describe(line.fault())));
        return valueOf(line, fieldOf(*line.kind(), name));
    });
}

int setValue(PyObject* self, PyObject* name, PyObject* value) {
    const Ref done(guarded([&] {
        Line& line = Object<Line>::of(self);
        if (!value) raise(PyExc_TypeError, "fields cannot be deleted; None makes a field blank");
        if (!line.kind()) throw std::invalid_argument("the line has no fields: " + std::string(describe(line.fault())));
        const Field& field = fieldOf(*line.kind(), name);
        if (const SetResult result = setField(line, field, value); !result) raiseFieldError(line.number(), field.name, result);
        return none();
    }));
    return done ? 0 : -1;
}

int setAttribute(PyObject* self, PyObject* name, PyObject* value) {
    const Ref done(guarded([&] {
        const std::string word = utf8(name);
        for (const LineAttribute& attribute : lineAttributes)
            if (word == attribute.name) raise(PyExc_AttributeError, word + " cannot be set");
        if (const Line& line = Object<Line>::of(self); line.kind()) expectAttribute(*line.kind(), name);
        return none();
    }));
    return done ? setValue(self, name, value) : -1;
}

PyObject* rawOf(PyObject* self, PyObject* name) {
    return guarded([&] {
        const Line& line = Object<Line>::of(self);
        const Field* field = fieldIn(line, name);
        if (!field) (void)fieldOf(*line.kind(), name);
        return text(line.raw(*field));
    });
}

// The values of all fields in the line, by name.
PyObject* asDictionary(PyObject* self, PyObject*) {
    return guarded([&] {
        const Line& line = Object<Line>::of(self);
        Ref values = checked(PyDict_New());
        if (line.kind())
            for (const Field& field : line.kind()->fields)
                if (field.column > 0) put(values, field.name.c_str(), valueOf(line, field));
        return values;
    });
}

PyObject* findingsOfLine(PyObject* self, PyObject*) {
    return guarded([&] { return findingsOf(Object<Line>::of(self).findings()); });
}

PyObject* copyLine(PyObject* self, PyObject*) {
    return guarded([&] { return Object<Line>::make(Object<Line>::of(self)); });
}

PyObject* namesOf(PyObject* self, PyObject*) {
    return guarded([&] {
        const Line& line = Object<Line>::of(self);
        Ref names = checked(PyObject_Dir(reinterpret_cast<PyObject*>(Py_TYPE(self))));
        for (const LineAttribute& attribute : lineAttributes) append(names, text(attribute.name));
        if (line.kind())
            for (const Field& field : line.kind()->fields)
                if (field.column > 0) append(names, text(field.name));
        return names;
    });
}

// Without the text, which may hold keys.
PyObject* represent(PyObject* self) {
    return guarded([&] {
        const Line& line = Object<Line>::of(self);
        std::string words = "<tramostream.Line";
        if (line.number() > 0) words += ' ' + std::to_string(line.number());
        words += ": " + (line.kind() ? line.kind()->name : std::string(describe(line.fault())));
        return text(words + '>');
    });
}

PyObject* isEqual(PyObject* self, PyObject* other, int operation) {
    return guarded([&] {
        if (!Object<Line>::is(other) || (operation != Py_EQ && operation != Py_NE)) return Ref::to(Py_NotImplemented);
        const Line &left = Object<Line>::of(self), &right = Object<Line>::of(other);
        const bool isSame = left.encoding() == right.encoding() && left.bytes() == right.bytes();
        return boolean(isSame == (operation == Py_EQ));
    });
}

// ---- Readers --------------------------------------------------------------------------------------------------------

PyObject* nextLine(PyObject* self) {
    return guarded([&]() -> Ref {
        Using reader(Object<ReaderObject>::of(self));
        if (reader->waiting.empty()) {
            checked(PyErr_CheckSignals());
            onFile(reader->path, [&] {
                const Unlocked unlocked;
                while (reader->waiting.size() < linesAtOnce) {
                    const LineView* const line = reader->reader->next();
                    if (!line) break;
                    reader->waiting.emplace_back(*line);
                }
            });
            std::ranges::reverse(reader->waiting);
        }
        if (reader->waiting.empty()) return Ref();  // without an exception: the end
        Ref line = Object<Line>::make(std::move(reader->waiting.back()));
        reader->waiting.pop_back();
        return line;
    });
}

PyObject* encodingOfReader(PyObject* self, void*) {
    return guarded([&] { return text(nameOf(Object<ReaderObject>::of(self).reader->encoding())); });
}

PyObject* itself(PyObject* self) { return Ref::to(self).release(); }

}  // namespace

Using::Using(ReaderObject& of) : used(of) {
    if (of.isInUse) raise(PyExc_RuntimeError, "another thread is using this reader");
    used.isInUse = true;
}

ReaderObject& readerOf(PyObject* object) {
    if (!Object<ReaderObject>::is(object)) raise(PyExc_TypeError, "expected a reader");
    return Object<ReaderObject>::of(object);
}

Line& lineOf(PyObject* object) {
    if (!Object<Line>::is(object)) raise(PyExc_TypeError, "expected a line");
    return Object<Line>::of(object);
}

bool isLine(PyObject* object) { return Object<Line>::is(object); }

Ref makeLine(const LineView& line) { return Object<Line>::make(line); }

// open_reader(path, data, encoding, diagnose): the path as bytes, or an object with the buffer protocol.
PyObject* openReader(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *path = nullptr, *data = nullptr, *encoding = nullptr;
        int diagnose = 0;
        if (!PyArg_ParseTuple(arguments, "OOOp", &path, &data, &encoding, &diagnose)) throw Raised();
        const ReadOptions options{.encoding = encodingOf(encoding), .diagnose = diagnose != 0};
        if (data != Py_None) {
            auto view = std::make_unique<View>(data);
            const std::string_view content = view->content();
            return Object<ReaderObject>::make(ReaderObject{"", std::move(view), Reader::ofBytes(content, options)});
        }
        char* characters = nullptr;
        Py_ssize_t size = 0;
        checked(PyBytes_AsStringAndSize(path, &characters, &size));
        const std::string name(characters, static_cast<std::size_t>(size));
        return onFile(name, [&] {
            std::optional<Reader> reader;
            {
                const Unlocked unlocked;
                reader.emplace(std::filesystem::path(name), options);
            }
            return Object<ReaderObject>::make(ReaderObject{name, nullptr, std::move(reader)});
        });
    });
}

// split_file(path, bytes_per_part, encoding): the encoding, and offset, size and number of the first line of each part.
PyObject* splitFile(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *path = nullptr, *encoding = nullptr;
        long long bytesPerPart = 0;
        if (!PyArg_ParseTuple(arguments, "SLO", &path, &bytesPerPart, &encoding)) throw Raised();
        if (bytesPerPart < 1) raise(PyExc_ValueError, "a part has at least one byte");
        const std::string name(PyBytes_AsString(path), static_cast<std::size_t>(PyBytes_Size(path)));
        const ReadOptions options{.encoding = encodingOf(encoding)};
        const FileParts file = onFile(name, [&] {
            const Unlocked unlocked;
            return tramo::splitFile(name, static_cast<std::uint64_t>(bytesPerPart), options);
        });
        Ref parts = checked(PyList_New(0));
        for (const FilePart& part : file.parts)
            append(parts, tuple(number(static_cast<long long>(part.offset)), number(static_cast<long long>(part.size)),
                              number(part.firstLine)));
        return tuple(text(nameOf(file.encoding)), parts);
    });
}

// new_line(kind, encoding): a blank line.
PyObject* newLine(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *kind = nullptr, *encoding = nullptr;
        if (!PyArg_ParseTuple(arguments, "OO", &kind, &encoding)) throw Raised();
        return Object<Line>::make(Line(kindOf(kind), encodingOf(encoding).value_or(Encoding::Ansi)));
    });
}

void addLines(PyObject* module) {
    static PyMethodDef lineMethods[] = {
        {"raw", rawOf, METH_O, "raw($self, name, /)\n--\n\nThe columns of a field as they stand."},
        {"to_dict", asDictionary, METH_NOARGS, "to_dict($self, /)\n--\n\nThe values of all fields by name; None: absent."},
        {"findings", findingsOfLine, METH_NOARGS,
            "findings($self, /)\n--\n\nWhat is wrong with this line alone, in the order of columns."},
        {"copy", copyLine, METH_NOARGS, "copy($self, /)\n--\n\nA line that can be changed independently."},
        {"__copy__", copyLine, METH_NOARGS, nullptr},
        {"__deepcopy__", copyLine, METH_O, nullptr},
        {"__dir__", namesOf, METH_NOARGS, nullptr},
        {nullptr, nullptr, 0, nullptr},
    };
    static PyGetSetDef readerAttributes[] = {
        {"encoding", encodingOfReader, nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr, nullptr, nullptr}};
    addType<Line>(module, "tramostream.Line",
        {noConstructor, {Py_tp_methods, lineMethods}, {Py_tp_getattro, reinterpret_cast<void*>(&getAttribute)},
            {Py_tp_setattro, reinterpret_cast<void*>(&setAttribute)}, {Py_mp_subscript, reinterpret_cast<void*>(&getItem)},
            {Py_mp_ass_subscript, reinterpret_cast<void*>(&setValue)}, {Py_tp_repr, reinterpret_cast<void*>(&represent)},
            {Py_tp_richcompare, reinterpret_cast<void*>(&isEqual)},
            {Py_tp_hash, reinterpret_cast<void*>(&PyObject_HashNotImplemented)},
            {Py_tp_doc, const_cast<char*>("A line of a file: fields are attributes; None: absent.")}});
    addType<ReaderObject>(module, "tramostream._core.Reader",
        {noConstructor, {Py_tp_getset, readerAttributes}, {Py_tp_iter, reinterpret_cast<void*>(&itself)},
            {Py_tp_iternext, reinterpret_cast<void*>(&nextLine)}});
}

}  // namespace python
