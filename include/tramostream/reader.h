// Files, lines and values with names: read an exchange file line by line, change fields, write lines.
//
// Values are what programs expect: text in UTF-8, times of std::chrono, and std::optional where a field can be blank. The
// values that the models use for "absent" (-1, 0, the lowest year, Unset) never appear. Any text of a file is data: no
// function throws because of it. A model (AnyRecord, MeterSubscriberTramoModel, ...) of the same line gives the same values.
//
// Without memory, functions throw std::bad_alloc. Then, Reader::next, Line::set, Writer::put and Writer::commit have had no
// effect, and can be called again.
#pragma once
#include "check.h"
#include "decode.h"
#include "export.h"
#include "fields.h"
#include "linekind.h"
#include "linemodel.h"
#include <array>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

namespace tramo {

/// The encoding of a file: one byte for each character (U+0000 to U+00FF), or UTF-16 little-endian with a byte order mark.
enum class Encoding : char { Ansi, Utf16 };

/// What ends a line.
enum class LineEnding : char {
    CrLf,  ///< as the format asks
    Lf,
    Cr,    ///< at the end of the file only
    None,  ///< at the end of the file only
};

/// Why a line has no fields. Its text is there nevertheless.
enum class LineFault : char {
    None,           ///< it has its fields, or it is a key line
    Empty,          ///< it has no characters
    TooShort,       ///< for its kind
    TooLong,        ///< for its kind, by more than one character in the place of the CR
    UnknownLetter,  ///< of the length of a record, but its first character is not the letter of a record kind
    UnknownKind,    ///< its length matches no kind of line
    HalfCharacter,  ///< UTF-16 only: the file ends with an odd byte in this line
    Unread,         ///< UTF-16 only: it begins with U+FFFF, which ends the text, or it comes after such a line
};

/// The name of a fault, in words: "the line is too short".
TRAMO_EXPORT std::string_view describe(LineFault fault);

class FileHead;
class LineView;
class Line;
struct KindFields;
struct LineReading;
class RoundFile;
struct ReaderState;

/// One field of one line. Small, to be passed by value. Valid as long as its line.
///
/// A value is absent (`std::nullopt`) if the field is blank, if its text cannot be parsed, if the field holds values of another
/// type, or if the line is of another kind than the field. A blank field that is read as a text (Field::blank) has the value of
/// this text. The value of a field that is read into another one (Field::readInto) belongs to that one, and its own is absent.
///
/// @snippet docs/examples.cpp LineView
class TRAMO_EXPORT FieldView {
public:
    bool blank() const;  ///< nothing but white space is in its columns, or the line does not have the field
    bool valid() const;  ///< false: the text in its columns cannot be parsed; see LineView::findings for the reason

    std::optional<std::string> text() const;               ///< Text: UTF-8 without trailing white space. Others: textOf()
    std::optional<long long> integer() const;              ///< Integer
    std::optional<double> real() const;                    ///< Decimal, Integer
    std::optional<bool> flag() const;                      ///< Flag
    std::optional<char32_t> code() const;                  ///< Code: its character
    std::optional<std::uint16_t> alarms() const;           ///< AlarmFlags: flag k is bit k - 1
    std::optional<std::chrono::sys_seconds> time() const;  ///< Date (the local midnight), DateTime
    std::optional<std::chrono::local_days> day() const;    ///< Date, DateTime: the local day
    std::optional<std::chrono::year> year() const;         ///< Year, Date, DateTime: the local year

    /// The same as text(), without an allocation once `buffer` is large enough: characters of the line that are UTF-8 as they
    /// stand, or else what it writes to `buffer`. Valid as long as the line and the content of `buffer`.
    std::optional<std::string_view> text(std::string& buffer) const;

    /// The value of the type T: std::string, an integer type (absent if it cannot hold the value), double, bool, char32_t,
    /// std::chrono::sys_seconds, local_days or year.
    template <class T> std::optional<T> value() const;

