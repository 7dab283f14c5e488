#include "common/concat.h"
#include "common/dates.h"
#include "common/encoding.h"
#include "common/printable.h"
#include "common/putdecimal.h"
#include "common/secret.h"
#include "common/suggestion.h"
#include "common/utf16.h"
#include "common/utf8.h"
#include "common/zone.h"
#include "model/fieldwriting.h"
#include "round/kindfields.h"
#include "tramostream/decode.h"
#include "tramostream/reader.h"
#include "tramostream/wording.h"
#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <stdexcept>

namespace tramo {

namespace {

using namespace std::chrono;

const unsigned char* unsignedOf(std::string_view bytes) { return reinterpret_cast<const unsigned char*>(bytes.data()); }

// ---- Text -----------------------------------------------------------------------------------------------------------

constexpr std::uint64_t highBits = 0x8080808080808080;

std::uint64_t highOf(const char* eightBytes) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, eightBytes, 8);
    return eight & highBits;
}

// Whether a character is above U+007F and takes two bytes in UTF-8: most texts have none.
bool hasHigh(std::string_view bytes) {
    if (bytes.size() < 8) return std::ranges::any_of(bytes, [](char c) { return codec::codeOf(c) >= 0x80; });
    std::uint64_t any = highOf(bytes.data() + bytes.size() - 8);
    for (std::size_t i = 0; i + 8 < bytes.size(); i += 8) any |= highOf(bytes.data() + i);
    return any != 0;
}

// The number of characters before the first high one of eight.
std::size_t plainBefore(std::uint64_t high) {
    const int bit = std::endian::native == std::endian::little ? std::countr_zero(high) : std::countl_zero(high);
    return static_cast<std::size_t>(bit) / 8;
}

// The number of bytes that writeUtf8OfAnsi() may write to: eight characters are written at once, of which some are kept.
constexpr std::size_t roomFor(std::size_t size) { return 2 * size + 8; }

// Returns the end of the text.
char* writeUtf8OfAnsi(std::string_view bytes, char* out) {
    const auto writeHigh = [&](std::uint32_t code) {
        *out++ = static_cast<char>(0xC0 | code >> 6);
        *out++ = static_cast<char>(0x80 | (code & 0x3F));
    };
    while (bytes.size() >= 8) {
        std::memcpy(out, bytes.data(), 8);
        const std::uint64_t some = highOf(bytes.data());
        const std::size_t plain = some == 0 ? 8 : plainBefore(some);
        out += plain;
        if (some != 0) writeHigh(codec::codeOf(bytes[plain]));
        bytes.remove_prefix(some == 0 ? 8 : plain + 1);
    }
    for (const char c : bytes) {
        if (codec::codeOf(c) < 0x80) *out++ = c;
        else writeHigh(codec::codeOf(c));
    }
    return out;
}

void writeUtf8OfAnsi(std::string_view bytes, std::string& text) {
    text.resize(roomFor(bytes.size()));
    text.resize(static_cast<std::size_t>(writeUtf8OfAnsi(bytes, text.data()) - text.data()));
}

std::string utf8OfAnsi(std::string_view bytes) {
    if (!hasHigh(bytes)) return std::string(bytes);
    std::string text;
    writeUtf8OfAnsi(bytes, text);
    text.shrink_to_fit();
    return text;
}

void writeUtf8OfUtf16(std::string_view bytes, std::string& text) {
    text.clear();
    const std::size_t size = bytes.size() / 2;
    text.reserve(size);
    const auto unit = [&](std::size_t i) { return i < size ? char32_t{encoding::unitAt(unsignedOf(bytes), i)} : U'\0'; };
    for (std::size_t i = 0; i < size; ++i) {
        const char32_t c = unit(i);
        if (utf16::isHighSurrogate(c) && utf16::isLowSurrogate(unit(i + 1)))
            utf8::append(text, 0x10000 + (c - 0xD800) * 0x400 + (unit(++i) - 0xDC00));
        else utf8::append(text, utf16::isSurrogate(c) ? char32_t{utf8::replacement} : c);
    }
}

std::string utf8Of(std::string_view bytes, Encoding encoding) {
    if (encoding == Encoding::Ansi) return utf8OfAnsi(bytes);
    std::string text;
    writeUtf8OfUtf16(bytes, text);
    return text;
}

std::size_t widthOf(Encoding encoding) { return encoding == Encoding::Utf16 ? 2 : 1; }

