// The records of a kind as columns, laid out in memory as Apache Arrow lays them out: for analysis, for databases and for
// other languages, which take such columns over without copying or converting a value.
#pragma once
#include "export.h"
#include "fields.h"
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

// The structures of the Arrow C data interface and of the Arrow C stream interface. Other libraries declare the same ones.
#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE
#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4
extern "C" {
struct ArrowSchema {
    const char* format;
    const char* name;
    const char* metadata;
    std::int64_t flags;
    std::int64_t n_children;
    struct ArrowSchema** children;
    struct ArrowSchema* dictionary;
    void (*release)(struct ArrowSchema*);
    void* private_data;
};
struct ArrowArray {
    std::int64_t length;
    std::int64_t null_count;
    std::int64_t offset;
    std::int64_t n_buffers;
    std::int64_t n_children;
    const void** buffers;
    struct ArrowArray** children;
    struct ArrowArray* dictionary;
    void (*release)(struct ArrowArray*);
    void* private_data;
};
}
#endif
#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE
extern "C" {
struct ArrowArrayStream {
    int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
    int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
    const char* (*get_last_error)(struct ArrowArrayStream*);
    void (*release)(struct ArrowArrayStream*);
    void* private_data;
};
}
#endif

namespace tramo {

class LineView;
class Reader;

/// The type of a column. It follows from its field, never from the values.
enum class ColumnType : char {
    Text,    ///< Text, Code: UTF-8; of a code its character
    Int32,   ///< Integer that fits into an int
    Int64,   ///< any other Integer
    Double,  ///< Decimal
    Day,     ///< Date: std::int32_t, the days from 1970-01-01 to the local date
    Time,    ///< DateTime: std::int64_t, the seconds from 1970-01-01 00:00 to the local date and time
    Year,    ///< Year: std::int16_t, the number of the local year
    Flag,    ///< Flag: a bit
    Alarms,  ///< AlarmFlags: std::uint16_t, flag k is bit k - 1
};

/// One column of Columns. Valid until a row is added to the columns, or until they are cleared, moved or destroyed.
struct Column {
    const Field* field;            ///< lives as long as the program
    ColumnType type;               ///< of its values, as columnTypeOf() returns it
    std::size_t rows;              ///< the length of the column, with rows without a value
    std::size_t absent;            ///< rows without a value: the columns of the line are blank, or their text cannot be parsed
    const std::uint8_t* validity;  ///< bit r % 8 of byte r / 8 is set if row r has a value
    const void* values;            ///< one for each row, 0 where absent; of a Flag, bits as in `validity`; of a Text, its UTF-8
    const std::int32_t* offsets;   ///< Text only: the text of row r lies from offsets[r] to offsets[r + 1] in `values`

    /// Returns whether a row has a value. `row`: from 0, below `rows`, as in the other functions.
    bool has(std::size_t row) const { return (validity[row / 8] >> (row % 8) & 1) != 0; }

    /// Returns the value of a row; T is the type that ColumnType names.
    template <class T> T value(std::size_t row) const {
        T result;
        std::memcpy(&result, static_cast<const char*>(values) + row * sizeof(T), sizeof(T));
        return result;
    }
    /// Returns the value of a row of a Flag; false where it is absent.
    bool flag(std::size_t row) const { return (static_cast<const std::uint8_t*>(values)[row / 8] >> (row % 8) & 1) != 0; }
    /// Returns the value of a row of a Text, in UTF-8, which refers to `values`; empty where it is absent.
    std::string_view text(std::size_t row) const {
        return {static_cast<const char*>(values) + offsets[row], static_cast<std::size_t>(offsets[row + 1] - offsets[row])};
    }
};

/// Returns the type of a field's column.
TRAMO_EXPORT ColumnType columnTypeOf(const RecordKind& kind, const Field& field);

/// Columns that grow by a row with each line. Absent values and text that cannot be parsed have no value; text that a value does
/// not preserve (see ignoredTexts) is dropped. Every buffer is aligned to 64 bytes.
///
/// Not safe for use by several threads at once. Functions that add throw std::bad_alloc only.
///
/// @snippet docs/examples.cpp Columns
class TRAMO_EXPORT Columns {
public:
    /// Columns for these fields, in this order; without fields, for all fields of the kind that are in the line. Throws
    /// std::invalid_argument if a field is not in the line, or is not a field of the kind.
    explicit Columns(const RecordKind& kind, std::span<const Field* const> fields = {});
    Columns(Columns&&) noexcept;
    Columns& operator=(Columns&&) noexcept;
    ~Columns();