    std::string raw() const;            ///< its columns as they stand, in UTF-8
    std::string_view rawBytes() const;  ///< the same, as the bytes of the file; empty if the line does not have the field

private:
    friend class LineView;
    friend struct LineReading;
    FieldView(const LineView& of, const Field* which) : line(&of), field(which) {}
    const LineView* line;
    const Field* field;  ///< nullptr: the line does not have it
};

/// A line of a file. Refers to text that it does not own: that of a Reader until its next line is read, or that of a Line.
///
/// @snippet docs/examples.cpp LineView
class TRAMO_EXPORT LineView {
public:
    std::int64_t number() const { return lineNumber; }  ///< in its file, 1-based; 0: in no file
    std::uint64_t offset() const { return firstByte; }  ///< of its first byte, from the beginning of the file
    std::string_view bytes() const { return content; }  ///< as in the file, without the line ending
    std::size_t size() const;                           ///< in characters, without the line ending
    Encoding encoding() const { return coding; }        ///< of bytes()
    LineEnding ending() const { return lineEnd; }       ///< what follows bytes() in the file; None: the file ends there

    /// The kind of the line; nullopt if neither its length nor its beginning shows it. A malformed line can have one.
    std::optional<LineKind> lineKind() const { return shape; }

    /// The kind of the record, tag or parameter line; nullptr for a malformed line and for a key line.
    const RecordKind* kind() const { return record; }

    /// Whether it is a line of the kind of model M.
    template <class M> bool is() const { return record == &kindOf<M>(); }

    /// Why the line has no fields; LineFault::None: it has fields, or is a key line.
    LineFault fault() const { return problem; }

    /// The kind of most lines at the beginning of its file; see KindCensus.
    std::optional<LineKind> prevailingKind() const { return prevailing; }

    /// @name Fields
    /// Names are those of the accessors: "meterReadingIndex". If the kind of the line does not have the name,
    /// std::invalid_argument is thrown, which names the kind and the closest name. Without a kind, every field is absent. A
    /// Field is looked up once and used for many lines (see RecordKind::field); in lines of another kind, it is absent.
    /// @{
    /// Returns the field, for its values; as long as the line is valid.
    FieldView operator[](const Field& field) const { return {*this, inLine(field)}; }
    FieldView operator[](std::string_view name) const;  ///< the field of this name

    /// The value of the type T; absent, and the types: see FieldView::value. Those below are values of one type.
    template <class T> std::optional<T> value(const Field& field) const { return (*this)[field].template value<T>(); }
    /// The value of the type T, by name.
    template <class T> std::optional<T> value(std::string_view name) const { return (*this)[name].template value<T>(); }

    /// See FieldView::text: UTF-8 without trailing white space.
    std::optional<std::string> text(const Field& field) const { return (*this)[field].text(); }
    std::optional<std::string> text(std::string_view name) const { return (*this)[name].text(); }  ///< by name
    /// See FieldView::time: in UTC, of a Date the local midnight.
    std::optional<std::chrono::sys_seconds> time(const Field& field) const { return (*this)[field].time(); }
    std::optional<std::chrono::sys_seconds> time(std::string_view name) const { return (*this)[name].time(); }  ///< by name
    /// See FieldView::day: the local day.
    std::optional<std::chrono::local_days> day(const Field& field) const { return (*this)[field].day(); }
    std::optional<std::chrono::local_days> day(std::string_view name) const { return (*this)[name].day(); }  ///< by name
    /// See FieldView::raw: the columns with their spaces, in UTF-8.
    std::string raw(const Field& field) const { return (*this)[field].raw(); }
    std::string raw(std::string_view name) const { return (*this)[name].raw(); }  ///< by name
    /// @}

    /// @name All fields at once
    /// Faster than one after the other. Sets `values[field.index]` for each field of kind(), as tramo::decode() does. Returns
    /// false, and sets nothing, if the line has no kind or `values` has fewer elements than its fields. text() returns the text
    /// that a value was read from, in UTF-8: characters of the line, or of `buffer`, as FieldView::text.
    ///
    /// @snippet docs/examples.cpp decodeLine
    /// @{
    bool decode(std::span<DecodedValue> values) const;  ///< all values, by Field::index