// ---- Values ---------------------------------------------------------------------------------------------------------

// Takes the value of one field.
struct OneValue {
    DecodedValue& result;

    void put(const FieldReading& field, const auto& filled, long long integer) {
        result.present = true;
        result.first = field.first;
        result.size = static_cast<std::uint16_t>(filled.isInLine ? filled.size : 0);
        result.integer = integer;
    }
    void text(const FieldReading& field, const auto& filled) { put(field, filled, 0); }
    void integer(const FieldReading& field, long long value, const auto& filled) { put(field, filled, value); }
    void decimal(const FieldReading& field, double value, const auto& filled) {
        put(field, filled, 0);
        result.real = value;
    }
    void time(const FieldReading& field, long32 seconds, const auto& filled) { put(field, filled, seconds); }
    void code(const FieldReading& field, wchar_t value, const auto& filled) { put(field, filled, value); }
    void flag(const FieldReading& field, bool value, const auto& filled) { put(field, filled, value); }
    void alarms(const FieldReading& field, unsigned bits, const auto& filled) { put(field, filled, bits); }
};

constexpr std::size_t recordLength = std::tuple_size_v<TramoLine::tramoLine_t> - 2;
template <class Char> using ColumnMap = BlankMap<recordLength, Char>;

// Returns the extent of the text in a few columns.
template <class Char> auto extentOf(std::basic_string_view<Char> columns) -> typename ColumnMap<Char>::Extent {
    std::size_t size = columns.size(), blanks = 0;
    while (size > 0 && codec::isBlank(columns[size - 1])) --size;
    while (blanks < size && codec::isBlank(columns[blanks])) ++blanks;
    return {static_cast<std::uint32_t>(blanks), static_cast<std::uint32_t>(size)};
}

template <class Char> [[gnu::noinline]] void decodeBlank(const FieldReading& field, DecodedValue& value) {
    const auto blank = static_cast<Char>(field.blank);
    OneValue sink{value};
    value.unreadable = !detail::decodeFilled(field, FilledText<Char>{&blank, 0, 1, false}, zone::Clock(), sink);
}

// Decodes the columns of a field: `blanks` white space characters, and `size` in all without those at its end.
template <class Char>
void decodeField(const FieldReading& field, const Char* columns, std::uint32_t blanks, std::uint32_t size, DecodedValue& value) {
    value.present = value.unreadable = false;
    if (size > 0) {
        OneValue sink{value};
        value.unreadable = !detail::decodeFilled(field, FilledText<Char>{columns, blanks, size}, zone::Clock(), sink);
    } else if (field.blank != 0) {
        decodeBlank<Char>(field, value);
    }
}

constexpr std::size_t readBefore = 16;  // characters of the line before a field that its decoder may look at

// The columns of a field as units, after those before them.
struct Units {
    explicit Units(const FieldReading& field, std::string_view line) : before(std::min<std::size_t>(readBefore, field.first)) {
        for (std::size_t i = 0; i < before + field.width; ++i)
            units[i] = static_cast<char16_t>(encoding::unitAt(unsignedOf(line), field.first - before + i));
    }
    const char16_t* columns() const { return units + before; }

    std::size_t before;
    char16_t units[readBefore + recordLength];
};

[[gnu::noinline]] void decodeShort(const FieldReading& field, const char* columns, DecodedValue& value) {
    const auto [blanks, size] = extentOf(std::string_view(columns, field.width));
    decodeField(field, columns, blanks, size, value);
}

[[gnu::noinline]] void decodeUtf16(const FieldReading& field, std::string_view line, DecodedValue& value) {
    const Units units(field, line);
    const auto [blanks, size] = extentOf(std::u16string_view(units.columns(), field.width));
    decodeField(field, units.columns(), blanks, size, value);
}

FieldValue asFieldValue(FieldKind kind, const DecodedValue& value) {
    switch (kind) {
    case FieldKind::Decimal: return value.real;
    case FieldKind::Code: return static_cast<wchar_t>(value.integer);
    case FieldKind::Flag: return value.integer != 0;
    default: return value.integer;
    }
}

sys_seconds timeOf(long long instant) { return sys_seconds{seconds{instant}}; }

local_days localDayOf(long long instant) {
    return floor<days>(local_seconds{seconds{zone::toLocal(static_cast<long32>(instant))}});
}

