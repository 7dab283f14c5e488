// The extension module tramostream._core.
#include "module.h"
#include <tramostream/c.h>
#include <tramostream/messages.h>

namespace python {

namespace {

// set_errors(field, unknown_name, encoding): the exceptions of the package.
PyObject* setErrors(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *field = nullptr, *unknownName = nullptr, *encoding = nullptr;
        if (!PyArg_ParseTuple(arguments, "OOO", &field, &unknownName, &encoding)) throw Raised();
        errors = {Ref::to(field), Ref::to(unknownName), Ref::to(encoding)};
        return none();
    });
}

PyObject* version(PyObject*, PyObject*) {
    return guarded([] { return text(tramo_version()); });
}

PyMethodDef functions[] = {
    {"check_file", checkFile, METH_VARARGS, nullptr},
    {"describe_format", describeFormat, METH_NOARGS, nullptr},
    {"kind_name", kindName, METH_O, nullptr},
    {"new_line", newLine, METH_VARARGS, nullptr},
    {"open_reader", openReader, METH_VARARGS, nullptr},
    {"open_writer", openWriter, METH_VARARGS, nullptr},
    {"read_rounds", readRounds, METH_O, nullptr},
    {"read_tables", readTables, METH_VARARGS, nullptr},
    {"scan_schema", scanSchema, METH_VARARGS, nullptr},
    {"scan_stream", scanStream, METH_VARARGS, nullptr},
    {"set_errors", setErrors, METH_VARARGS, nullptr},
    {"split_file", splitFile, METH_VARARGS, nullptr},
    {"version", version, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef definition = {PyModuleDef_HEAD_INIT, "tramostream._core", "The library behind tramostream. Use tramostream instead.",
    -1, functions, nullptr, nullptr, nullptr, nullptr};

}  // namespace

}  // namespace python

PyMODINIT_FUNC PyInit__core() {
    using namespace python;
    return guarded([] {
        tramo::setMessages(tramo::Messages::Silent);  // a module prints nothing
        Ref module = checked(PyModule_Create(&definition));
        addLines(module.get());
        addTables(module.get());
        addWriter(module.get());
        addRounds(module.get());
        return module;
    });
}