    /// The text of a value that decode() has set for this line. Valid as long as the line and the content of `buffer`.
    std::string_view text(const DecodedValue& value, std::string& buffer) const;
    /// @}

    std::string utf8() const;   ///< the whole line in UTF-8; an unpaired surrogate becomes U+FFFD
    std::wstring wide() const;  ///< the whole line as the classic interface has it: one UTF-16 code unit in each character

    /// The model of the line, for M one of the record, tag and parameter models or AnyRecord. A line of another kind gives the
    /// model that the format makes of it, with its errors; missing characters count as spaces. It may print messages.
    template <class M> M as() const;

    /// What `tramo check` says about the fields of this line, in the order of columns; see Checker for whole files, and
    /// RoundFile::findings() for the rules about rounds. The models may print
    /// messages about it: see setMessages(). The kind of the line, if the options have neither a kind nor a prevailing one, is
    /// lineKind().
    std::vector<Finding> findings(const CheckOptions& options = {}) const;

protected:
    friend class Reader;
    friend class RoundFile;
    friend struct ReaderState;
    friend class FieldView;
    friend struct LineReading;
    LineView() = default;

    // Returns the field if the line has columns for it, otherwise nullptr.
    const Field* inLine(const Field& field) const {
        const bool isOfLine = record && field.index < record->fields.size() && &record->fields[field.index] == &field;
        return isOfLine && field.column > 0 ? &field : nullptr;
    }
    const Field* fieldNamed(std::string_view name) const;
    void copyTo(wchar_t* buffer, std::size_t size) const;  ///< padded with spaces, CR LF at the end

    std::string_view content{};
    const RecordKind* record = nullptr;
    const KindFields* fields = nullptr;  ///< of the record kind
    std::int64_t lineNumber = 0;
    std::uint64_t firstByte = 0;
    std::optional<LineKind> shape{};
    std::optional<LineKind> prevailing{};  ///< in the file
    Encoding coding = Encoding::Ansi;
    LineEnding lineEnd = LineEnding::CrLf;
    LineFault problem = LineFault::Empty;

    // Of a record, found when its first field is read: its characters as single bytes (nullptr: it is short, or one does not
    // fit), and which columns are filled. Those of a line in UTF-16 are written to `room`, if there is one.
    mutable bool isMapped = false;
    mutable const char* plain = nullptr;
    char* room = nullptr;
    alignas(8) mutable std::array<unsigned char, 72> columnMap{};
};

/// How a file is read.
struct ReadOptions {
    /// Nullopt: UTF-16 if the file begins with the byte order mark FF FE, otherwise ANSI. In UTF-16, the mark may be missing.
    std::optional<Encoding> encoding{};

    /// Of every line. Nullopt: found for each line by its length and its beginning; lines that fit no kind count as malformed
    /// lines of the prevailing one. To find that, the first 256 KiB of the file are read before the first line is returned.
    std::optional<LineKind> kind{};

    /// Makes Reader::head, for a FileChecker.
    bool diagnose = false;
};

/// Reads the lines of a file, a block at a time, in order:
///
///     for (const tramo::LineView& line : tramo::Reader("round.txt"))
///         if (line.is<MeterSubscriberTramoModel>()) std::cout << line.text("meterSerialNumber").value_or("?") << '\n';
///
/// Bad content is data: a malformed line is a line with a fault. Every byte of the file, except the byte order mark and the line
/// endings, is in LineView::bytes of one line.
///
/// What cannot be opened or read is an error of type std::system_error with the path and the reason, from the constructors and
/// from reading; each later call throws it again. A Reader that is made with std::nothrow has no more lines instead, and says why
/// in error() and message().
///
/// Allocates nothing for a line, unless it is longer than all before. A reader that was moved from has no more lines. Not
/// thread-safe.
///
/// @snippet docs/examples.cpp Reader
class TRAMO_EXPORT Reader {
public:
    /// Opens a file, pipe or device. Throws std::system_error if it cannot be opened or read.
    explicit Reader(const std::filesystem::path& path, const ReadOptions& options = {});
    /// The same without errors as exceptions: a reader of what cannot be opened has no lines; see error().
    Reader(std::nothrow_t, const std::filesystem::path& path, const ReadOptions& options = {});