    /// @name Add a row
    /// `number` is the number of the line, `line` its text without its line ending. Return false, and add nothing, if the line
    /// is not of this kind (its length and its letter), or if a column would hold more than 2 GB of text.
    /// @{
    bool add(std::int64_t number, std::string_view line);     ///< ANSI bytes
    bool add(std::int64_t number, std::u16string_view line);  ///< UTF-16 units
    /// @}

    /// Adds a line of a Reader, with its number. Returns false, and adds nothing, if LineView::kind is another one, or if a
    /// column would hold more than 2 GB of text.
    bool add(const LineView& line);

    const RecordKind& kind() const;               ///< of the lines; lives as long as the program
    std::size_t rows() const;                     ///< the number of lines that were added since the last clear() or exportRows()
    std::size_t size() const;                     ///< the number of columns
    Column operator[](std::size_t index) const;   ///< the column of the index-th field
    std::span<const std::int64_t> lines() const;  ///< the number of each row's line
    std::size_t unreadable() const;               ///< how many texts of these fields cannot be parsed

    /// Removes all rows and keeps the memory.
    void clear();

    /// @name Arrow C data interface
    /// Both structures must be released by calling their `release`, also after this object is gone. The first column is
    /// "line", the number of the line; the others have the names of their fields. They are the children of a structure.
    /// @{
    void exportSchema(ArrowSchema* out) const;  ///< names and types; there need not be any rows
    void exportRows(ArrowArray* out);           ///< hands the rows over without copying them; then there are none
    /// @}

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Makes `out` the same schema or rows again, without copying them: for several consumers. They must be a schema or rows that
/// this library has exported, whose columns have not been moved away; the deleter of the pointer calls their `release`. Each
/// structure that shares them must be released, too; they are gone after the last one.
///
/// @snippet docs/examples.cpp shareArrow
/// @{
TRAMO_EXPORT void shareArrow(const std::shared_ptr<const ArrowSchema>& schema, ArrowSchema* out);
TRAMO_EXPORT void shareArrow(const std::shared_ptr<const ArrowArray>& rows, ArrowArray* out);
/// @}

/// How rows are handed out to a stream or a table.
struct ArrowStreamOptions {
    std::size_t rowsPerBatch = 65536;  ///< at most; at least 1
};

/// @name Arrow C stream interface
/// Make `out` a stream, which hands out a batch of rows at a time: what a database or a data frame library reads. The caller must
/// call its `release`, once; batches that it has handed out stay valid. An exception while it reads becomes an error of the
/// stream: `get_next` returns the errno, or EIO if there is none, and `get_last_error` says why. After a lack of memory (ENOMEM),
/// `get_next` can be called again, and no row is lost.
///
/// @snippet docs/examples.cpp arrowStream
/// @{

/// The lines of one kind that a reader has not read yet; its options have the encoding. Malformed lines (LineView::fault) and
/// those of other kinds are skipped. Throws std::invalid_argument as Columns does.
TRAMO_EXPORT void arrowStream(Reader reader, const RecordKind& kind, std::span<const Field* const> fields, ArrowArrayStream* out,
    const ArrowStreamOptions& options = {});

/// The same of the file with this path. It is UTF-16 if it begins with the byte order mark FF FE, otherwise ANSI. Throws
/// std::system_error with the path if the file cannot be opened or read.
TRAMO_EXPORT void arrowStream(const char* path, const RecordKind& kind, std::span<const Field* const> fields,
    ArrowArrayStream* out, const ArrowStreamOptions& options = {});

/// Rows of any origin for a stream: of a MeterTable, of several files, or rows that are handed out again (shareArrow).
///
/// @snippet docs/examples.cpp ArrowBatches
class TRAMO_EXPORT ArrowBatches {
public:
    virtual ~ArrowBatches();

    /// Exports the names and types of the columns: a structure, the same for all batches. The stream calls it for each
    /// `get_schema`.
    virtual void exportSchema(ArrowSchema* out) const = 0;

    /// Exports the next rows. Returns false, leaving `out` alone, if there are none.
    virtual bool exportRows(ArrowArray* out) = 0;
};
/// The rows of `batches`, which the stream owns.
///
/// @snippet docs/examples.cpp batchesOfColumns
TRAMO_EXPORT void arrowStream(std::unique_ptr<ArrowBatches> batches, ArrowArrayStream* out);
/// @}

}  // namespace tramo
