// A file, read line by line with Reader, compared with the classic stream and the models; a field of it changed; written with
// Writer and read again; and read as a round. The first byte selects how the file is read, the next six a field and its new
// value.
#include "support.h"
#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <system_error>
#include <tramostream/ifilestream.h>
#include <tramostream/keyline.h>
#include <tramostream/linemodel.h>
#include <tramostream/reader.h>
#include <tramostream/round.h>
#include <tramostream/stringconverter.h>
#include <tramostream/wording.h>
#include <unistd.h>
#include <vector>

namespace {

using tramo::Encoding, tramo::Field, tramo::FieldKind, tramo::FieldValue, tramo::FieldView, tramo::Line, tramo::LineEnding,
    tramo::LineFault, tramo::LineKind, tramo::LineModel, tramo::LineView, tramo::NewValue, tramo::Reader, tramo::ReadOptions,
    tramo::RecordKind, tramo::RoundFile, tramo::SetResult, tramo::Writer;

constexpr std::size_t blockSize = 256 << 10;
constexpr std::string_view mark = "\xFF\xFE";

// How the file is read, by the bits of a byte.
struct Choice {
    unsigned bits;

    bool isWide() const { return bits >> 7 & 1; }
    bool isPadded() const { return bits >> 6 & 1; }  // a zero stands for the spaces that a record lacks
    bool isLong() const { return (bits >> 3 & 7) == 7; }
    bool isInMemory() const { return bits >> 3 & 1; }
    bool isDescriptor() const { return bits >> 4 & 1; }
    bool givesEncoding() const { return bits >> 5 & 1; }