    /// Reads bytes in memory, which must outlive the reader.
    static Reader ofBytes(std::string_view bytes, const ReadOptions& options = {});

    /// Reads from a file, pipe or terminal that is open, from where it is: offsets count from there. Does not close it. `name` is
    /// used in messages.
    static Reader ofDescriptor(int descriptor, std::string name, const ReadOptions& options = {});

    Reader(Reader&&) noexcept;
    Reader& operator=(Reader&&) noexcept;
    ~Reader();

    /// Returns the next line, or nullptr after the last one. The line is valid until the next call.
    const LineView* next();

    /// Returns ReadOptions::kind or, if it is nullopt, the kind of most lines in the first 256 KiB; see KindCensus.
    std::optional<LineKind> prevailing() const;

    /// Returns what the first bytes of the file show, if ReadOptions::diagnose is set; otherwise nullptr.
    std::shared_ptr<const FileHead> head() const;

    Encoding encoding() const;           ///< of the file
    std::uint64_t bytesRead() const;     ///< of the file, up to the end of the last line
    std::error_code error() const;       ///< why there are no more lines; no error: the file has ended
    const std::string& message() const;  ///< the same as a sentence with the path; empty if there is no error

    /// An input iterator over the lines. All iterators of a reader share its position; a line is valid until the next increment.
    class Iterator {
    public:
        using value_type = LineView;
        using difference_type = std::ptrdiff_t;
        using iterator_concept = std::input_iterator_tag;

        Iterator() = default;
        /// Reads the next line of the reader, which must outlive the iterator.
        explicit Iterator(Reader& of) : reader(&of) { ++*this; }
        const LineView& operator*() const { return *line; }  ///< the current line; not after the last one
        const LineView* operator->() const { return line; }  ///< the current line; nullptr after the last one
        /// Reads the next line. Throws as Reader::next.
        Iterator& operator++() {
            line = reader->next();
            return *this;
        }
        void operator++(int) { ++*this; }                                 ///< the same; the previous line is not kept
        bool operator==(std::default_sentinel_t) const { return !line; }  ///< whether it is after the last line

    private:
        Reader* reader = nullptr;
        const LineView* line = nullptr;
    };

    /// @name The remaining lines
    /// @{
    Iterator begin() { return Iterator(*this); }        ///< reads the next line; each call continues where reading is
    std::default_sentinel_t end() const { return {}; }  ///< after the last line
    /// @}

private:
    struct State;
    Reader(const std::filesystem::path& path, const ReadOptions& options, bool quiet);
    explicit Reader(std::unique_ptr<State> with);
    std::unique_ptr<State> state;
};

/// A part of a file: whole lines.
struct FilePart {
    std::uint64_t offset = 0;    ///< of its first byte
    std::uint64_t size = 0;      ///< in bytes
    std::int64_t firstLine = 1;  ///< the number of its first line
};

/// A file in parts that can be read independently, by Reader::ofBytes with this encoding: on several threads, or machines.
struct FileParts {
    Encoding encoding = Encoding::Ansi;  ///< of all parts
    std::vector<FilePart> parts{};       ///< in the order of the file; none: the file is empty
};

/// Cuts a file after about so many bytes each, at line endings. Reads the whole file, to count its lines. Throws
/// std::system_error with the path and the reason if it cannot be read. The line that ends the text of a UTF-16 file
/// (LineFault::Unread) and what follows it are one part. The byte order mark is in no part.
///
/// @snippet docs/examples.cpp FileParts
TRAMO_EXPORT FileParts splitFile(const std::filesystem::path& path, std::uint64_t bytesPerPart, const ReadOptions& options = {});

/// A value to write into a field, or none: std::nullopt makes the field blank. A text is UTF-8, and must outlive this object.
///
/// @snippet docs/examples.cpp Line
class TRAMO_EXPORT NewValue {
public:
    /// What it holds: one of these types, whatever the constructor took.
    using Held = std::variant<std::nullopt_t, std::string_view, long long, double, bool, char32_t, std::chrono::sys_seconds,
        std::chrono::local_days, std::chrono::year>;

