// Writing files for Python.
#include "module.h"

using namespace tramo;

namespace python {

namespace {

struct WriterObject {
    std::string path;
    Encoding encoding;
    std::optional<Writer> writer{};  // none: closed
    bool isInUse = false;

    Writer& use() {
        if (isInUse) raise(PyExc_RuntimeError, "another thread is using this writer");
        if (!writer) raise(PyExc_ValueError, "the writer is closed");
        return *writer;
    }
};

// put(line): writes a line as it stands.
PyObject* putLine(PyObject* self, PyObject* argument) {
    return guarded([&] {
        WriterObject& object = Object<WriterObject>::of(self);
        Writer& writer = object.use();
        const Line& line = lineOf(argument);
        onFile(object.path, [&] { writer.put(line); });
        return none();
    });
}

// commit(): makes the file appear.
PyObject* commit(PyObject* self, PyObject*) {
    return guarded([&] {
        WriterObject& object = Object<WriterObject>::of(self);
        Writer& writer = object.use();
        object.isInUse = true;
        try {
            onFile(object.path, [&] {
                const Unlocked unlocked;
                writer.commit();
            });
        } catch (...) {
            object.isInUse = false;
            throw;
        }
        object.isInUse = false;
        object.writer.reset();
        return none();
    });
}

// abandon(): leaves everything as it was.
PyObject* abandon(PyObject* self, PyObject*) {
    return guarded([&] {
        WriterObject& object = Object<WriterObject>::of(self);
        if (object.isInUse) raise(PyExc_RuntimeError, "another thread is using this writer");
        object.writer.reset();
        return none();
    });
}

}  // namespace

// open_writer(path, encoding, private)
PyObject* openWriter(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *path = nullptr, *encodingName = nullptr;
        int isPrivate = 0;
        if (!PyArg_ParseTuple(arguments, "SOp", &path, &encodingName, &isPrivate)) throw Raised();
        const Encoding encoding = encodingOf(encodingName).value_or(Encoding::Ansi);
        const std::string name(PyBytes_AsString(path), static_cast<std::size_t>(PyBytes_Size(path)));
        return onFile(name, [&] {
            return Object<WriterObject>::make(WriterObject{name, encoding, Writer(name, encoding, isPrivate != 0)});
        });
    });
}

void addWriter(PyObject* module) {
    static PyMethodDef methods[] = {
        {"put", putLine, METH_O, nullptr},
        {"commit", commit, METH_NOARGS, nullptr},
        {"abandon", abandon, METH_NOARGS, nullptr},
        {nullptr, nullptr, 0, nullptr},
    };
    addType<WriterObject>(module, "tramostream._core.Writer", {noConstructor, {Py_tp_methods, methods}});
}

}  // namespace python