bool isYearAbsent(FieldKind kind, const DecodedValue& value) { return kind == FieldKind::Year && value.integer == dates::noTime; }

}  // namespace

// Reads fields of a line. Not exported, so that the compiler can inline it.
struct LineReading {
    using Map = ColumnMap<char>;
    static_assert(sizeof(Map) == sizeof(LineView::columnMap) && std::is_trivially_copyable_v<Map>);

    // Returns the characters of a record as single bytes; nullptr if it is short, or one of them does not fit.
    static const char* plainOf(const LineView& line) {
        if (!line.isMapped) map(line);
        return line.plain;
    }

    // The filled columns of these characters.
    static const Map& mapOf(const LineView& line) { return *std::launder(reinterpret_cast<const Map*>(line.columnMap.data())); }

    [[gnu::noinline]] static void map(const LineView& line) {
        line.isMapped = true;
        line.plain = nullptr;
        if (line.size() < recordLength) return;
        if (line.coding == Encoding::Ansi) line.plain = line.content.data();
        else if (line.room && encoding::narrow(unsignedOf(line.content), recordLength, line.room)) line.plain = line.room;
        if (line.plain) new (line.columnMap.data()) Map(line.plain);
    }

    // Reads the value from the columns of one field. Returns whether there is one.
    static bool read(const LineView& line, const FieldReading& field, DecodedValue& value) {
        if (const char* const plain = plainOf(line)) {
            const auto [blanks, size] = mapOf(line).text(field.first, field.width);
            decodeField(field, plain + field.first, blanks, size, value);
        } else if (line.coding == Encoding::Utf16) {
            decodeUtf16(field, line.content, value);
        } else {
            decodeShort(field, line.content.data() + field.first, value);
        }
        return value.present;
    }

    // Reads the value of a field. The last text that is read into it counts. Returns whether there is a value.
    static bool read(const FieldView& view, DecodedValue& value) {
        const FieldSources& sources = view.line->fields->sources[view.field->index];
        if (sources.into[1] && read(*view.line, *sources.into[1], value)) return true;
        return sources.into[0] && read(*view.line, *sources.into[0], value) && !isYearAbsent(view.field->kind, value);
    }

    // Does the same if the field is of this kind.
    template <FieldKind kind> static bool readKind(const FieldView& view, DecodedValue& value) {
        if (!view.field || view.field->kind != kind) return false;
        const LineView& line = *view.line;
        const FieldSources& sources = line.fields->sources[view.field->index];
        const FieldReading* const field = sources.into[0];
        const char* const plain = plainOf(line);
        const bool isUsual = plain && field && !sources.into[1] && field->blank == 0;
        if (!isUsual) return read(view, value);
        const auto [blanks, size] = mapOf(line).text(field->first, field->width);
        if (size == 0) return false;
        OneValue sink{value};
        return detail::decodeAs<kind>(*field, FilledText<char>{plain + field->first, blanks, size}, zone::Clock(), sink) &&
               !isYearAbsent(kind, value);
    }
    static bool readTime(const FieldView& view, DecodedValue& value) {
        return readKind<FieldKind::DateTime>(view, value) || readKind<FieldKind::Date>(view, value);
    }

    // Returns the text that a value was read from.
    static std::string textOf(const LineView& line, const DecodedValue& value) {
        return utf8Of(columnsOf(line, value), line.coding);
    }
    static std::string_view columnsOf(const LineView& line, const DecodedValue& value) {
        const std::size_t width = widthOf(line.coding);
        return line.content.substr(value.first * width, value.size * width);
    }

    // The same, in the line or in the buffer.
    static std::string_view textOf(const LineView& line, const DecodedValue& value, std::string& buffer) {
        const char* const characters = line.coding == Encoding::Ansi ? line.content.data() : plainOf(line);
        if (!characters) {
            writeUtf8OfUtf16(columnsOf(line, value), buffer);
            return buffer;
        }
        const std::string_view bytes(characters + value.first, value.size);
        if (!hasHigh(bytes)) return bytes;
        writeUtf8OfAnsi(bytes, buffer);
        return buffer;
    }

    // Reads the fields of a short line, which are texts: of a tag or a parameter.
    static bool decodeEach(const LineView& line, std::span<DecodedValue> values) {
        for (const Field& field : line.record->fields) {
            DecodedValue& value = values[field.index] = {};
            if (field.column > 0) read(FieldView(line, &field), value);
        }
        return true;
    }