    ReadOptions options() const {
        ReadOptions chosen;
        if (givesEncoding()) chosen.encoding = isWide() ? Encoding::Utf16 : Encoding::Ansi;
        if (bits >> 2 & 1) chosen.kind = static_cast<LineKind>(bits & 3);
        return chosen;
    }
};

// ---- Lines ----------------------------------------------------------------------------------------------------------

std::string endingOf(const LineView& line) {
    const bool isWide = line.encoding() == Encoding::Utf16;
    const bool hasReturn = line.ending() == LineEnding::CrLf || line.ending() == LineEnding::Cr;
    const bool hasFeed = line.ending() == LineEnding::CrLf || line.ending() == LineEnding::Lf;
    std::string ending;
    for (const char c : {hasReturn ? '\r' : '\0', hasFeed ? '\n' : '\0'}) {
        if (c == '\0') continue;
        ending += c;
        if (isWide) ending += '\0';
    }
    return ending;
}

std::vector<Line> copyOf(Reader& reader) {
    std::vector<Line> lines;
    for (const LineView& line : reader) lines.emplace_back(line);
    FUZZ_CHECK(!reader.next() && !reader.error());
    return lines;
}

std::vector<Line> linesOf(const fuzz::File& file, const std::string& bytes, Choice choice) {
    const ReadOptions options = choice.options();
    const auto read = [](Reader reader) { return copyOf(reader); };
    if (choice.isInMemory()) return read(Reader::ofBytes(bytes, options));
    if (!choice.isDescriptor()) return read(Reader(std::nothrow, file.path(), options));
    const int descriptor = ::open(file.path(), O_RDONLY | O_CLOEXEC);
    FUZZ_CHECK(descriptor >= 0);
    auto lines = read(Reader::ofDescriptor(descriptor, "file", options));
    ::close(descriptor);
    return lines;
}

void checkTogether(const std::vector<Line>& lines, const std::string& bytes, bool isWide) {
    std::string all(isWide && bytes.starts_with(mark) ? mark : "");
    std::int64_t number = 0;
    for (const Line& line : lines) {
        FUZZ_CHECK(line.number() == ++number);
        FUZZ_CHECK(line.offset() == all.size());
        FUZZ_CHECK(line.encoding() == (isWide ? Encoding::Utf16 : Encoding::Ansi));
        all += line.bytes();
        all += endingOf(line);
    }
    FUZZ_CHECK(all == bytes);
}

// The fault of a line of this kind, by its length, its letter and its ending.
LineFault faultOf(const LineView& line) {
    const std::size_t size = line.size(), length = tramo::shapeOf(line.lineKind().value_or(LineKind::Key)).length;
    if (line.encoding() == Encoding::Utf16 && line.bytes().size() % 2 != 0) return LineFault::HalfCharacter;
    if (size == 0) return LineFault::Empty;
    if (!line.lineKind()) return LineFault::UnknownKind;
    if (line.lineKind() == LineKind::Key) return LineFault::None;
    if (size < length) return LineFault::TooShort;
    if (size > length + (line.ending() == LineEnding::Lf ? 1U : 0U)) return LineFault::TooLong;
    if (line.lineKind() == LineKind::Record && !tramo::isRecordLetter(line.wide()[0])) return LineFault::UnknownLetter;
    return LineFault::None;
}

// The classic stream must have the same lines, up to the end of the text.
void checkAgainstStream(const std::vector<Line>& lines, const fuzz::File& file, bool isWide) {
    iFileStream stream;
    stream.open(file.path(), isWide ? StrConv::ENCODING_UTF16LE : StrConv::ENCODING_ANSI);
    for (const Line& line : lines) {
        if (line.fault() == LineFault::Unread) {
            FUZZ_CHECK(stream.eof());
            return;
        }
        FUZZ_CHECK(line.fault() == faultOf(line));
        if (line.fault() == LineFault::HalfCharacter && line.size() == 0) break;
        FUZZ_CHECK(!stream.eof());
        AMRKeyLine expected;
        stream.getline(expected);
        std::wstring text = line.wide();
        const bool hasReturn = line.ending() == LineEnding::CrLf || line.ending() == LineEnding::Cr;
        if (hasReturn) text += L'\r';
        FUZZ_CHECK(text == expected.line);
        FUZZ_CHECK(line.number() == stream.getLineNumber());
    }
    FUZZ_CHECK(stream.eof());
}

// ---- Values ---------------------------------------------------------------------------------------------------------

std::tm localTime(long long instant) {
    const auto seconds = static_cast<std::time_t>(instant);
    std::tm local{};
    FUZZ_CHECK(localtime_r(&seconds, &local) != nullptr);
    return local;
}

void checkTime(const FieldView& view, long long instant, long long absent) {
    FUZZ_CHECK(view.time().has_value() == view.day().has_value() && view.day().has_value() == view.year().has_value());
    FUZZ_CHECK((view.time() ? view.time()->time_since_epoch().count() : absent) == instant);
    if (!view.day()) return;
    const std::tm local = localTime(instant);
    const std::chrono::year_month_day day(*view.day());
    FUZZ_CHECK(static_cast<int>(day.year()) == local.tm_year + 1900 && day.year() == *view.year());
    FUZZ_CHECK(static_cast<int>(static_cast<unsigned>(day.month())) == local.tm_mon + 1);
    FUZZ_CHECK(static_cast<int>(static_cast<unsigned>(day.day())) == local.tm_mday);
}

// The value must be that of the model, or absent where the model has that of a blank line.
void checkValue(const FieldView& view, const Field& field, const FieldValue& value, const FieldValue& absent) {
    const auto number = [](const FieldValue& of) { return std::get<long long>(of); };
    const auto bits = [](const FieldValue& of) { return std::bit_cast<std::uint64_t>(std::get<double>(of)); };
    const auto isAs = [&](const auto& found, auto of) {
        FUZZ_CHECK(static_cast<long long>(found.value_or(of(absent))) == of(value));
    };
    switch (field.kind) {
    case FieldKind::Text: FUZZ_CHECK(view.text().value_or("") == fuzz::utf8Of(std::get<std::wstring>(value))); break;
    case FieldKind::Integer: isAs(view.integer(), number); break;
    case FieldKind::Decimal:
        FUZZ_CHECK(std::bit_cast<std::uint64_t>(view.real().value_or(std::get<double>(absent))) == bits(value));
        break;
    case FieldKind::Date:
    case FieldKind::DateTime: checkTime(view, number(value), number(absent)); break;
    case FieldKind::Year:
        if (view.year()) FUZZ_CHECK(static_cast<int>(*view.year()) == localTime(number(value)).tm_year + 1900);
        else FUZZ_CHECK(value == absent);
        break;
    case FieldKind::Code:
        FUZZ_CHECK(view.code().value_or(static_cast<char32_t>(std::get<wchar_t>(absent))) ==
                   static_cast<char32_t>(std::get<wchar_t>(value)));
        break;
    case FieldKind::Flag: FUZZ_CHECK(view.flag().value_or(std::get<bool>(absent)) == std::get<bool>(value)); break;
    case FieldKind::AlarmFlags: isAs(view.alarms(), number); break;
    }
}

void checkValues(const LineView& line) {
    const std::wstring text = line.wide();
    const LineModel model = LineModel::of(*line.kind(), text), blank = LineModel::blank(*line.kind());
    std::vector<std::pair<int, int>> unreadable, expected;
    for (const Field& field : line.kind()->fields) {
        const FieldView view = line[field];
        if (field.column == 0) {
            FUZZ_CHECK(!view.text() && view.blank() && view.valid());
            continue;
        }
        checkValue(view, field, model.get(field), blank.get(field));
        if (!view.valid()) unreadable.emplace_back(field.parseError.column, field.parseError.code);
        const std::wstring columns =
            text.substr(static_cast<std::size_t>(field.column - 1), static_cast<std::size_t>(field.width));
        FUZZ_CHECK(view.raw() == fuzz::utf8Of(columns));
        FUZZ_CHECK(view.blank() == (columns.find_first_not_of(L" \t\n\v\f\r") == std::wstring::npos));
    }
    for (const TE::FieldError& error : model.parseErrors()) expected.emplace_back(error.column, error.code);
    std::ranges::sort(unreadable);
    std::ranges::sort(expected);
    FUZZ_CHECK(unreadable == expected);
}

// ---- Changes --------------------------------------------------------------------------------------------------------

// A new value, as the caller has it.
struct Given {
    Given(unsigned type, std::uint32_t number, const std::string& bytes)
        : text(textOf(type, number, bytes)), integer(type & 16 ? static_cast<std::int32_t>(number) : number & 0xFFF),
          value(valueOf(type & 15)) {}
    Given(const Given&) = delete;
    Given& operator=(const Given&) = delete;