    NewValue(std::nullopt_t none) : held(none) {}                        ///< makes the field blank
    NewValue(std::string_view utf8) : held(utf8) {}                      ///< of a Text or AlarmFlags field; empty: makes it blank
    NewValue(const std::string& utf8) : held(std::string_view(utf8)) {}  ///< as a std::string_view
    NewValue(const char* utf8) : held(std::string_view(utf8)) {}         ///< as a std::string_view; ends with a zero byte
    template <std::same_as<bool> T> NewValue(T flag) : held(flag) {}     ///< of a Flag field
    /// Of a Code field: U+0000 to U+00FF.
    NewValue(char code) : held(static_cast<char32_t>(static_cast<unsigned char>(code))) {}
    NewValue(char32_t code) : held(code) {}                                                     ///< of a Code field
    template <std::floating_point T> NewValue(T number) : held(static_cast<double>(number)) {}  ///< of a Decimal field
    /// Of an Integer, Decimal or AlarmFlags field.
    template <std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, char32_t> && !std::same_as<T, wchar_t> &&
             !std::same_as<T, char16_t> && !std::same_as<T, char8_t>) NewValue(T number)
        : held(static_cast<long long>(number)) {
        if (!std::in_range<long long>(number)) held = static_cast<double>(number);  // which no integer field takes
    }
    NewValue(std::chrono::sys_seconds time) : held(time) {}  ///< of a Date or DateTime field
    NewValue(std::chrono::sys_days) = delete;                // its midnight is that of UTC: use local_days
    NewValue(std::chrono::local_days day) : held(day) {}     ///< of a Date or DateTime field: its local midnight
    NewValue(std::chrono::year year) : held(year) {}         ///< of a Year field
    /// The value in it; without one, makes the field blank.
    template <class T> NewValue(const std::optional<T>& value) : held(std::nullopt) {
        if (value) *this = NewValue(*value);
    }

    const Held& get() const { return held; }  ///< std::nullopt_t: the field is to be blank

private:
    Held held;
};

/// What became of a change.
struct [[nodiscard]] SetResult {
    /// Done, or why the value could not be written.
    enum Code : char {
        Done,           ///< the field has the value
        WrongType,      ///< the field holds values of another type
        TooWide,        ///< the text of the value is wider than the field
        NotInField,     ///< the field cannot hold the value: a line ending in a text, a date beyond 32 bits, an unknown code, nan
        NotWritable,    ///< the format would not read the value back: it writes another one, or nothing
        NotInEncoding,  ///< the encoding of the line has no such character, or the text is not UTF-8
        NoField,        ///< the line does not have the field
    };
    Code code = Done;      ///< see Code
    std::string reason{};  ///< a sentence that names the field; empty if done

    explicit operator bool() const { return code == Done; }  ///< whether the field has the new value

    /// Throws std::invalid_argument with the reason, unless done.
    TRAMO_EXPORT void orThrow() const;
};

/// A field by its name, and a value to write into it.
using NamedValue = std::pair<std::string_view, NewValue>;

/// A line that owns its text and can be changed. A value type. A LineView of it is valid until it is changed or destroyed.
///
/// @snippet docs/examples.cpp Line
class TRAMO_EXPORT Line : public LineView {
public:
    /// A blank line of this kind, with its letter. Its number is 0, its ending CR LF.
    explicit Line(const RecordKind& kind, Encoding encoding = Encoding::Ansi);

    /// A copy of a line.
    explicit Line(const LineView& line);

    /// A line of the kind of model M with these values. Its other fields are blank. Throws as fill().
    template <class M> static Line of(std::initializer_list<NamedValue> values, Encoding encoding = Encoding::Ansi) {
        Line line(kindOf<M>(), encoding);
        line.fill(values);
        return line;
    }

    Line(const Line& other);
    Line(Line&& other) noexcept;
    Line& operator=(const Line& other);
    Line& operator=(Line&& other) noexcept;