    static const FieldReading& own(const FieldView& view) { return *view.line->fields->sources[view.field->index].own; }
};

// ---- FieldView ------------------------------------------------------------------------------------------------------

std::string_view FieldView::rawBytes() const {
    if (!field) return {};
    const std::size_t width = widthOf(line->coding);
    return line->content.substr(
        static_cast<std::size_t>(field->column - 1) * width, static_cast<std::size_t>(field->width) * width);
}

std::string FieldView::raw() const { return utf8Of(rawBytes(), line->coding); }

bool FieldView::blank() const {
    const std::string_view columns = rawBytes();
    const std::size_t width = widthOf(line->coding);
    for (std::size_t i = 0; i < columns.size(); i += width)
        if (!codec::isBlank(columns[i]) || (width == 2 && columns[i + 1] != 0)) return false;
    return true;
}

bool FieldView::valid() const {
    DecodedValue value;
    return !field || LineReading::read(*line, LineReading::own(*this), value) || !value.unreadable;
}

std::optional<std::string> FieldView::text() const {
    DecodedValue value;
    if (LineReading::readKind<FieldKind::Text>(*this, value)) return LineReading::textOf(*line, value);
    if (!field || field->kind == FieldKind::Text || !LineReading::read(*this, value)) return std::nullopt;
    return utf8::encode(textOf(*field, asFieldValue(field->kind, value)));
}

std::optional<std::string_view> FieldView::text(std::string& buffer) const {
    DecodedValue value;
    if (LineReading::readKind<FieldKind::Text>(*this, value)) return LineReading::textOf(*line, value, buffer);
    std::optional<std::string> other = text();
    if (!other) return std::nullopt;
    return buffer = std::move(*other);
}

std::optional<long long> FieldView::integer() const {
    DecodedValue value;
    if (!LineReading::readKind<FieldKind::Integer>(*this, value)) return std::nullopt;
    return value.integer;
}

std::optional<double> FieldView::real() const {
    DecodedValue value;
    if (LineReading::readKind<FieldKind::Decimal>(*this, value)) return value.real;
    if (LineReading::readKind<FieldKind::Integer>(*this, value)) return static_cast<double>(value.integer);
    return std::nullopt;
}

std::optional<bool> FieldView::flag() const {
    DecodedValue value;
    if (!LineReading::readKind<FieldKind::Flag>(*this, value)) return std::nullopt;
    return value.integer != 0;
}

std::optional<char32_t> FieldView::code() const {
    DecodedValue value;
    if (!LineReading::readKind<FieldKind::Code>(*this, value)) return std::nullopt;
    return static_cast<char32_t>(value.integer);
}

std::optional<std::uint16_t> FieldView::alarms() const {
    DecodedValue value;
    if (!LineReading::readKind<FieldKind::AlarmFlags>(*this, value)) return std::nullopt;
    return static_cast<std::uint16_t>(value.integer);
}

std::optional<sys_seconds> FieldView::time() const {
    DecodedValue value;
    if (!LineReading::readTime(*this, value)) return std::nullopt;
    return timeOf(value.integer);
}

std::optional<local_days> FieldView::day() const {
    DecodedValue value;
    if (!LineReading::readTime(*this, value)) return std::nullopt;
    return localDayOf(value.integer);
}

std::optional<std::chrono::year> FieldView::year() const {
    DecodedValue value;
    if (!LineReading::readTime(*this, value) && !LineReading::readKind<FieldKind::Year>(*this, value)) return std::nullopt;
    return year_month_day{localDayOf(value.integer)}.year();
}

// ---- LineView -------------------------------------------------------------------------------------------------------

std::size_t LineView::size() const { return content.size() / widthOf(coding); }

FieldView LineView::operator[](std::string_view name) const {
    const Field* const field = fieldNamed(name);
    return {*this, field ? inLine(*field) : nullptr};
}

// Returns nullptr if the line has no kind.
const Field* LineView::fieldNamed(std::string_view name) const {
    if (!record) return nullptr;
    if (const Field* field = record->field(name)) return field;
    std::vector<std::string_view> names;
    for (const Field& field : record->fields) names.push_back(field.name);
    throw std::invalid_argument(
        concat("tramo: a ", record->name, " line has no field \"", printable(name), '"', didYouMean(name, names)));
}