    std::string text;
    long long integer;
    NewValue value;

private:
    // A number, or some bytes of the file.
    static std::string textOf(unsigned type, std::uint32_t number, const std::string& bytes) {
        if (type & 16) return std::to_string(number >> (number & 31));
        return bytes.empty() ? "" : bytes.substr(number % bytes.size(), number >> 16 & 0xFF);
    }
    NewValue valueOf(unsigned type) const {
        const std::chrono::year year(static_cast<int>(integer & 0xFFF));
        switch (type) {
        case 0: return std::nullopt;
        case 1: return integer;
        case 2: return static_cast<double>(integer) / 1000;
        case 3: return (integer & 1) != 0;
        case 4: return static_cast<char32_t>(integer);
        case 5: return std::chrono::sys_seconds{std::chrono::seconds{integer}};
        case 6: return std::chrono::sys_seconds{std::chrono::minutes{integer}};
        case 7: return std::chrono::local_days{std::chrono::days{integer}};
        case 8: return std::chrono::local_days{year / 1 / 1};  // midnight is in another year in UTC
        case 9: return year;
        default: return text;
        }
    }
};

// What is read back must be what was given.
void checkReadBack(const FieldView& view, const Field& field, const Given& given) {
    const auto& held = given.value.get();
    if (const auto* text = std::get_if<std::string_view>(&held)) {
        FUZZ_CHECK(text->empty() ? view.raw().find_first_not_of(' ') == std::string::npos : view.text() == *text);
    } else if (const auto* integer = std::get_if<long long>(&held)) {
        if (field.kind == FieldKind::Integer) FUZZ_CHECK(view.integer() == *integer);
        else if (field.kind == FieldKind::Decimal) FUZZ_CHECK(view.real() == static_cast<double>(*integer));
        else FUZZ_CHECK(view.alarms() == *integer);
    } else if (const auto* real = std::get_if<double>(&held)) {
        FUZZ_CHECK(view.real() == *real);
    } else if (const auto* flag = std::get_if<bool>(&held)) {
        FUZZ_CHECK(view.flag() == *flag);
    } else if (const auto* code = std::get_if<char32_t>(&held)) {
        FUZZ_CHECK(view.code() == *code);
    } else if (const auto* time = std::get_if<std::chrono::sys_seconds>(&held)) {
        FUZZ_CHECK(view.time() == *time);
    } else if (const auto* day = std::get_if<std::chrono::local_days>(&held)) {
        FUZZ_CHECK(view.day() == *day);
    } else if (const auto* year = std::get_if<std::chrono::year>(&held)) {
        FUZZ_CHECK(view.year() == *year);
    } else {
        FUZZ_CHECK(view.raw().find_first_not_of(' ') == std::string::npos);
    }
}

// A change must write only into its columns, and into none if it fails.
void change(Line& line, const Field& field, const Given& given) {
    const std::string before(line.bytes());
    const SetResult result = line.set(field, given.value);
    if (!result) {
        FUZZ_CHECK(line.bytes() == before && result.reason.starts_with(field.name + ": "));
        return;
    }
    FUZZ_CHECK(result.reason.empty() && field.column > 0);
    const std::size_t width = line.encoding() == Encoding::Utf16 ? 2 : 1;
    const std::size_t first = static_cast<std::size_t>(field.column - 1) * width;
    const std::size_t end = first + static_cast<std::size_t>(field.width) * width;
    FUZZ_CHECK(line.bytes().size() == before.size());
    FUZZ_CHECK(line.bytes().substr(0, first) == before.substr(0, first) && line.bytes().substr(end) == before.substr(end));
    FUZZ_CHECK(line[field].valid());
    const bool isOfOther = !field.readInto.empty() && !line[field].blank();
    const Field& reader = isOfOther ? *line.kind()->field(field.readInto) : field;
    checkReadBack(line[reader], field, given);
    checkValues(line);
}

// ---- Files ----------------------------------------------------------------------------------------------------------

std::string written(const auto& lines, Encoding encoding) {
    const fuzz::File file;
    Writer writer(file.path(), encoding);
    for (const LineView& line : lines) writer.put(line);
    writer.commit();
    return file.content();
}

std::string joined(const std::vector<Line>& lines, bool isWide) {
    std::string all(isWide ? mark : "");
    for (const Line& line : lines) {
        all += line.bytes();
        all += endingOf(line);
    }
    return all;
}

// A file after itself: a last line without a line ending gets one.
void checkTwice(const std::vector<Line>& lines, const std::string& bytes, bool isWide) {
    const bool hasMark = isWide && bytes.starts_with(mark);
    std::string expected = bytes, missing;
    const LineEnding last = lines.empty() ? LineEnding::CrLf : lines.back().ending();
    for (const char c :
        {last == LineEnding::None ? '\r' : '\0', last == LineEnding::None || last == LineEnding::Cr ? '\n' : '\0'})
        if (c != '\0') missing += isWide ? std::string{c, '\0'} : std::string{c};
    expected += missing + bytes.substr(hasMark ? mark.size() : 0);
    std::vector<Line> twice = lines;
    twice.insert(twice.end(), lines.begin(), lines.end());
    const bool isRefused = isWide && bytes.size() % 2 != 0;
    try {
        FUZZ_CHECK(written(twice, isWide ? Encoding::Utf16 : Encoding::Ansi) == expected);
        FUZZ_CHECK(!isRefused);
    } catch (const std::system_error& error) { FUZZ_CHECK(isRefused && error.code() == std::errc::illegal_byte_sequence); }
}

// In the other encoding, the characters are the same, or the file is refused.
void checkOtherEncoding(const std::vector<Line>& lines, bool isWide) {
    const auto hasNone = [](const Line& line) {
        const std::wstring text = line.wide();
        const bool isFirst = line.number() == 1;
        return line.bytes().size() % 2 != 0 || (isFirst && text.starts_with(L"\xFF\xFE")) ||
               std::ranges::any_of(text, [](wchar_t c) { return c > 0xFF; });
    };
    const bool isRefused = isWide && std::ranges::any_of(lines, hasNone);
    std::string bytes;
    try {
        bytes = written(lines, isWide ? Encoding::Ansi : Encoding::Utf16);
        FUZZ_CHECK(!isRefused);
    } catch (const std::system_error& error) {
        FUZZ_CHECK(isRefused && error.code() == std::errc::illegal_byte_sequence);
        return;
    }
    Reader again = Reader::ofBytes(bytes);
    for (const Line& line : lines) {
        const LineView* other = again.next();
        FUZZ_CHECK(other && other->wide() == line.wide() && other->ending() == line.ending());
    }
    FUZZ_CHECK(!again.next());
}

// Every line belongs to one part of the file, and every value comes from columns of a line.
void checkRound(const RoundFile& file) {
    std::vector<const LineView*> placed, all;
    const auto count = static_cast<std::int64_t>(file.lines().size());
    const auto isIn = [&](const tramo::Origin& origin) {
        return origin.line >= 1 && origin.line <= count && origin.column >= 1 && origin.width >= 0 &&
               origin.column - 1 + origin.width <= file.lines()[static_cast<std::size_t>(origin.line - 1)].kind()->length;
    };
    const auto isField = [&](const tramo::Origin& origin) {
        return isIn(origin) &&
               std::ranges::any_of(file.lines()[static_cast<std::size_t>(origin.line - 1)].kind()->fields,
                   [&](const Field& field) { return field.column == origin.column && field.width == origin.width; });
    };
    const auto checkOrigins = [&](const auto& values) {
        for (const auto& value : values) FUZZ_CHECK(isField(value.origin));
    };
    for (const tramo::Round& round : file.rounds()) {
        if (round.header()) placed.push_back(round.header());
        placed.insert(placed.end(), round.pages().begin(), round.pages().end());
        FUZZ_CHECK(round.read() + round.unread() == round.meters().size());
        for (const tramo::Area& area : round.areas()) FUZZ_CHECK(isIn(area.origin));
        for (const tramo::Meter& meter : round.meters()) {
            placed.insert(placed.end(), meter.lines().begin(), meter.lines().end());
            FUZZ_CHECK(meter.reading().has_value() == (meter.state() == tramo::Meter::State::Read));
            FUZZ_CHECK(meter.serial().empty() || round.meter(meter.serial())->serial() == meter.serial());
            for (const tramo::AreaText& area : meter.areas()) FUZZ_CHECK(isIn(area.origin));
            checkOrigins(meter.history());
            checkOrigins(meter.moduleReadings());
            checkOrigins(meter.alarms());
            checkOrigins(meter.changes());
            checkOrigins(meter.answers());
            if (const auto place = meter.place()) FUZZ_CHECK(isField(place->origin));
            static_cast<void>(meter.difference());
        }
    }
    for (const tramo::Orphan& orphan : file.orphans()) placed.push_back(orphan.line);
    for (const LineView& line : file.lines()) {
        const bool isInformation = line.is<RecordInformationTramoModel>();
        if (!line.kind() || line.kind()->letter == 0 || isInformation) placed.push_back(&line);
        all.push_back(&line);
    }
    std::ranges::sort(placed);
    FUZZ_CHECK(placed == all);
    for (const tramo::Finding& finding : file.findings()) FUZZ_CHECK(finding.line >= 1 && finding.line <= count);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool ready = fuzz::silenceLibrary() && fuzz::takeZone();
    fuzz::Bytes rest(data, size);
    const Choice choice{fuzz::takeByte(rest)};
    const auto which = static_cast<unsigned>(fuzz::takeByte(rest)), type = static_cast<unsigned>(fuzz::takeByte(rest));
    const auto number = static_cast<std::uint32_t>(fuzz::takeNumber(rest, 4));

    std::string bytes(choice.isWide() ? mark : "");
    if (choice.isPadded()) {
        const auto padded = fuzz::encoded(fuzz::withSpaces(fuzz::textOf(rest, choice.isWide())), choice.isWide());
        bytes.assign(padded.begin(), padded.end());
    } else {
        bytes.append(rest.begin(), rest.end());
    }
    const std::string once = bytes.substr(choice.isWide() ? mark.size() : 0);
    while (choice.isLong() && once.size() > 100 && bytes.size() < blockSize) bytes += once;
    const bool isWide = choice.givesEncoding() ? choice.isWide() : bytes.starts_with(mark);

    const fuzz::File file(fuzz::Bytes(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
    std::vector<Line> lines = linesOf(file, bytes, choice);
    checkTogether(lines, bytes, isWide);
    checkAgainstStream(lines, file, isWide);
    const std::size_t checked = choice.isLong() ? std::min<std::size_t>(lines.size(), 8) : lines.size();
    for (std::size_t i = 0; i < checked; ++i)
        if (lines[i].kind()) checkValues(lines[i]);

    FUZZ_CHECK(written(lines, isWide ? Encoding::Utf16 : Encoding::Ansi) == bytes);
    if (!choice.isLong()) {
        checkTwice(lines, bytes, isWide);
        checkOtherEncoding(lines, isWide);
    }
    Reader reader = Reader::ofBytes(bytes, choice.options());
    const RoundFile round = RoundFile::read(reader);
    checkRound(round);
    const fuzz::File copy;
    Writer writer(copy.path(), isWide ? Encoding::Utf16 : Encoding::Ansi);
    round.write(writer);
    writer.commit();
    FUZZ_CHECK(copy.content() == bytes);

    const Given given(type, number, bytes);
    for (std::size_t i = 0; i < checked; ++i)
        if (const RecordKind* kind = lines[i].kind()) change(lines[i], kind->fields[which % kind->fields.size()], given);
    FUZZ_CHECK(written(lines, isWide ? Encoding::Utf16 : Encoding::Ansi) == joined(lines, isWide));
    return 0;
}
