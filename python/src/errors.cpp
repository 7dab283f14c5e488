// Exceptions of C++ as exceptions of Python.
#include "module.h"

namespace python {

Errors errors;

namespace {

// The class that Python has for the errno, with the path: FileNotFoundError, PermissionError, ...
void setSystemError(const std::error_code& code, const std::string& path) {
    const Ref name =
        path.empty() ? none() : checked(PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<Py_ssize_t>(path.size())));
    const Ref arguments = tuple(number(code.value()), text(code.message()), name);
    const Ref failure = checked(PyObject_CallObject(PyExc_OSError, arguments.get()));
    // Python 3.9 and 3.10 would catch it as an OSError only if they made the object.
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(failure.get())), failure.get());
}

void setCurrent() {
    try {
        throw;
    } catch (const Raised&) {
    } catch (const std::bad_alloc&) { PyErr_NoMemory(); } catch (const FileError& failure) {
        setSystemError(failure.code, failure.path);
    } catch (const std::system_error& failure) {
        if (failure.code() == std::errc::illegal_byte_sequence) PyErr_SetString(errors.encoding.get(), failure.what());
        else setSystemError(failure.code(), "");
    } catch (const std::invalid_argument& failure) {
        PyErr_SetString(errors.unknownName.get(), sentenceOf(failure));
    } catch (const std::exception& failure) { PyErr_SetString(PyExc_RuntimeError, failure.what()); }
}

}  // namespace

const char* sentenceOf(const std::invalid_argument& failure) {
    constexpr std::string_view prefix = "tramo: ";
    const char* const words = failure.what();
    return std::string_view(words).starts_with(prefix) ? words + prefix.size() : words;
}

void setException() noexcept {
    try {
        setCurrent();
    } catch (const Raised&) {
    } catch (...) { PyErr_NoMemory(); }
}

void raiseFieldError(std::int64_t line, std::string_view field, const tramo::SetResult& why) {
    const Ref arguments = tuple(number(line), text(field), text(why.reason));
    PyErr_SetObject(errors.field.get(), arguments.get());
    throw Raised();
}

}  // namespace python