bool LineView::decode(std::span<DecodedValue> values) const {
    if (!record || values.size() < record->fields.size()) return false;
    if (size() < recordLength) return LineReading::decodeEach(*this, values);
    if (coding == Encoding::Ansi) return tramo::decode(*record, content, values);
    if (const char* const bytes = LineReading::plainOf(*this)) return tramo::decode(*record, {bytes, recordLength}, values);
    std::array<char16_t, recordLength> units{};
    for (std::size_t i = 0; i < recordLength; ++i) units[i] = char16_t{encoding::unitAt(unsignedOf(content), i)};
    return tramo::decode(*record, std::u16string_view(units.data(), units.size()), values);
}

std::string_view LineView::text(const DecodedValue& value, std::string& buffer) const {
    return LineReading::textOf(*this, value, buffer);
}

std::string LineView::utf8() const { return utf8Of(content, coding); }

std::wstring LineView::wide() const {
    std::wstring text(size(), L'\0');
    encoding::read(unsignedOf(content), text.size(), coding == Encoding::Utf16, text.data());
    return text;
}

void LineView::copyTo(wchar_t* buffer, std::size_t bufferSize) const {
    const std::size_t length = bufferSize - 2, count = std::min(size(), length);
    encoding::read(unsignedOf(content), count, coding == Encoding::Utf16, buffer);
    std::fill(buffer + count, buffer + length, L' ');
    buffer[length] = L'\r';
    buffer[length + 1] = L'\n';
}

std::vector<Finding> LineView::findings(const CheckOptions& options) const {
    std::vector<Finding> found;
    CheckOptions chosen = options;
    chosen.rounds = false;
    if (!chosen.kind && !chosen.prevailing) {
        chosen.kind = shape;
        chosen.prevailing = prevailing;
    }
    Checker checker(chosen);
    Checker::End end{.lines = lineNumber, .charactersUnread = 0, .isLastByteOdd = problem == LineFault::HalfCharacter};
    if (problem == LineFault::Unread && !content.starts_with("\xFF\xFF")) {
        found.push_back(findingOf("TextUnread", "line comes after a line that begins with U+FFFF, which ends the text",
            counted(size(), "character") + " cannot be read"));
        found.back().line = lineNumber;
    } else if (problem == LineFault::Unread) {
        end.charactersUnread = size();
        --end.lines;  // this line is not counted among those that were read
    } else if (size() > 0 || problem != LineFault::HalfCharacter) {
        SecretText text(size(), L'\0');
        encoding::read(unsignedOf(content), text.size(), coding == Encoding::Utf16, text.data());
        checker.line({.text = text,
                         .carriageReturn = lineEnd == LineEnding::CrLf || lineEnd == LineEnding::Cr,
                         .lineFeed = lineEnd == LineEnding::CrLf || lineEnd == LineEnding::Lf,
                         .number = lineNumber},
            found);
    }
    if (end.charactersUnread || end.isLastByteOdd) checker.end(end, found);
    return found;
}

// ---- Line -----------------------------------------------------------------------------------------------------------

Line::Line(const RecordKind& kind, Encoding encoding) {
    const auto length = static_cast<std::size_t>(kind.length);
    std::wstring text(length, L' ');
    if (kind.letter) text.front() = kind.letter;
    encoding::append(own, std::wstring_view(text), encoding == Encoding::Utf16);
    takeOwn();
    coding = encoding;
    fields = &kindFieldsOf(kind);
    record = &kind;
    problem = LineFault::None;
    for (const LineKind one : {LineKind::Record, LineKind::Parameter, LineKind::Tag})
        if (shapeOf(one).length == length) shape = one;
}

Line::Line(const LineView& line) : LineView(line), own(line.bytes()) { takeOwn(); }
Line::Line(const Line& other) : LineView(other), own(other.own) { takeOwn(); }
Line::Line(Line&& other) noexcept : LineView(other), own(std::move(other.own)) { takeFrom(other); }

Line& Line::operator=(const Line& other) {
    if (this != &other) *this = Line(other);
    return *this;
}

Line& Line::operator=(Line&& other) noexcept {
    if (this == &other) return *this;
    LineView::operator=(other);
    own = std::move(other.own);
    takeFrom(other);
    return *this;
}

// The characters of the line are its own now.
void Line::takeOwn() noexcept {
    content = own;
    isMapped = false;
    room = nullptr;
}