    /// @name Change a field
    /// Writes the value in the format's form into the columns of the field, and changes nothing else; std::nullopt and an empty
    /// text make them blank. After Done, the columns are read as this value, for the field or for the one that it is read into
    /// (Field::readInto). Otherwise, nothing is changed. An integer fits into a decimal field, and the text of alarm flags
    /// (FieldView::text) into their field. A name that the kind of the line does not have throws std::invalid_argument, as in
    /// operator[].
    /// @{
    SetResult set(const Field& field, const NewValue& value);     ///< NoField if it is of another kind
    SetResult set(std::string_view name, const NewValue& value);  ///< throws std::invalid_argument for an unknown name
    /// @}

    /// Changes several fields, one after the other, or none: a value that cannot be written is an error of type
    /// std::invalid_argument with the reason of set().
    void fill(std::initializer_list<NamedValue> values);

private:
    void takeOwn() noexcept;
    void takeFrom(Line& other) noexcept;

    std::string own;
};

/// Writes lines to a file. The file appears whole with commit(), replacing one of that name, or not at all: until then, the
/// lines are in a temporary file beside it, which the destructor removes. A path that is not a regular file (a pipe, a device)
/// is written directly.
///
/// What cannot be written is a std::system_error with the path and the reason. Then, nothing is replaced, and every later call
/// throws it again.
///
/// A symbolic link stays, and the file that it refers to is replaced. Other names of the file (hard links) keep the old content.
///
/// Not thread-safe.
///
/// @snippet docs/examples.cpp Writer
class TRAMO_EXPORT Writer {
public:
    /// An existing file keeps its permissions; a new file can be read and written by its owner only if `isPrivate`.
    explicit Writer(const std::filesystem::path& path, Encoding encoding = Encoding::Ansi, bool isPrivate = false);
    Writer(Writer&&) noexcept;
    Writer& operator=(Writer&&) noexcept;
    ~Writer();

    /// Writes a line as it stands, with its line ending: byte for byte if it has the encoding of the file, otherwise character
    /// for character. A line that has no line ending gets one when another line follows. Throws std::system_error with
    /// std::errc::illegal_byte_sequence and the line's number if a character is not in the encoding of the file, or if a line
    /// follows one that ends with half of a character.
    void put(const LineView& line);

    /// Makes the file appear, after its content has reached the disk. Must be the last call.
    void commit();

private:
    struct State;
    State& use();

    std::unique_ptr<State> state;
};

/// Copies a file line by line, with changes: `change` gets each line and may set its fields. Every other byte stays. The new file
/// appears whole, or not at all if reading, `change` or writing throws; see Writer. Both paths may be the same. Returns the
/// number of lines that `change` has altered.
TRAMO_EXPORT std::size_t changeLines(const std::filesystem::path& from, const std::filesystem::path& to,
    const std::function<void(Line&)>& change, const ReadOptions& options = {});

// Implementation ------------------------------------------------------------------------------------------------------

template <class M> M LineView::as() const {
    const auto made = [this](auto buffer) {
        copyTo(buffer.data(), buffer.size());
        return M(buffer);
    };
    if constexpr (std::is_constructible_v<M, const TagLine::tagLine_t&>) return made(TagLine::tagLine_t());
    else if constexpr (std::is_constructible_v<M, const ParameterLine::parameterLine_t&>)
        return made(ParameterLine::parameterLine_t());
    else return made(TramoLine::tramoLine_t());
}

template <class T> std::optional<T> FieldView::value() const {
    if constexpr (std::same_as<T, std::string>) return text();
    else if constexpr (std::same_as<T, bool>) return flag();
    else if constexpr (std::same_as<T, char32_t>) return code();
    else if constexpr (std::floating_point<T>) return real();
    else if constexpr (std::same_as<T, std::chrono::sys_seconds>) return time();
    else if constexpr (std::same_as<T, std::chrono::local_days>) return day();
    else if constexpr (std::same_as<T, std::chrono::year>) return year();
    else {
        static_assert(std::integral<T>, "a field has no values of this type");
        const std::optional<long long> number = integer();
        return number && std::in_range<T>(*number) ? std::optional(static_cast<T>(*number)) : std::nullopt;
    }
}

}  // namespace tramo
