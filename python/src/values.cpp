// Values of fields as objects of Python, and back.
#include "module.h"
#include <tramostream/linemodel.h>

using namespace tramo;

namespace python {

namespace {

// A function of Python's module datetime, looked up once.
PyObject* dateFunction(const char* className, const char* function) {
    const Ref module = checked(PyImport_ImportModule("datetime"));
    const Ref type = checked(PyObject_GetAttrString(module.get(), className));
    return checked(PyObject_GetAttrString(type.get(), function)).release();  // as long as the process
}

PyObject* dateClass(const char* className) {
    const Ref module = checked(PyImport_ImportModule("datetime"));
    return checked(PyObject_GetAttrString(module.get(), className)).release();  // as long as the process
}

bool isDateTime(PyObject* value) {
    static PyObject* const type = dateClass("datetime");
    const int result = PyObject_IsInstance(value, type);
    checked(result);
    return result != 0;
}
bool isDate(PyObject* value) {
    static PyObject* const type = dateClass("date");
    const int result = PyObject_IsInstance(value, type);
    checked(result);
    return result != 0;
}

long long integerAttribute(PyObject* value, const char* name) {
    const Ref attribute = checked(PyObject_GetAttrString(value, name));
    const long long number = PyLong_AsLongLong(attribute.get());
    if (number == -1 && PyErr_Occurred()) throw Raised();
    return number;
}

// The instant of a datetime; of one without a time zone, as local time, as Python understands it.
std::chrono::sys_seconds instantOf(PyObject* value) {
    const Ref seconds = checked(PyObject_CallMethod(value, "timestamp", nullptr));
    const double instant = PyFloat_AsDouble(seconds.get());
    if (instant == -1 && PyErr_Occurred()) throw Raised();
    return std::chrono::floor<std::chrono::seconds>(
        std::chrono::sys_time<std::chrono::duration<double>>(std::chrono::duration<double>(instant)));
}

std::chrono::local_days localDayOf(PyObject* value) {
    using namespace std::chrono;
    const year_month_day day{year{static_cast<int>(integerAttribute(value, "year"))},
        month{static_cast<unsigned>(integerAttribute(value, "month"))},
        std::chrono::day{static_cast<unsigned>(integerAttribute(value, "day"))}};
    return local_days{day};
}

// The first character of a text of one character.
std::optional<char32_t> onlyCharacter(PyObject* value) {
    if (PyUnicode_GetLength(value) != 1) return std::nullopt;
    return static_cast<char32_t>(PyUnicode_ReadChar(value, 0));
}

}  // namespace

const RecordKind& kindOf(PyObject* name) {
    if (!PyUnicode_Check(name)) raise(PyExc_TypeError, "a record kind is named by a str");
    const std::string word = utf8(name);
    if (const RecordKind* kind = kindNamed(word)) return *kind;
    std::string all;
    for (const RecordKind* kind : allKinds()) all += (all.empty() ? "" : ", ") + kind->name;
    throw std::invalid_argument("unknown record kind \"" + word + "\"; expected one of: " + all);
}

PyObject* kindName(PyObject*, PyObject* name) {
    return guarded([&] { return text(kindOf(name).name); });
}

const Field* findField(const RecordKind& kind, PyObject* name) {
    if (!PyUnicode_Check(name)) raise(PyExc_TypeError, "a field is named by a str");
    return kind.field(utf8(name));
}

const Field& fieldOf(const RecordKind& kind, PyObject* name) {
    if (const Field* field = findField(kind, name)) return *field;
    (void)Line(kind)[utf8(name)];  // throws, and names the closest field
    throw std::invalid_argument("unknown field");
}

std::optional<Encoding> encodingOf(PyObject* name) {
    if (name == Py_None) return std::nullopt;
    if (!PyUnicode_Check(name)) raise(PyExc_TypeError, "an encoding is named by a str");
    const std::string word = utf8(name);
    for (const Encoding encoding : {Encoding::Ansi, Encoding::Utf16})
        if (word == nameOf(encoding)) return encoding;
    throw std::invalid_argument("unknown encoding \"" + word + R"("; expected "ansi" or "utf16le")");
}

const char* nameOf(Encoding encoding) { return encoding == Encoding::Ansi ? "ansi" : "utf16le"; }

Ref dateOf(std::string_view iso) {
    static PyObject* const ofTime = dateFunction("datetime", "fromisoformat");
    static PyObject* const ofDay = dateFunction("date", "fromisoformat");
    const Ref arguments = tuple(text(iso));
    return checked(PyObject_CallObject(iso.find('T') == std::string_view::npos ? ofDay : ofTime, arguments.get()));
}

Ref dayOf(const std::optional<std::chrono::local_days>& day) {
    static PyObject* const make = dateClass("date");
    if (!day) return none();
    const std::chrono::year_month_day date{*day};
    const Ref arguments = tuple(number(static_cast<int>(date.year())), number(static_cast<unsigned>(date.month())),
        number(static_cast<unsigned>(date.day())));
    return checked(PyObject_CallObject(make, arguments.get()));
}

Ref timeOf(std::chrono::sys_seconds time) {
    static PyObject* const make = dateFunction("datetime", "fromtimestamp");
    const Ref arguments = tuple(number(time.time_since_epoch().count()));
    return checked(PyObject_CallObject(make, arguments.get()));
}

Ref localTimeOf(std::int64_t seconds) {
    static PyObject* const make = dateClass("datetime");
    using namespace std::chrono;
    const sys_seconds time{std::chrono::seconds{seconds}};
    const sys_days day = floor<days>(time);
    const year_month_day date{day};
    const auto ofDay = static_cast<int>((time - day).count());
    const Ref arguments = tuple(number(static_cast<int>(date.year())), number(static_cast<unsigned>(date.month())),
        number(static_cast<unsigned>(date.day())), number(ofDay / 3600), number(ofDay / 60 % 60), number(ofDay % 60));
    return checked(PyObject_CallObject(make, arguments.get()));
}

Ref codeOrNone(const std::optional<char32_t>& code) {
    if (!code) return none();
    const auto character = static_cast<wchar_t>(*code);
    return checked(PyUnicode_FromWideChar(&character, 1));
}

Ref valueOf(const LineView& line, const Field& field) {
    const FieldView value = line[field];
    switch (field.kind) {
    case FieldKind::Integer: return numberOrNone(value.integer());
    case FieldKind::Decimal: return realOrNone(value.real());
    case FieldKind::Flag:
        if (const auto flag = value.flag()) return boolean(*flag);
        return none();
    case FieldKind::Year:
        if (const auto year = value.year()) return number(static_cast<int>(*year));
        return none();
    case FieldKind::Date: return dayOf(value.day());
    case FieldKind::DateTime:
        if (const auto iso = value.text()) return dateOf(*iso);
        return none();
    case FieldKind::Text:
    case FieldKind::Code:
    case FieldKind::AlarmFlags: break;
    }
    if (const auto content = value.text()) return text(*content);
    return none();
}

SetResult setField(Line& line, const Field& field, PyObject* value) {
    if (value == Py_None) return line.set(field, std::nullopt);
    if (PyBool_Check(value)) return line.set(field, value == Py_True);
    if (PyUnicode_Check(value)) {
        const std::string content = utf8(value);
        if (field.kind == FieldKind::Code) {
            if (content.empty()) return line.set(field, std::nullopt);
            if (const auto code = onlyCharacter(value)) return line.set(field, *code);
        }
        return line.set(field, std::string_view(content));
    }
    if (isDateTime(value)) return line.set(field, instantOf(value));
    if (isDate(value)) return line.set(field, localDayOf(value));
    if (PyFloat_Check(value)) return line.set(field, PyFloat_AsDouble(value));
    if (PyIndex_Check(value)) {
        const Ref whole = checked(PyNumber_Index(value));
        int overflow = 0;
        const long long integer = PyLong_AsLongLongAndOverflow(whole.get(), &overflow);
        if (overflow != 0) return line.set(field, PyLong_AsDouble(whole.get()));
        if (integer == -1 && PyErr_Occurred()) throw Raised();
        if (field.kind == FieldKind::Year && std::in_range<short>(integer))
            return line.set(field, std::chrono::year{static_cast<int>(integer)});
        return line.set(field, integer);
    }
    const Ref type = checked(PyObject_GetAttrString(reinterpret_cast<PyObject*>(Py_TYPE(value)), "__name__"));
    return {SetResult::WrongType, field.name + ": a field has no values of the type " + utf8(type.get())};
}

}  // namespace python