// Leaves an empty line there.
void Line::takeFrom(Line& other) noexcept {
    takeOwn();
    other.own.clear();
    other.isMapped = false;
    other.content = {};
    other.fields = nullptr;
    other.record = nullptr;
    other.shape.reset();
    other.problem = LineFault::Empty;
}

// ---- Changes --------------------------------------------------------------------------------------------------------

namespace {

using Held = NewValue::Held;

const char* wordsOf(FieldKind kind) {
    switch (kind) {
    case FieldKind::Text: return "a text";
    case FieldKind::Integer: return "an integer";
    case FieldKind::Decimal: return "a number";
    case FieldKind::Date:
    case FieldKind::DateTime: return "a day or a time";
    case FieldKind::Year: return "a year";
    case FieldKind::Code: return "a character";
    case FieldKind::Flag: return "a flag";
    case FieldKind::AlarmFlags: return "alarm flags (an integer or four hexadecimal digits)";
    }
    return "";
}

// In the order of the alternatives.
const char* wordsOf(const Held& value) {
    constexpr const char* words[] = {
        "no value", "a text", "an integer", "a decimal number", "a flag", "a character", "a time", "a day", "a year"};
    return words[value.index()];
}

template <class Number> std::string digitsOf(Number number) {
    std::array<char, 400> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), result.ptr};
}

// The digits before the decimal point, with the sign.
std::size_t integerWidth(double number) {
    std::array<char, 400> text{};
    const char* const end = putDecimal(text.data(), text.data() + text.size(), std::trunc(number), std::chars_format::fixed, 0);
    return static_cast<std::size_t>(end - text.data());
}

std::string codePoint(char32_t c) {
    std::array<char, 8> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), static_cast<std::uint32_t>(c), 16);
    std::string digits(text.data(), result.ptr);
    std::ranges::transform(digits, digits.begin(), [](char d) { return d >= 'a' ? static_cast<char>(d - 'a' + 'A') : d; });
    return "U+" + std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits;
}

// The alarm flags of a text as FieldView::text returns it.
std::optional<long long> flagsOf(std::string_view text) {
    long long bits = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, bits, 16);
    const bool areDigits = text.size() == 4 && text[0] != '-' && result.ec == std::errc() && result.ptr == end;
    return areDigits ? std::optional(bits) : std::nullopt;
}

// Converts a new value to that of a field, or says why the field cannot hold it.
class Conversion {
public:
    Conversion(const Field& of, Encoding encodingOfLine) : field(of), encoding(encodingOfLine) {}

    SetResult failure{};

    std::optional<FieldValue> convert(const Held& value) {
        switch (field.kind) {
        case FieldKind::Text:
            if (const auto* text = std::get_if<std::string_view>(&value)) return ofText(*text);
            break;
        case FieldKind::Integer:
            if (const auto* number = std::get_if<long long>(&value)) return ofInteger(*number);
            if (const auto* number = std::get_if<double>(&value); number && std::fabs(*number) >= 0x1p63)
                return tooWide(integerWidth(*number));
            break;
        case FieldKind::Decimal:
            if (const auto* number = std::get_if<double>(&value)) return ofDecimal(*number);
            if (const auto* number = std::get_if<long long>(&value)) return ofWholeDecimal(*number);
            break;
        case FieldKind::Date:
        case FieldKind::DateTime:
            if (const auto* time = std::get_if<sys_seconds>(&value)) return ofTime(*time);
            if (const auto* day = std::get_if<local_days>(&value)) return ofDay(*day);
            break;
        case FieldKind::Year:
            if (const auto* number = std::get_if<std::chrono::year>(&value)) return ofYear(*number);
            break;
        case FieldKind::Code:
            if (const auto* code = std::get_if<char32_t>(&value)) return ofCode(*code);
            break;
        case FieldKind::Flag:
            if (const auto* flag = std::get_if<bool>(&value)) return FieldValue(*flag);
            break;
        case FieldKind::AlarmFlags:
            if (const auto* bits = std::get_if<long long>(&value)) return ofAlarms(*bits);
            if (const auto* text = std::get_if<std::string_view>(&value))
                if (const auto bits = flagsOf(*text)) return ofAlarms(*bits);
            break;
        }
        return fail(SetResult::WrongType, concat("expected ", wordsOf(field.kind), ", found ", wordsOf(value)));
    }

