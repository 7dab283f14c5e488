// Python's C interface as far as it is the same in all versions from 3.9 on (the stable ABI), and what makes it safe in C++:
// references that free themselves, exceptions in both directions, the global lock.
#pragma once
#define PY_SSIZE_T_CLEAN
#define Py_LIMITED_API 0x03090000
#include <Python.h>
#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

// The buffer protocol became part of the stable ABI in 3.11. Python 3.9 and 3.10 have the same structure, slots and functions;
// their headers only hide them.
#if Py_LIMITED_API < 0x030B0000
extern "C" {
typedef struct {
    void* buf;
    PyObject* obj;
    Py_ssize_t len, itemsize;
    int readonly, ndim;
    char* format;
    Py_ssize_t *shape, *strides, *suboffsets;
    void* internal;
} Py_buffer;
int PyObject_GetBuffer(PyObject* object, Py_buffer* view, int flags);
void PyBuffer_Release(Py_buffer* view);
}
#define Py_bf_getbuffer 1
#define Py_bf_releasebuffer 2
#define PyBUF_SIMPLE 0
#define PyBUF_WRITABLE 0x0001
#define PyBUF_FORMAT 0x0004
#define PyBUF_ND 0x0008
#define PyBUF_STRIDES (0x0010 | PyBUF_ND)
#endif

namespace python {

// A Python exception has been set.
struct Raised : std::exception {};

// An owned reference.
class Ref {
public:
    Ref() = default;
    explicit Ref(PyObject* owned) : object(owned) {}
    static Ref to(PyObject* borrowed) {
        Py_XINCREF(borrowed);
        return Ref(borrowed);
    }
    Ref(const Ref& other) : object(other.object) { Py_XINCREF(object); }
    Ref(Ref&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(object, other.object);
        return *this;
    }
    ~Ref() { Py_XDECREF(object); }

    PyObject* get() const { return object; }
    PyObject* release() { return std::exchange(object, nullptr); }
    explicit operator bool() const { return object != nullptr; }

private:
    PyObject* object = nullptr;
};

// A new reference, or the exception that a function of Python has set.
inline Ref checked(PyObject* owned) {
    if (!owned) throw Raised();
    return Ref(owned);
}
inline void checked(int result) {
    if (result < 0) throw Raised();
}

[[noreturn]] inline void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    throw Raised();
}

// Other threads of Python run while this exists.
class Unlocked {
public:
    Unlocked() : state(PyEval_SaveThread()) {}
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;
    ~Unlocked() { PyEval_RestoreThread(state); }

    // Throws if a signal has come whose handler raises an exception: KeyboardInterrupt.
    void checkSignals() {
        PyEval_RestoreThread(state);
        const int result = PyErr_CheckSignals();
        state = PyEval_SaveThread();
        checked(result);
    }

private:
    PyThreadState* state;
};

// Turns the exception that is being handled into one of Python. Defined in errors.cpp.
void setException() noexcept;

// Calls a function for Python: returns what it returns as a new reference, or nullptr with an exception set.
template <class Call> PyObject* guarded(Call call) noexcept {
    try {
        return Ref(call()).release();
    } catch (...) { setException(); }
    return nullptr;
}

inline Ref none() { return Ref::to(Py_None); }
inline Ref text(std::string_view utf8) {
    return checked(PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "replace"));
}
inline Ref bytes(std::string_view content) {
    return checked(PyBytes_FromStringAndSize(content.data(), static_cast<Py_ssize_t>(content.size())));
}
inline Ref number(long long value) { return checked(PyLong_FromLongLong(value)); }
inline Ref real(double value) { return checked(PyFloat_FromDouble(value)); }
inline Ref boolean(bool value) { return Ref::to(value ? Py_True : Py_False); }

// A text in UTF-8. Half of a surrogate pair is an exception of Python.
inline std::string utf8(PyObject* object) {
    const Ref encoded = checked(PyUnicode_AsUTF8String(object));
    return {PyBytes_AsString(encoded.get()), static_cast<std::size_t>(PyBytes_Size(encoded.get()))};
}

template <class... Parts> Ref tuple(Parts... parts) {
    Ref made = checked(PyTuple_New(sizeof...(Parts)));
    Py_ssize_t at = 0;
    (checked(PyTuple_SetItem(made.get(), at++, parts.release())), ...);
    return made;
}

inline void append(const Ref& list, const Ref& item) { checked(PyList_Append(list.get(), item.get())); }
inline void put(const Ref& dictionary, const char* name, const Ref& value) {
    checked(PyDict_SetItemString(dictionary.get(), name, value.get()));
}

// An object of Python that holds a value of C++. Each class has a type, made by makeType.
template <class T> struct Object {
    PyObject head;
    T value;

    static inline PyTypeObject* type = nullptr;

    static T& of(PyObject* self) { return reinterpret_cast<Object*>(self)->value; }
    static bool is(PyObject* object) { return Py_TYPE(object) == type; }

    template <class... Arguments> static Ref make(Arguments&&... arguments) {
        const auto allocate = reinterpret_cast<allocfunc>(PyType_GetSlot(type, Py_tp_alloc));
        Ref made = checked(allocate(type, 0));
        try {
            new (&of(made.get())) T(std::forward<Arguments>(arguments)...);
        } catch (...) {
            freeMemory(made.release());
            throw;
        }
        return made;
    }

    static void destroy(PyObject* self) {
        of(self).~T();
        freeMemory(self);
    }

private:
    static void freeMemory(PyObject* self) {
        const auto free = reinterpret_cast<freefunc>(PyType_GetSlot(type, Py_tp_free));
        free(self);
        Py_DECREF(reinterpret_cast<PyObject*>(type));
    }
};

// Adds a class to the module. It cannot be called or inherited from: functions of the module make its objects.
template <class T, std::size_t count> void addType(PyObject* module, const char* name, const PyType_Slot (&slots)[count]) {
    PyType_Slot all[count + 2];
    for (std::size_t i = 0; i < count; ++i) all[i] = slots[i];
    all[count] = {Py_tp_dealloc, reinterpret_cast<void*>(&Object<T>::destroy)};
    all[count + 1] = {0, nullptr};
    PyType_Spec spec{name, sizeof(Object<T>), 0, Py_TPFLAGS_DEFAULT, all};
    Ref type = checked(PyType_FromSpec(&spec));
    // Without a constructor: the one that it has inherited would leave the value uninitialized.
    Object<T>::type = reinterpret_cast<PyTypeObject*>(Ref(type).release());
    const std::string_view whole(name);
    checked(PyModule_AddObject(module, whole.substr(whole.rfind('.') + 1).data(), type.get()));
    (void)type.release();
}

inline PyObject* refuseNew(PyTypeObject*, PyObject*, PyObject*) {
    PyErr_SetString(PyExc_TypeError, "objects of this class are made by functions of tramostream");
    return nullptr;
}
inline const PyType_Slot noConstructor{Py_tp_new, reinterpret_cast<void*>(&refuseNew)};

// What an object with the buffer protocol holds.
class View {
public:
    explicit View(PyObject* object, int flags = PyBUF_SIMPLE) { checked(PyObject_GetBuffer(object, &view, flags)); }
    View(const View&) = delete;
    View& operator=(const View&) = delete;
    ~View() { PyBuffer_Release(&view); }

    char* data() const { return static_cast<char*>(view.buf); }
    std::size_t size() const { return static_cast<std::size_t>(view.len); }
    std::string_view content() const { return {data(), size()}; }
    bool holdsObjects() const { return view.format && std::string_view(view.format) == "O"; }

private:
    Py_buffer view{};
};

}  // namespace python
