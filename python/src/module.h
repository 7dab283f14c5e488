// The parts of the extension module tramostream._core. It has no rules: what it says of a file is what the library says.
#pragma once
#include "python.h"
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tramostream/columns.h>
#include <tramostream/reader.h>
#include <vector>

namespace python {

// ---- Errors ---------------------------------------------------------------------------------------------------------

// The exceptions of the package, handed over by it.
struct Errors {
    Ref field, unknownName, encoding;
};
extern Errors errors;

// A failure of the system with the path that Python shows.
struct FileError : std::exception {
    std::error_code code;
    std::string path;
    FileError(std::error_code with, std::string of) : code(with), path(std::move(of)) {}
};

// Calls a function that uses the file with this path, in the encoding of the file system.
template <class Call> auto onFile(const std::string& path, Call call) {
    try {
        return call();
    } catch (const std::system_error& failure) {
        if (failure.code() == std::errc::illegal_byte_sequence) throw;
        throw FileError(failure.code(), path);
    }
}

// What the library says about an unknown name, without its own name.
const char* sentenceOf(const std::invalid_argument& failure);

// Says that a value does not fit into a field.
[[noreturn]] void raiseFieldError(std::int64_t line, std::string_view field, const tramo::SetResult& why);

// ---- Values ---------------------------------------------------------------------------------------------------------

const tramo::RecordKind& kindOf(PyObject* name);                               // in any spelling, or its letter
const tramo::Field& fieldOf(const tramo::RecordKind& kind, PyObject* name);    // or an exception that names the closest one
const tramo::Field* findField(const tramo::RecordKind& kind, PyObject* name);  // nullptr: none
std::optional<tramo::Encoding> encodingOf(PyObject* name);                     // None: nullopt
const char* nameOf(tramo::Encoding encoding);
Ref valueOf(const tramo::LineView& line, const tramo::Field& field);  // None: absent
tramo::SetResult setField(tramo::Line& line, const tramo::Field& field, PyObject* value);
Ref dateOf(std::string_view iso);  // a date or a datetime
Ref dayOf(const std::optional<std::chrono::local_days>& day);
Ref timeOf(std::chrono::sys_seconds time);  // naive local datetime
Ref localTimeOf(std::int64_t seconds);      // of local seconds since 1970

template <class T> Ref numberOrNone(const std::optional<T>& value) { return value ? number(*value) : none(); }
inline Ref realOrNone(const std::optional<double>& value) { return value ? real(*value) : none(); }
inline Ref textOrNone(std::string_view value) { return value.empty() ? none() : text(value); }
Ref codeOrNone(const std::optional<char32_t>& code);

// ---- Reading --------------------------------------------------------------------------------------------------------

// A reader of a file, or of bytes that Python holds.
struct ReaderObject {
    std::string path;            // in the encoding of the file system; empty: none
    std::unique_ptr<View> data;  // nullptr: a file
    std::optional<tramo::Reader> reader{};
    bool isInUse = false;
    std::vector<tramo::Line> waiting{};  // lines that have been read and not handed out, the next one last
};

// Takes a reader for a while: no other thread may use it.
class Using {
public:
    explicit Using(ReaderObject& of);
    Using(const Using&) = delete;
    Using& operator=(const Using&) = delete;
    ~Using() { used.isInUse = false; }
    ReaderObject* operator->() const { return &used; }

private:
    ReaderObject& used;
};

ReaderObject& readerOf(PyObject* object);
Ref makeLine(const tramo::LineView& line);
tramo::Line& lineOf(PyObject* object);
Ref findingsOf(const std::vector<tramo::Finding>& findings);  // a list of tuples

// ---- Tables ---------------------------------------------------------------------------------------------------------

// A structure of the Arrow C data interface that is released with its last owner.
template <class Structure> std::shared_ptr<Structure> makeArrow() {
    return {new Structure{}, [](Structure* structure) {
                if (structure->release) structure->release(structure);
                delete structure;
            }};
}

struct TableColumn {
    std::string name, format;  // the format of the Arrow C data interface
    bool isNullable = true;
    const tramo::Field* field = nullptr;
};

// Rows in batches. Batches are shared with the streams that hand them on.
struct Table {
    std::shared_ptr<const ArrowSchema> schema;
    std::vector<TableColumn> columns{};
    std::vector<std::shared_ptr<ArrowArray>> batches{};
    std::size_t rows = 0;

    // `kind`: of the lines; nullptr: the rows are not lines of a record kind.
    Table(std::shared_ptr<const ArrowSchema> of, const tramo::RecordKind* kind);
    void add(std::shared_ptr<ArrowArray> batch);
};

// The columns of a source of rows as a table without rows.
template <class Source> Table tableOf(const Source& source, const tramo::RecordKind* kind = nullptr) {
    auto schema = makeArrow<ArrowSchema>();
    source.exportSchema(schema.get());
    return Table(std::move(schema), kind);
}

// Makes a stream of the batches that a table has now.
void exportStream(const Table& table, ArrowArrayStream* out);
Ref makeTable(Table table, std::string name);

// ---- The module -----------------------------------------------------------------------------------------------------

// Each source adds its classes, and has functions of the module.
void addLines(PyObject* module);
void addTables(PyObject* module);
void addWriter(PyObject* module);
void addRounds(PyObject* module);

PyObject* checkFile(PyObject* module, PyObject* arguments);
PyObject* describeFormat(PyObject* module, PyObject*);
PyObject* kindName(PyObject* module, PyObject* name);
PyObject* newLine(PyObject* module, PyObject* arguments);
PyObject* openReader(PyObject* module, PyObject* arguments);
PyObject* openWriter(PyObject* module, PyObject* arguments);
PyObject* readRounds(PyObject* module, PyObject* reader);
PyObject* readTables(PyObject* module, PyObject* arguments);
PyObject* scanSchema(PyObject* module, PyObject* arguments);
PyObject* scanStream(PyObject* module, PyObject* arguments);
PyObject* splitFile(PyObject* module, PyObject* arguments);

}  // namespace python