    std::nullopt_t fail(SetResult::Code code, std::string_view reason) {
        failure = {code, concat(field.name, ": ", reason)};
        return std::nullopt;
    }
    std::nullopt_t tooWide(std::size_t needed) {
        return fail(SetResult::TooWide, concat("the value needs ", counted(needed, "column"), "; the field has ", field.width));
    }

private:
    std::optional<FieldValue> ofText(std::string_view text) {
        std::optional<std::wstring> wide = utf8::decodeValid(text);
        if (!wide) return fail(SetResult::NotInEncoding, "the text is not valid UTF-8");
        if (wide->find_first_of(L"\r\n") != std::wstring::npos)
            return fail(SetResult::NotInField, "the text contains a line ending (CR or LF)");
        if (field.column == 1 && encoding == Encoding::Utf16 && wide->starts_with(static_cast<wchar_t>(0xFFFF)))
            return fail(SetResult::NotInField, "U+FFFF at the beginning of a line ends the text of the file");
        if (encoding == Encoding::Ansi)
            if (const std::size_t at = encoding::findAbove(encoding::mostOfAnsi, *wide); at != std::wstring::npos)
                return fail(SetResult::NotInEncoding,
                    concat("ANSI has no character ", codePoint(utf16::first(std::wstring_view(*wide).substr(at)).code)));
        if (wide->size() > static_cast<std::size_t>(field.width)) return tooWide(wide->size());
        return FieldValue(std::move(*wide));
    }

    std::optional<FieldValue> ofInteger(long long number) {
        const std::size_t needed = digitsOf(number).size();
        if (needed > static_cast<std::size_t>(field.width)) return tooWide(needed);
        return FieldValue(number);
    }

    std::optional<FieldValue> ofDecimal(double number) {
        if (!std::isfinite(number)) return fail(SetResult::NotInField, "the number is not finite");
        if (const std::size_t needed = integerWidth(number); needed > static_cast<std::size_t>(field.width))
            return tooWide(needed);
        return FieldValue(number);
    }

    std::optional<FieldValue> ofWholeDecimal(long long number) {
        constexpr long long exact = 1LL << 53;
        if (number > exact || number < -exact) {
            if (const std::size_t needed = digitsOf(number).size(); needed > static_cast<std::size_t>(field.width))
                return tooWide(needed);
            return fail(SetResult::NotInField, "the integer has more digits than a decimal number keeps");
        }
        return ofDecimal(static_cast<double>(number));
    }

    std::nullopt_t beyond() { return fail(SetResult::NotInField, "the date is outside the 32-bit range of the format"); }

    std::optional<FieldValue> ofTime(sys_seconds time) {
        const long long instant = time.time_since_epoch().count();
        if (!std::in_range<long32>(instant) || instant == dates::noTime) return beyond();
        return FieldValue(instant);
    }

    std::optional<FieldValue> ofDate(year_month_day date) {
        if (!date.ok()) return fail(SetResult::NotInField, "the date does not exist");
        const int number = static_cast<int>(date.year());
        if (number < 1) return beyond();
        const long32 instant = dates::toInstant(
            static_cast<unsigned>(number), static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), 0, 0);
        if (instant == dates::noTime) return beyond();
        return FieldValue(static_cast<long long>(instant));
    }
    std::optional<FieldValue> ofDay(local_days day) {
        constexpr local_days first{std::chrono::year{1} / 1 / 1}, last{std::chrono::year{9999} / 12 / 31};
        return day < first || day > last ? std::optional<FieldValue>(beyond()) : ofDate(year_month_day{day});
    }
    std::optional<FieldValue> ofYear(std::chrono::year number) { return ofDate(number / January / 1); }

    std::optional<FieldValue> ofCode(char32_t code) {
        const auto wide = static_cast<wchar_t>(code);
        const std::size_t at = code <= 0xFFFF && code != 0 ? field.codes.find(wide) : std::wstring::npos;
        if (at != std::wstring::npos && field.codesWritten[at] != 0) return FieldValue(wide);
        std::wstring found;
        if (code <= 0x10FFFF) utf16::append(found, code);
        if (at != std::wstring::npos)
            return fail(SetResult::NotWritable, concat("the format does not write the code ", tramo::quoted(found)));
        return fail(SetResult::NotInField, concat("unknown code ", tramo::quoted(found), "; expected ", listed(field.codes)));
    }

    std::optional<FieldValue> ofAlarms(long long bits) {
        constexpr long long end = 1LL << codec::alarmFlagCount;
        if (bits >= 0 && bits < end) return FieldValue(bits);
        return fail(SetResult::NotInField, concat("there are ", codec::alarmFlagCount, " alarm flags; expected 0 to ", end - 1));
    }

    const Field& field;
    Encoding encoding;
};

bool isSameValue(
    const Field& field, const FieldValue& value, const DecodedValue& read, std::string_view line, Encoding encoding) {
    if (!read.present) return false;
    if (field.kind != FieldKind::Text) return asFieldValue(field.kind, read) == value;
    const std::size_t width = widthOf(encoding);
    const std::string_view text = line.substr(read.first * width, read.size * width);
    std::wstring wide(read.size, L'\0');
    encoding::read(unsignedOf(text), wide.size(), encoding == Encoding::Utf16, wide.data());
    return wide == std::get<std::wstring>(value);
}

std::string whyNotWritten(const Field& field, const FieldValue& value) {
    if (field.written == "never") return "the format never writes the field";
    return concat(
        "the format does not write ", tramo::quoted(textOf(field, value)), ": the field is written ", whenWritten(field));
}

std::string whyNotRead(const Field& field, const FieldValue& value, const std::wstring& columns, const DecodedValue& read) {
    const std::string written = concat(tramo::quoted(textOf(field, value)), " is written as ", tramo::quoted(columns));
    if (!read.present) return written + ", which is not read as a value";
    if (field.kind == FieldKind::Text) return written + ", which is read without the white space at its end";
    return concat(written, ", which is read as ", tramo::quoted(textOf(field, asFieldValue(field.kind, read))));
}

bool isBlankText(const Held& value) {
    const auto* text = std::get_if<std::string_view>(&value);
    return text && text->empty();
}

}  // namespace

SetResult Line::set(const Field& field, const NewValue& value) {
    if (!inLine(field)) return {SetResult::NoField, concat(field.name, ": the line does not have this field")};
    const bool isBlank =
        std::holds_alternative<std::nullopt_t>(value.get()) || (field.kind == FieldKind::Text && isBlankText(value.get()));
    Conversion conversion(field, coding);
    std::optional<FieldValue> wanted;
    std::wstring columns(static_cast<std::size_t>(field.width), L' ');
    if (!isBlank) {
        wanted = conversion.convert(value.get());
        if (!wanted) return conversion.failure;
        WrittenField written = writeField(*record, field, *wanted);
        switch (written.result) {
        case WrittenField::Good: break;
        case WrittenField::NotHeld:
            conversion.fail(SetResult::NotInField, concat("the field cannot hold ", tramo::quoted(textOf(field, *wanted))));
            return conversion.failure;
        case WrittenField::NotWritten:
            conversion.fail(SetResult::NotWritable, whyNotWritten(field, *wanted));
            return conversion.failure;
        case WrittenField::TooWide: conversion.tooWide(static_cast<std::size_t>(field.width) + 1); return conversion.failure;
        }
        columns = std::move(written.columns);
    }
    const std::size_t width = widthOf(coding), first = static_cast<std::size_t>(field.column - 1) * width;
    std::string bytes;
    encoding::append(bytes, std::wstring_view(columns), coding == Encoding::Utf16);
    const std::string before = own.substr(first, bytes.size());
    const auto write = [&](const std::string& text) noexcept {  // as long as the text there: nothing is allocated
        own.replace(first, text.size(), text);
        isMapped = false;
    };
    write(bytes);
    if (!wanted) return {};
    DecodedValue read;
    try {
        LineReading::read(*this, *fields->sources[field.index].own, read);
        if (isSameValue(field, *wanted, read, content, coding)) return {};
    } catch (...) {  // memory is lacking
        write(before);
        throw;
    }
    write(before);
    conversion.fail(SetResult::NotWritable, whyNotRead(field, *wanted, columns, read));
    return conversion.failure;
}

SetResult Line::set(std::string_view name, const NewValue& value) {
    if (const Field* field = fieldNamed(name)) return set(*field, value);
    return {SetResult::NoField, concat(printable(name), ": the line does not have this field")};
}

void Line::fill(std::initializer_list<NamedValue> values) {
    Line changed(*this);
    for (const auto& [name, value] : values) changed.set(name, value).orThrow();
    *this = std::move(changed);
}

void SetResult::orThrow() const {
    if (code != Done) throw std::invalid_argument(reason);
}

}  // namespace tramo
