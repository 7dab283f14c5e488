// The client in C, compiled as C++, as a unit test; and every function of the C interface with good and bad arguments.
#include "round/checkedlines.h"
#include "support/allocations.h"
#include "support/arrowtable.h"
#include "support/console.h"
#include "support/streamfiles.h"
#include "support/timezone.h"
#include "tramostream/linemodel.h"
#include "tramostream/messages.h"
#include <array>
#include <cerrno>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tramostream/c.h>
#include <variant>

namespace {

#define main client
#include "c/client.c"
#undef main

TEST(CInterface, client_reads_changes_and_checks_files) {
    const streams::TempFolder folder;
    std::string program = "client", returned = SAMPLES "/round-returned.txt", broken = SAMPLES "/round-broken.txt",
                changed = folder.path("changed.txt");
    char* arguments[] = {program.data(), returned.data(), broken.data(), changed.data()};
    EXPECT_EQ(client(4, arguments), 0);
}

constexpr const char* file = SAMPLES "/round-returned.txt";

struct Closing {
    void operator()(tramo_reader* handle) const { tramo_reader_close(handle); }
    void operator()(tramo_writer* handle) const { tramo_writer_close(handle); }
    void operator()(tramo_checker* handle) const { tramo_checker_free(handle); }
    void operator()(tramo_line* handle) const { tramo_line_free(handle); }
};
using Reader = std::unique_ptr<tramo_reader, Closing>;
using Writer = std::unique_ptr<tramo_writer, Closing>;
using Checker = std::unique_ptr<tramo_checker, Closing>;
using Line = std::unique_ptr<tramo_line, Closing>;

// The bytes must outlive the reader.
Reader readerOf(std::string_view bytes, tramo_encoding encoding = TRAMO_ANSI) {
    tramo_reader* reader = nullptr;
    EXPECT_EQ(tramo_reader_open_memory(bytes.data(), bytes.size(), encoding, &reader), TRAMO_OK);
    return Reader(reader);
}

Reader readerOfFile(const std::string& path, tramo_encoding encoding = TRAMO_AUTO) {
    tramo_reader* reader = nullptr;
    EXPECT_EQ(tramo_reader_open(path.c_str(), encoding, &reader), TRAMO_OK);
    return Reader(reader);
}

Writer writerOf(const std::string& path, tramo_encoding encoding = TRAMO_ANSI) {
    tramo_writer* writer = nullptr;
    EXPECT_EQ(tramo_writer_open(path.c_str(), encoding, &writer), TRAMO_OK);
    return Writer(writer);
}

const tramo_line* nextOf(const Reader& reader) {
    const tramo_line* line = nullptr;
    EXPECT_EQ(tramo_reader_next(reader.get(), &line), TRAMO_OK);
    return line;
}

Line blankLine(const tramo_kind* kind, tramo_encoding encoding = TRAMO_ANSI) {
    tramo_line* line = nullptr;
    EXPECT_EQ(tramo_line_new(kind, encoding, &line), TRAMO_OK);
    return Line(line);
}

Line copyOf(const tramo_line* original) {
    tramo_line* line = nullptr;
    EXPECT_EQ(tramo_line_copy(original, &line), TRAMO_OK);
    return Line(line);
}

tramo_line_info infoOf(const tramo_line* line) {
    tramo_line_info info{};
    EXPECT_EQ(tramo_line_get_info(line, &info), TRAMO_OK);
    return info;
}

std::string bytesOf(const tramo_line* line) {
    const tramo_line_info info = infoOf(line);
    return {info.bytes, info.size};
}

const tramo_field* fieldOf(const char* kind, const char* name) {
    const tramo_field* const field = tramo_find_field(tramo_find_kind(kind), name);
    EXPECT_NE(field, nullptr) << kind << ", " << name;
    return field;
}

// The characters of a line of a kind, with these in the columns of a field.
std::string lineWith(const tramo_kind* kind, const tramo_field* field, std::string_view columns) {
    std::string line(static_cast<std::size_t>(kind->length), ' ');
    if (kind->letter != 0) line[0] = kind->letter;
    if (!columns.empty()) line.replace(static_cast<std::size_t>(field->column - 1), columns.size(), columns);
    return line;
}

std::string textOf(const tramo_line* line, const tramo_field* field) {
    std::array<char, 200> text{};
    EXPECT_EQ(tramo_get_text(line, field, text.data(), text.size(), nullptr), TRAMO_OK);
    return text.data();
}

std::string rawOf(const tramo_line* line, const tramo_field* field) {
    std::array<char, 200> text{};
    EXPECT_EQ(tramo_get_raw(line, field, text.data(), text.size(), nullptr), TRAMO_OK);
    return text.data();
}

// The reader's own line, as a program without const could pass it.
tramo_line* changeable(const tramo_line* line) { return const_cast<tramo_line*>(line); }

// --- Arguments -------------------------------------------------------------------------------------------------------

// Good arguments for every function, of which one can be missing.
struct Arguments {
    Arguments() {
        EXPECT_EQ(tramo_set_text(own.get(), field, std::string(150, 'x').c_str()), TRAMO_OK);
        EXPECT_EQ(tramo_set_int64(own.get(), number, 12), TRAMO_OK);
        EXPECT_EQ(tramo_set_seconds(own.get(), day, 1'704'067'200), TRAMO_OK);
        EXPECT_EQ(tramo_checker_new(0, &checker), TRAMO_OK);
        EXPECT_EQ(tramo_checker_line(checker, line), TRAMO_OK);
    }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;
    ~Arguments() {
        tramo_checker_free(checker);
        tramo_reader_close(newReader);
        tramo_writer_close(newWriter);
        tramo_checker_free(newChecker);
        tramo_line_free(newLine);
        if (stream.release) stream.release(&stream);
    }

    // The argument at this position, counted from 1.
    template <class T> T* at(int position, T* pointer) const { return position == without ? nullptr : pointer; }

    bool hasOutput() const {
        return next || newReader || newWriter || newChecker || newLine || stream.release || info.size != 0 || finding.rule ||
               buffer[0] != '\0' || needed != 0 || integer != 0 || real != 0;
    }

    int without = 0;
    const TimeZone zone{"UTC0"};
    streams::TempFolder folder{};
    std::string path = folder.path("new.txt"), text = "short\r\n" + std::string(512, 'x');
    const tramo_kind* kind = tramo_find_kind("meter subscriber");
    const tramo_field* field = fieldOf("meter subscriber", "subscriberInformation");
    const tramo_field* number = fieldOf("meter subscriber", "meterReadingIndex");
    const tramo_field* day = fieldOf("meter subscriber", "meterPreviousReadingDate");
    const tramo_field* decimal = fieldOf("meter subscriber", "meterMinEstimatedConsumption");
    Reader source = readerOf(text), reader = readerOf(text);
    const tramo_line* line = nextOf(source);
    Writer writer = writerOf(folder.path("other.txt"));
    Line own = blankLine(kind);
    tramo_checker* checker = nullptr;

    const tramo_line* next = nullptr;
    tramo_reader* newReader = nullptr;
    tramo_writer* newWriter = nullptr;
    tramo_checker* newChecker = nullptr;
    tramo_line* newLine = nullptr;
    ArrowArrayStream stream{};
    tramo_line_info info{};
    tramo_finding finding{};
    std::array<char, 200> buffer{};
    size_t needed = 0;
    std::int64_t integer = 0;
    double real = 0;
};

struct Function {
    const char* name;
    int pointers;    // that must not be NULL
    bool allocates;  // each call needs memory
    bool isAgain;    // can be repeated after a lack of memory
    tramo_status (*call)(Arguments&);
};

void PrintTo(const Function& one, std::ostream* out) { *out << one.name; }

const Function functions[] = {
    {"reader_open", 2, true, true,
        [](Arguments& a) { return tramo_reader_open(a.at(1, file), TRAMO_AUTO, a.at(2, &a.newReader)); }},
    {"reader_open_memory", 2, true, true,
        [](Arguments& a) {
            return tramo_reader_open_memory(a.at(1, a.text.data()), a.text.size(), TRAMO_ANSI, a.at(2, &a.newReader));
        }},
    {"reader_next", 2, false, true, [](Arguments& a) { return tramo_reader_next(a.at(1, a.reader.get()), a.at(2, &a.next)); }},
    {"line_get_info", 2, false, true, [](Arguments& a) { return tramo_line_get_info(a.at(1, a.line), a.at(2, &a.info)); }},
    {"line_new", 2, true, true, [](Arguments& a) { return tramo_line_new(a.at(1, a.kind), TRAMO_ANSI, a.at(2, &a.newLine)); }},
    {"line_copy", 2, true, true, [](Arguments& a) { return tramo_line_copy(a.at(1, a.own.get()), a.at(2, &a.newLine)); }},
    {"get_text", 3, true, true,
        [](Arguments& a) {
            return tramo_get_text(a.at(1, a.own.get()), a.at(2, a.field), a.at(3, a.buffer.data()), a.buffer.size(), &a.needed);
        }},
    {"get_raw", 3, true, true,
        [](Arguments& a) {
            return tramo_get_raw(a.at(1, a.own.get()), a.at(2, a.field), a.at(3, a.buffer.data()), a.buffer.size(), &a.needed);
        }},
    {"get_int64", 3, false, true,
        [](Arguments& a) { return tramo_get_int64(a.at(1, a.own.get()), a.at(2, a.number), a.at(3, &a.integer)); }},
    {"get_double", 3, false, true,
        [](Arguments& a) { return tramo_get_double(a.at(1, a.own.get()), a.at(2, a.number), a.at(3, &a.real)); }},
    {"get_seconds", 3, false, true,
        [](Arguments& a) { return tramo_get_seconds(a.at(1, a.own.get()), a.at(2, a.day), a.at(3, &a.integer)); }},
    {"set_text", 2, true, true,
        [](Arguments& a) { return tramo_set_text(a.at(1, a.own.get()), a.at(2, a.field), "a text of many characters"); }},
    {"set_int64", 2, true, true, [](Arguments& a) { return tramo_set_int64(a.at(1, a.own.get()), a.at(2, a.number), 13); }},
    {"set_double", 2, true, true, [](Arguments& a) { return tramo_set_double(a.at(1, a.own.get()), a.at(2, a.decimal), 1.5); }},
    {"set_seconds", 2, true, true,
        [](Arguments& a) { return tramo_set_seconds(a.at(1, a.own.get()), a.at(2, a.day), 1'704'153'600); }},
    {"writer_open", 2, true, true,
        [](Arguments& a) { return tramo_writer_open(a.at(1, a.path.c_str()), TRAMO_ANSI, a.at(2, &a.newWriter)); }},
    {"writer_put", 2, false, true, [](Arguments& a) { return tramo_writer_put(a.at(1, a.writer.get()), a.at(2, a.line)); }},
    {"writer_commit", 1, false, true, [](Arguments& a) { return tramo_writer_commit(a.at(1, a.writer.get())); }},
    {"checker_new", 1, true, true, [](Arguments& a) { return tramo_checker_new(0, a.at(1, &a.newChecker)); }},
    {"checker_line", 2, false, false, [](Arguments& a) { return tramo_checker_line(a.at(1, a.checker), a.at(2, a.line)); }},
    {"checker_end", 1, false, false, [](Arguments& a) { return tramo_checker_end(a.at(1, a.checker)); }},
    {"checker_next", 2, false, true, [](Arguments& a) { return tramo_checker_next(a.at(1, a.checker), a.at(2, &a.finding)); }},
    {"columns", 4, true, true,
        [](Arguments& a) { return tramo_columns(a.at(1, file), a.at(2, a.kind), a.at(3, &a.field), 1, a.at(4, &a.stream)); }},
};

class CArguments : public testing::TestWithParam<Function> {};

TEST_P(CArguments, must_not_be_missing) {
    for (int without = 1; without <= GetParam().pointers; ++without) {
        Arguments arguments;
        arguments.without = without;
        const std::string before = bytesOf(arguments.own.get());
        EXPECT_EQ(GetParam().call(arguments), TRAMO_BAD_ARGUMENT) << without;
        EXPECT_FALSE(arguments.hasOutput()) << without;
        EXPECT_EQ(bytesOf(arguments.own.get()), before) << without;
    }
    Arguments arguments;
    EXPECT_EQ(GetParam().call(arguments), TRAMO_OK);
}

TEST_P(CArguments, stay_as_they_are_without_memory) {
    int failures = 0;
    bool isDone = false;
    for (long number = 1; !isDone; ++number) {
        Arguments arguments;
        const std::string before = bytesOf(arguments.own.get());
        failing = allocations + number;
        const tramo_status status = GetParam().call(arguments);
        isDone = failing > allocations;
        failing = 0;
        if (status == TRAMO_OK) continue;
        ++failures;
        ASSERT_EQ(status, TRAMO_NO_MEMORY) << number;
        EXPECT_FALSE(isDone);
        EXPECT_FALSE(arguments.hasOutput()) << number;
        EXPECT_EQ(bytesOf(arguments.own.get()), before) << number;
        if (GetParam().isAgain) { EXPECT_EQ(GetParam().call(arguments), TRAMO_OK) << number; }
    }
    if (GetParam().allocates) { EXPECT_GT(failures, 0); }
}

INSTANTIATE_TEST_SUITE_P(Functions, CArguments, testing::ValuesIn(functions), [](const auto& test) { return test.param.name; });

TEST(CArgumentsThatMayBeMissing, are_ignored) {
    Arguments arguments;
    EXPECT_EQ(tramo_get_text(arguments.own.get(), arguments.field, arguments.buffer.data(), 4, nullptr), TRAMO_OK);
    EXPECT_EQ(tramo_get_text(arguments.own.get(), arguments.field, nullptr, 0, &arguments.needed), TRAMO_OK);
    EXPECT_EQ(arguments.needed, 150U);
    EXPECT_EQ(tramo_get_text(arguments.own.get(), arguments.field, nullptr, 0, nullptr), TRAMO_OK);
    EXPECT_EQ(tramo_get_raw(arguments.own.get(), arguments.number, nullptr, 0, &arguments.needed), TRAMO_OK);
    EXPECT_EQ(arguments.needed, 10U);
    EXPECT_EQ(tramo_get_raw(arguments.own.get(), arguments.field, nullptr, 0, nullptr), TRAMO_OK);
    EXPECT_EQ(tramo_columns(file, arguments.kind, nullptr, 0, &arguments.stream), TRAMO_OK);
    EXPECT_STREQ(tramo_reader_error(nullptr), "");
    EXPECT_STREQ(tramo_writer_error(nullptr), "");

    const tramo_line* line = nullptr;
    EXPECT_EQ(tramo_reader_open_memory(nullptr, 0, TRAMO_ANSI, &arguments.newReader), TRAMO_OK);
    EXPECT_EQ(tramo_reader_next(arguments.newReader, &line), TRAMO_END);
    EXPECT_EQ(line, nullptr);
}

TEST(CArgumentsThatMayBeMissing, have_no_size) {
    Arguments arguments;
    EXPECT_EQ(tramo_get_text(arguments.own.get(), arguments.field, nullptr, 1, &arguments.needed), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_get_raw(arguments.own.get(), arguments.field, nullptr, 1, &arguments.needed), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_reader_open_memory(nullptr, 1, TRAMO_ANSI, &arguments.newReader), TRAMO_BAD_ARGUMENT);
    EXPECT_FALSE(arguments.hasOutput());
}

TEST(CEncodings, outside_their_values_are_bad_arguments) {
    Arguments arguments;
    for (const tramo_encoding encoding :
        {static_cast<tramo_encoding>(-2), static_cast<tramo_encoding>(2), TRAMO_ENCODING_IS_INT}) {
        EXPECT_EQ(tramo_reader_open(file, encoding, &arguments.newReader), TRAMO_BAD_ARGUMENT);
        EXPECT_EQ(tramo_reader_open_memory("x", 1, encoding, &arguments.newReader), TRAMO_BAD_ARGUMENT);
    }
    for (const tramo_encoding encoding : {TRAMO_AUTO, static_cast<tramo_encoding>(2), TRAMO_ENCODING_IS_INT}) {
        EXPECT_EQ(tramo_writer_open(arguments.path.c_str(), encoding, &arguments.newWriter), TRAMO_BAD_ARGUMENT);
        EXPECT_EQ(tramo_line_new(arguments.kind, encoding, &arguments.newLine), TRAMO_BAD_ARGUMENT);
    }
    EXPECT_FALSE(arguments.hasOutput());
}

// --- The library -----------------------------------------------------------------------------------------------------

TEST(CLibrary, has_a_version_of_three_numbers) {
    EXPECT_TRUE(std::regex_match(tramo_version(), std::regex("[0-9]+\\.[0-9]+\\.[0-9]+"))) << tramo_version();
}

TEST(CLibrary, describes_each_status) {
    const std::pair<tramo_status, const char*> texts[] = {
        {TRAMO_OK, "done"},
        {TRAMO_END, "end reached"},
        {TRAMO_ABSENT, "the field is blank"},
        {TRAMO_UNREADABLE, "the text of the field cannot be parsed"},
        {TRAMO_WRONG_TYPE, "the field holds values of another type"},
        {TRAMO_TOO_WIDE, "the text of the value is wider than the field"},
        {TRAMO_NOT_IN_FIELD, "the field cannot hold the value"},
        {TRAMO_NOT_WRITABLE, "the format would not read the value back"},
        {TRAMO_NOT_IN_ENCODING, "the text has a character that the encoding cannot represent"},
        {TRAMO_NO_FIELD, "the line does not have the field"},
        {TRAMO_BAD_ARGUMENT, "invalid argument"},
        {TRAMO_FAILED, "the file cannot be read or written"},
        {TRAMO_NO_MEMORY, "out of memory"},
        {static_cast<tramo_status>(13), "unknown status"},
        {TRAMO_STATUS_IS_INT, "unknown status"},
    };
    for (const auto& [status, text] : texts) EXPECT_STREQ(tramo_status_text(status), text) << status;
}

TEST(CLibrary, prints_messages_or_not) {
    const tramo::Messages before = tramo::getMessages();
    for (const int printed : {1, 0, 2, 0, -1}) {
        tramo_set_messages(printed);
        EXPECT_EQ(tramo::getMessages(), printed == 0 ? tramo::Messages::Silent : tramo::Messages::StandardOutput) << printed;
    }
    tramo::setMessages(before);
}

// --- The format ------------------------------------------------------------------------------------------------------

TEST(CFormat, has_the_kinds_of_the_library) {
    size_t count = 0;
    const tramo_kind* const* const kinds = tramo_kinds(&count);
    const auto expected = tramo::allKinds();
    ASSERT_EQ(count, expected.size());
    EXPECT_EQ(tramo_kinds(nullptr), kinds);
    for (size_t i = 0; i < count; ++i) {
        const tramo::RecordKind& kind = *expected[i];
        EXPECT_EQ(kinds[i]->name, kind.name);
        EXPECT_EQ(kinds[i]->letter, static_cast<char>(kind.letter)) << kind.name;
        EXPECT_EQ(kinds[i]->length, kind.length) << kind.name;
        EXPECT_EQ(kinds[i]->field_count, kind.fields.size()) << kind.name;
        EXPECT_EQ(tramo_find_kind(kinds[i]->name), kinds[i]) << kind.name;
        EXPECT_EQ(tramo_find_kind(kind.model.c_str()), kinds[i]) << kind.name;
        const char letter[] = {kinds[i]->letter, '\0'};
        EXPECT_EQ(tramo_find_kind(letter), kinds[i]->letter != 0 ? kinds[i] : nullptr) << kind.name;
    }
    EXPECT_EQ(tramo_find_kind(""), nullptr);
    EXPECT_EQ(tramo_find_kind("8"), nullptr);
    EXPECT_EQ(tramo_find_kind(nullptr), nullptr);
}

TEST(CFormat, has_the_fields_of_the_library) {
    size_t count = 0;
    const tramo_kind* const* const kinds = tramo_kinds(&count);
    ASSERT_EQ(count, tramo::allKinds().size());
    for (size_t i = 0; i < count; ++i) {
        const auto& expected = tramo::allKinds()[i]->fields;
        ASSERT_EQ(kinds[i]->field_count, expected.size());
        for (size_t f = 0; f < expected.size(); ++f) {
            const tramo_field& field = *kinds[i]->fields[f];
            SCOPED_TRACE(std::string(kinds[i]->name) + ", " + field.name);
            EXPECT_EQ(field.name, expected[f].name);
            EXPECT_EQ(field.column, expected[f].column);
            EXPECT_EQ(field.width, expected[f].width);
            EXPECT_EQ(field.decimals, expected[f].decimals);
            EXPECT_EQ(std::wstring(field.codes, field.codes + strlen(field.codes)), expected[f].codes);
            EXPECT_EQ(field.written, expected[f].written);
            EXPECT_EQ(field.required, expected[f].mandatory);
            EXPECT_EQ(tramo_find_field(kinds[i], field.name), &field);
        }
        EXPECT_EQ(tramo_find_field(kinds[i], ""), nullptr);
        EXPECT_EQ(tramo_find_field(kinds[i], nullptr), nullptr);
    }
    EXPECT_EQ(tramo_find_field(nullptr, "code"), nullptr);
}

struct Described {
    const char *kind, *name;
    tramo_type type;
    int column, width, decimals;
    const char *codes, *written, *required;
};

TEST(CFormat, describes_fields_of_each_type) {
    const Described fields[] = {
        {"round", "code", TRAMO_TEXT, 2, 8, 0, "", "always", "it is empty"},
        {"round", "defaultMeterWheels", TRAMO_INTEGER, 30, 2, 0, "", "it is above 3", ""},
        {"extended data", "latitude", TRAMO_DECIMAL, 14, 16, 12, "", "it has been set", ""},
        {"meter change", "newMeterInstallationDate", TRAMO_DATE, 38, 8, 0, "", "always", "it has no date"},
        {"meter subscriber", "meterLastUpdateDate", TRAMO_DATETIME, 494, 12, 0, "", "it has a date", ""},
        {"meter subscriber", "meterInstallationYear", TRAMO_YEAR, 380, 4, 0, "", "it is a representable year", ""},
        {"meter subscriber", "meterFluidType", TRAMO_CODE, 507, 1, 0, "WCEGHT", "always", ""},
        {"meter subscriber", "meterAuthorizedChange", TRAMO_FLAG, 506, 1, 0, "", "always", "it is empty"},
        {"AMR", "previousAlarms", TRAMO_ALARMS, 286, 4, 0, "", "the previous reading date is not -1",
            "the previous meter index is below 0"},
        {"AMR", "previousAlarmFraudCurrent", TRAMO_FLAG, 0, 0, 0, "", "always", ""},
        {"tag", "label", TRAMO_TEXT, 3, 20, 0, "", "always", "it is empty"},
        {"parameter", "value", TRAMO_TEXT, 9, 32, 0, "", "always", "it is empty"},
    };
    for (const Described& expected : fields) {
        const tramo_field* const field = fieldOf(expected.kind, expected.name);
        ASSERT_NE(field, nullptr);
        EXPECT_EQ(field->type, expected.type) << expected.name;
        EXPECT_EQ(field->column, expected.column) << expected.name;
        EXPECT_EQ(field->width, expected.width) << expected.name;
        EXPECT_EQ(field->decimals, expected.decimals) << expected.name;
        EXPECT_STREQ(field->codes, expected.codes) << expected.name;
        EXPECT_STREQ(field->written, expected.written) << expected.name;
        EXPECT_STREQ(field->required, expected.required) << expected.name;
    }
}

// --- Lines -----------------------------------------------------------------------------------------------------------

TEST(CLines, of_each_kind_and_encoding_are_blank) {
    size_t count = 0;
    const tramo_kind* const* const kinds = tramo_kinds(&count);
    for (size_t i = 0; i < count; ++i) {
        std::u16string characters(static_cast<std::size_t>(kinds[i]->length), u' ');
        if (kinds[i]->letter != 0) characters[0] = static_cast<char16_t>(kinds[i]->letter);
        for (const tramo_encoding encoding : {TRAMO_ANSI, TRAMO_UTF16}) {
            SCOPED_TRACE(std::string(kinds[i]->name) + ", encoding " + std::to_string(encoding));
            const Line line = blankLine(kinds[i], encoding);
            const tramo_line_info info = infoOf(line.get());
            EXPECT_EQ(info.number, 0);
            EXPECT_EQ(info.offset, 0U);
            EXPECT_EQ(info.kind, kinds[i]);
            EXPECT_EQ(info.fault, TRAMO_FAULT_NONE);
            EXPECT_EQ(info.encoding, encoding);
            EXPECT_EQ(bytesOf(line.get()),
                encoding == TRAMO_UTF16 ? streams::utf16(characters, false) : std::string(characters.begin(), characters.end()));
        }
    }
}

TEST(CLines, that_are_copied_are_those_of_the_file) {
    const Reader reader = readerOfFile(file);
    nextOf(reader);
    const tramo_line* const line = nextOf(reader);
    const tramo_line_info original = infoOf(line);
    const std::string bytes = bytesOf(line);
    const Line copy = copyOf(line), second = copyOf(copy.get());
    EXPECT_EQ(original.offset, 514U);
    nextOf(reader);
    for (const Line* each : {&copy, &second}) {
        const tramo_line_info info = infoOf(each->get());
        EXPECT_EQ(info.number, 2);
        EXPECT_EQ(info.offset, original.offset);
        EXPECT_EQ(info.kind, tramo_find_kind("enquiry definition"));
        EXPECT_EQ(info.encoding, TRAMO_ANSI);
        EXPECT_NE(info.bytes, original.bytes);
        EXPECT_EQ(bytesOf(each->get()), bytes);
    }
    EXPECT_EQ(tramo_set_text(second.get(), fieldOf("enquiry definition", "labelA"), "changed"), TRAMO_OK);
    EXPECT_EQ(bytesOf(copy.get()), bytes);
    EXPECT_EQ(textOf(second.get(), fieldOf("enquiry definition", "labelA")), "changed");
}

TEST(CLines, of_a_reader_are_neither_freed_nor_changed) {
    const Reader reader = readerOfFile(file);
    const tramo_line* const line = nextOf(reader);
    const std::string bytes = bytesOf(line);
    tramo_line_free(changeable(line));
    EXPECT_EQ(bytesOf(line), bytes);
    EXPECT_EQ(tramo_set_text(changeable(line), fieldOf("round", "code"), "x"), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_set_text(changeable(line), fieldOf("round", "code"), nullptr), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_set_int64(changeable(line), fieldOf("round", "defaultMeterWheels"), 5), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_set_double(changeable(line), fieldOf("round", "defaultMeterWheels"), 5), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_set_seconds(changeable(line), fieldOf("round", "roundImportDate"), 1'704'067'200), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(bytesOf(line), bytes);
    EXPECT_EQ(infoOf(nextOf(reader)).number, 2);
}

TEST(CLines, without_a_kind_have_no_values) {
    const std::string bytes = "short";
    const tramo_field* const field = fieldOf("round", "code");
    const Reader reader = readerOf(bytes), keys = readerOfFile(SAMPLES "/amr-keys.txt");
    std::array<char, 8> text{};
    for (const tramo_line* line : {nextOf(reader), nextOf(keys)}) {
        EXPECT_EQ(infoOf(line).kind, nullptr);
        EXPECT_EQ(tramo_get_text(line, field, text.data(), text.size(), nullptr), TRAMO_ABSENT);
        EXPECT_EQ(tramo_get_raw(line, field, text.data(), text.size(), nullptr), TRAMO_ABSENT);
        const Line copy = copyOf(line);
        EXPECT_EQ(infoOf(copy.get()).kind, nullptr);
        EXPECT_EQ(tramo_set_text(copy.get(), field, "x"), TRAMO_NO_FIELD);
        EXPECT_EQ(bytesOf(copy.get()), bytesOf(line));
    }
    EXPECT_STREQ(text.data(), "");
}

// --- Copied texts ----------------------------------------------------------------------------------------------------

struct Copied {
    const char* name;
    const char* text;
    size_t size;
    std::string_view buffer;  // after the call; # is untouched
};

void PrintTo(const Copied& one, std::ostream* out) { *out << one.name; }

using namespace std::string_view_literals;

const Copied copiedTexts[] = {
    {"into_nothing", "AB", 0, "########"},
    {"into_a_zero", "AB", 1, "\0#######"sv},
    {"without_the_last", "AB", 2, "A\0######"sv},
    {"that_just_fits", "AB", 3, "AB\0#####"sv},
    {"with_room", "AB", 4, "AB\0#####"sv},
    {"before_a_first_character", "\xC3\x89T", 1, "\0#######"sv},
    {"in_a_first_character", "\xC3\x89T", 2, "\0#######"sv},
    {"after_a_first_character", "\xC3\x89T", 3, "\xC3\x89\0#####"sv},
    {"that_ends_with_ascii", "\xC3\x89T", 4, "\xC3\x89T\0####"sv},
    {"before_a_last_character", "T\xC3\x89", 2, "T\0######"sv},
    {"in_a_last_character", "T\xC3\x89", 3, "T\0######"sv},
    {"after_a_last_character", "T\xC3\x89", 4, "T\xC3\x89\0####"sv},
    {"in_the_second_byte_of_three", "\xE2\x82\xAC\xE2\x82\xAC", 5, "\xE2\x82\xAC\0####"sv},
    {"in_the_third_byte_of_three", "\xE2\x82\xAC\xE2\x82\xAC", 6, "\xE2\x82\xAC\0####"sv},
    {"of_three_bytes_each", "\xE2\x82\xAC\xE2\x82\xAC", 7, "\xE2\x82\xAC\xE2\x82\xAC\0#"sv},
};

class CCopiedTexts : public testing::TestWithParam<Copied> {};

TEST_P(CCopiedTexts, end_before_the_end_of_the_buffer) {
    const Copied& expected = GetParam();
    const tramo_field* const field = fieldOf("tag", "code");
    const Line line = blankLine(tramo_find_kind("tag"), TRAMO_UTF16);
    ASSERT_EQ(tramo_set_text(line.get(), field, expected.text), TRAMO_OK);
    for (const auto get : {tramo_get_text, tramo_get_raw}) {
        std::string buffer(8, '#');
        size_t needed = 99;
        EXPECT_EQ(get(line.get(), field, buffer.data(), expected.size, &needed), TRAMO_OK);
        EXPECT_EQ(buffer, expected.buffer);
        EXPECT_EQ(needed, strlen(expected.text));
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, CCopiedTexts, testing::ValuesIn(copiedTexts), [](const auto& test) { return test.param.name; });

TEST(CCopiedTextsOfNoValue, are_not_copied) {
    const std::string bytes =
        lineWith(tramo_find_kind("meter subscriber"), fieldOf("meter subscriber", "meterReadingIndex"), "VA");
    const Reader reader = readerOf(bytes);
    const tramo_line* const line = nextOf(reader);
    std::string buffer(8, '#');
    size_t needed = 99;
    const auto get = [&](const char* kind, const char* field) {
        return tramo_get_text(line, fieldOf(kind, field), buffer.data(), buffer.size(), &needed);
    };
    EXPECT_EQ(get("meter subscriber", "meterReadingIndex"), TRAMO_UNREADABLE);
    EXPECT_EQ(get("meter subscriber", "meterSerialNumber"), TRAMO_ABSENT);
    EXPECT_EQ(get("round", "code"), TRAMO_ABSENT);
    EXPECT_EQ(tramo_get_raw(line, fieldOf("round", "code"), buffer.data(), buffer.size(), &needed), TRAMO_ABSENT);
    EXPECT_EQ(buffer, "########");
    EXPECT_EQ(needed, 99U);
}

// --- Values ----------------------------------------------------------------------------------------------------------

// What a get function returns: the value as text, or why there is none.
std::string shown(tramo_status status, const std::string& value) {
    switch (status) {
    case TRAMO_OK: return value;
    case TRAMO_ABSENT: return "absent";
    case TRAMO_UNREADABLE: return "unreadable";
    case TRAMO_WRONG_TYPE: return "wrong type";
    default: return std::string("another status: ") + tramo_status_text(status);
    }
}

template <class T> std::string gotten(
    tramo_status (*get)(const tramo_line*, const tramo_field*, T*), const tramo_line* line, const tramo_field* field) {
    T value = 77;
    const tramo_status status = get(line, field, &value);
    if (status != TRAMO_OK) { EXPECT_EQ(value, 77) << field->name; }
    return shown(status, std::to_string(value));
}

struct Value {
    const char* name;
    const char *kind, *field, *columns;
    const char *text, *integer, *real, *seconds;
};

void PrintTo(const Value& one, std::ostream* out) { *out << one.name; }

constexpr const char *none = "wrong type", *absent = "absent", *bad = "unreadable";
constexpr const char *subscribers = "meter subscriber", *consumption = "meterMinEstimatedConsumption";

const Value values[] = {
    {"text", subscribers, "meterSerialNumber", "C12 ", "C12", none, none, none},
    {"blank_text", subscribers, "meterSerialNumber", "", absent, none, none, none},
    {"integer", subscribers, "meterReadingIndex", "      6054", "6054", "6054", "6054.000000", none},
    {"integer_above_32_bits", subscribers, "meterReadingIndex", "4294967298", "4294967298", "4294967298", "4294967298.000000",
        none},
    {"blank_integer", subscribers, "meterReadingIndex", "", absent, absent, absent, none},
    {"bad_integer", subscribers, "meterReadingIndex", "VA", bad, bad, bad, none},
    {"decimal", subscribers, consumption, "12.5", "12.5", none, "12.500000", none},
    {"blank_decimal", subscribers, consumption, "", absent, none, absent, none},
    {"bad_decimal", subscribers, consumption, "VA", bad, none, bad, none},
    {"date", subscribers, "meterPreviousReadingDate", "20240131", "2024-01-31", none, none, "1706659200"},
    {"blank_date", subscribers, "meterPreviousReadingDate", "", absent, none, none, absent},
    {"bad_date", subscribers, "meterPreviousReadingDate", "20240231", bad, none, none, bad},
    {"time", subscribers, "meterReadingDate", "202401311405", "2024-01-31T14:05", none, none, "1706709900"},
    {"blank_time", subscribers, "meterReadingDate", "", absent, none, none, absent},
    {"bad_time", subscribers, "meterReadingDate", "202401312405", bad, none, none, bad},
    {"year", subscribers, "meterInstallationYear", "2024", "2024", "2024", none, none},
    {"blank_year", subscribers, "meterInstallationYear", "", absent, absent, none, none},
    {"bad_year", subscribers, "meterInstallationYear", "VA", bad, bad, none, none},
    {"code", subscribers, "meterReadingMethod", "A", "A", none, none, none},
    {"blank_code", subscribers, "meterReadingMethod", "", absent, none, none, none},
    {"bad_code", subscribers, "meterReadingMethod", "Q", bad, none, none, none},
    {"flag_set", "extended AMR", "fraudAlarm", "1", "1", "1", none, none},
    {"flag_not_set", "extended AMR", "fraudAlarm", "0", "0", "0", none, none},
    {"blank_flag", "extended AMR", "fraudAlarm", "", absent, absent, none, none},
    {"blank_flag_that_is_read_as_set", subscribers, "meterAuthorizedChange", "", "1", "1", none, none},
    {"alarms", "AMR", "previousAlarms", "0108", "0801", "2049", none, none},
    {"no_alarms", "AMR", "previousAlarms", "0000", "0000", "0", none, none},
    {"blank_alarms", "AMR", "previousAlarms", "", absent, absent, none, none},
    {"field_outside_the_line", "AMR", "previousAlarmFraudCurrent", "", absent, absent, none, none},
};

class CValues : public testing::TestWithParam<Value> {
    const TimeZone zone{"UTC0"};

protected:
    static void expectAll(const tramo_line* line, const tramo_field* field, const Value& expected) {
        std::array<char, 32> text{};
        const tramo_status status = tramo_get_text(line, field, text.data(), text.size(), nullptr);
        EXPECT_EQ(shown(status, text.data()), expected.text);
        EXPECT_EQ(gotten(tramo_get_int64, line, field), expected.integer);
        EXPECT_EQ(gotten(tramo_get_double, line, field), expected.real);
        EXPECT_EQ(gotten(tramo_get_seconds, line, field), expected.seconds);
    }
};

TEST_P(CValues, depend_on_the_field_and_its_columns) {
    const Value& value = GetParam();
    const tramo_kind* const kind = tramo_find_kind(value.kind);
    const tramo_field* const field = fieldOf(value.kind, value.field);
    const std::string bytes = lineWith(kind, field, value.columns);
    const std::string units = streams::utf16(std::u16string(bytes.begin(), bytes.end()));
    const Reader ansi = readerOf(bytes), utf16 = readerOf(units, TRAMO_UTF16);
    for (const tramo_line* line : {nextOf(ansi), nextOf(utf16)}) {
        SCOPED_TRACE(infoOf(line).encoding);
        expectAll(line, field, value);
        expectAll(copyOf(line).get(), field, value);
        if (field->column > 0) {
            const std::size_t first = static_cast<std::size_t>(field->column - 1), width = static_cast<std::size_t>(field->width);
            EXPECT_EQ(rawOf(line, field), bytes.substr(first, width));
        }
    }
}

TEST_P(CValues, of_lines_of_another_kind_are_absent) {
    const Value& value = GetParam();
    const tramo_field* const field = fieldOf(value.kind, value.field);
    const Line line = blankLine(tramo_find_kind("parameter"));
    const auto expected = [](const char* own) { return std::string_view(own) == none ? none : absent; };
    expectAll(line.get(), field,
        {value.name, "", "", "", absent, expected(value.integer), expected(value.real), expected(value.seconds)});
}

INSTANTIATE_TEST_SUITE_P(Fields, CValues, testing::ValuesIn(values), [](const auto& test) { return test.param.name; });

// The argument of a set function.
struct Seconds {
    std::int64_t since1970;
};
using NewValue = std::variant<const char*, std::int64_t, double, Seconds>;

tramo_status setTo(tramo_line* line, const tramo_field* field, const NewValue& value) {
    if (const auto* text = std::get_if<const char*>(&value)) return tramo_set_text(line, field, *text);
    if (const auto* integer = std::get_if<std::int64_t>(&value)) return tramo_set_int64(line, field, *integer);
    if (const auto* real = std::get_if<double>(&value)) return tramo_set_double(line, field, *real);
    return tramo_set_seconds(line, field, std::get<Seconds>(value).since1970);
}

NewValue text(const char* utf8) { return utf8; }
NewValue integer(std::int64_t number) { return number; }
NewValue real(double number) { return number; }
NewValue seconds(std::int64_t since1970) { return Seconds{since1970}; }

struct Change {
    const char* name;
    const char *kind, *field;
    NewValue value;
    tramo_status status;
    const char* columns = "";  // after a change
};

void PrintTo(const Change& one, std::ostream* out) { *out << one.name; }

const Change changes[] = {
    {"text", subscribers, "meterMarkingCode", text("AB"), TRAMO_OK, "AB"},
    {"short_text", subscribers, "meterMarkingCode", text("\xC3\x89"), TRAMO_OK, "\xC3\x89 "},
    {"empty_text", subscribers, "meterMarkingCode", text(""), TRAMO_OK, "  "},
    {"wide_text", subscribers, "meterMarkingCode", text("ABC"), TRAMO_TOO_WIDE},
    {"text_with_a_line_ending", subscribers, "meterMarkingCode", text("A\n"), TRAMO_NOT_IN_FIELD},
    {"text_that_ends_with_a_space", subscribers, "meterMarkingCode", text("A "), TRAMO_NOT_WRITABLE},
    {"text_that_is_not_ansi", subscribers, "meterMarkingCode", text("\xE2\x82\xAC"), TRAMO_NOT_IN_ENCODING},
    {"text_that_is_not_utf8", subscribers, "meterMarkingCode", text("\xFF"), TRAMO_NOT_IN_ENCODING},
    {"text_of_another_kind", "round", "code", text("A"), TRAMO_NO_FIELD},
    {"integer_in_text", subscribers, "meterMarkingCode", integer(1), TRAMO_WRONG_TYPE},
    {"real_in_text", subscribers, "meterMarkingCode", real(1), TRAMO_WRONG_TYPE},
    {"seconds_in_text", subscribers, "meterMarkingCode", seconds(0), TRAMO_WRONG_TYPE},

    {"integer", subscribers, "meterReadingIndex", integer(6055), TRAMO_OK, "      6055"},
    {"integer_0", subscribers, "meterReadingIndex", integer(0), TRAMO_OK, "         0"},
    {"integer_above_32_bits", subscribers, "meterReadingIndex", integer(4'294'967'298), TRAMO_OK, "4294967298"},
    {"integer_below_0", subscribers, "meterReadingIndex", integer(-1), TRAMO_NOT_WRITABLE},
    {"wide_integer", subscribers, "meterReadingIndex", integer(12'345'678'901), TRAMO_TOO_WIDE},
    {"integer_of_another_kind", "round", "defaultMeterWheels", integer(5), TRAMO_NO_FIELD},
    {"text_in_integer", subscribers, "meterReadingIndex", text("6055"), TRAMO_WRONG_TYPE},
    {"real_in_integer", subscribers, "meterReadingIndex", real(6055), TRAMO_WRONG_TYPE},
    {"seconds_in_integer", subscribers, "meterReadingIndex", seconds(6055), TRAMO_WRONG_TYPE},

    {"decimal", subscribers, consumption, real(1.5), TRAMO_OK, "    1.500000"},
    {"integer_in_decimal", subscribers, consumption, integer(2), TRAMO_OK, "    2.000000"},
    {"wide_decimal", subscribers, consumption, real(1e300), TRAMO_TOO_WIDE},
    {"infinite_decimal", subscribers, consumption, real(std::numeric_limits<double>::infinity()), TRAMO_NOT_IN_FIELD},
    {"decimal_below_0", subscribers, consumption, real(-2), TRAMO_NOT_WRITABLE},
    {"decimal_of_another_kind", "extended data", "altitude", real(1.5), TRAMO_NO_FIELD},
    {"text_in_decimal", subscribers, consumption, text("1.5"), TRAMO_WRONG_TYPE},
    {"seconds_in_decimal", subscribers, consumption, seconds(1), TRAMO_WRONG_TYPE},

    {"date", subscribers, "meterPreviousReadingDate", seconds(1'704'067'200), TRAMO_OK, "20240101"},
    {"date_with_a_time", subscribers, "meterPreviousReadingDate", seconds(1'704'067'260), TRAMO_NOT_WRITABLE},
    {"date_beyond_32_bits", subscribers, "meterPreviousReadingDate", seconds(4'294'944'000), TRAMO_NOT_IN_FIELD},
    {"time", subscribers, "meterReadingDate", seconds(1'704'067'260), TRAMO_OK, "202401010001"},
    {"time_with_a_second", subscribers, "meterReadingDate", seconds(1'704'067'261), TRAMO_NOT_WRITABLE},
    {"time_beyond_32_bits", subscribers, "meterReadingDate", seconds(-2'208'988'800), TRAMO_NOT_IN_FIELD},
    {"time_of_another_kind", "extended AMR", "readingDate", seconds(1'704'067'200), TRAMO_NO_FIELD},
    {"text_in_time", subscribers, "meterReadingDate", text("202401010001"), TRAMO_WRONG_TYPE},
    {"integer_in_time", subscribers, "meterReadingDate", integer(1'704'067'200), TRAMO_WRONG_TYPE},
    {"real_in_time", subscribers, "meterReadingDate", real(1'704'067'200), TRAMO_WRONG_TYPE},

    {"year", subscribers, "meterInstallationYear", integer(2024), TRAMO_OK, "2024"},
    {"year_beyond_32_bits", subscribers, "meterInstallationYear", integer(1800), TRAMO_NOT_IN_FIELD},
    {"year_at_the_upper_limit", subscribers, "meterInstallationYear", integer(32767), TRAMO_NOT_IN_FIELD},
    {"year_above_the_limit", subscribers, "meterInstallationYear", integer(65536 + 2024), TRAMO_NOT_IN_FIELD},
    {"year_below_the_limit", subscribers, "meterInstallationYear", integer(2024 - 65536), TRAMO_NOT_IN_FIELD},
    {"year_above_32_bits", subscribers, "meterInstallationYear", integer(4'294'967'296 + 2024), TRAMO_NOT_IN_FIELD},
    {"year_0", subscribers, "meterInstallationYear", integer(0), TRAMO_NOT_IN_FIELD},
    {"text_in_year", subscribers, "meterInstallationYear", text("2024"), TRAMO_WRONG_TYPE},
    {"seconds_in_year", subscribers, "meterInstallationYear", seconds(1'704'067'200), TRAMO_WRONG_TYPE},

    {"code", subscribers, "meterReadingMethod", text("A"), TRAMO_OK, "A"},
    {"code_of_no_character", subscribers, "meterReadingMethod", text(""), TRAMO_NOT_IN_FIELD},
    {"code_of_two_characters", subscribers, "meterReadingMethod", text("AM"), TRAMO_TOO_WIDE},
    {"code_of_two_units", subscribers, "meterReadingMethod", text("\xF0\x9F\x98\x80"), TRAMO_TOO_WIDE},
    {"unknown_code", subscribers, "meterReadingMethod", text("\xC3\x89"), TRAMO_NOT_IN_FIELD},
    {"code_that_is_only_read", subscribers, "meterReadingMethod", text("T"), TRAMO_NOT_WRITABLE},
    {"code_that_is_not_utf8", subscribers, "meterReadingMethod", text("\xFF"), TRAMO_NOT_IN_ENCODING},
    {"code_of_another_kind", "enquiry result", "area1Mode", text("H"), TRAMO_NO_FIELD},
    {"codes_of_another_kind", "enquiry result", "area1Mode", text("HH"), TRAMO_NO_FIELD},
    {"code_that_is_not_utf8_of_another_kind", "enquiry result", "area1Mode", text("\xFF"), TRAMO_NO_FIELD},
    {"no_code_of_another_kind", "enquiry result", "area1Mode", text(""), TRAMO_NO_FIELD},
    {"integer_in_code", subscribers, "meterReadingMethod", integer('A'), TRAMO_WRONG_TYPE},

    {"flag_to_set", subscribers, "meterAuthorizedChange", integer(1), TRAMO_OK, "1"},
    {"flag_not_to_set", subscribers, "meterAuthorizedChange", integer(0), TRAMO_OK, "0"},
    {"flag_above_1", subscribers, "meterAuthorizedChange", integer(2), TRAMO_NOT_IN_FIELD},
    {"flag_below_0", subscribers, "meterAuthorizedChange", integer(-1), TRAMO_NOT_IN_FIELD},
    {"flag_of_another_kind", "extended AMR", "fraudAlarm", integer(1), TRAMO_NO_FIELD},
    {"flag_above_1_of_another_kind", "extended AMR", "fraudAlarm", integer(2), TRAMO_NO_FIELD},
    {"year_beyond_all_of_another_kind", subscribers, "meterInstallationYear", integer(40000), TRAMO_NO_FIELD},
    {"text_in_flag", subscribers, "meterAuthorizedChange", text("1"), TRAMO_WRONG_TYPE},
    {"real_in_flag", subscribers, "meterAuthorizedChange", real(1), TRAMO_WRONG_TYPE},

    {"alarms", "AMR", "previousAlarms", integer(2049), TRAMO_OK, "0108"},
    {"alarms_as_text", "AMR", "previousAlarms", text("0801"), TRAMO_OK, "0108"},
    {"all_alarms", "AMR", "previousAlarms", integer(4095), TRAMO_OK, "FF0F"},
    {"more_alarms_than_all", "AMR", "previousAlarms", integer(4096), TRAMO_NOT_IN_FIELD},
    {"text_that_is_no_alarms", "AMR", "previousAlarms", text("1"), TRAMO_WRONG_TYPE},
};

class CChanges : public testing::TestWithParam<Change> {
    const TimeZone zone{"UTC0"};
};

TEST_P(CChanges, are_done_or_change_nothing) {
    const Change& made = GetParam();
    const tramo_kind* const kind = tramo_find_kind(made.status == TRAMO_NO_FIELD ? "parameter" : made.kind);
    const tramo_field* const field = fieldOf(made.kind, made.field);
    std::string bytes =
        lineWith(kind, field, made.status == TRAMO_NO_FIELD ? "" : std::string(static_cast<size_t>(field->width), 'x'));
    const Line line = copyOf(nextOf(readerOf(bytes)));
    const std::string before = bytesOf(line.get());
    EXPECT_EQ(setTo(line.get(), field, made.value), made.status);
    if (made.status == TRAMO_OK) {
        EXPECT_EQ(rawOf(line.get(), field), made.columns);
        const Line blank = blankLine(kind);
        EXPECT_EQ(setTo(blank.get(), field, made.value), TRAMO_OK);
        EXPECT_EQ(bytesOf(line.get()), bytesOf(blank.get()));
    } else {
        EXPECT_EQ(bytesOf(line.get()), before);
    }
}

TEST_P(CChanges, to_no_text_make_the_field_blank) {
    const Change& made = GetParam();
    const tramo_kind* const kind = tramo_find_kind(made.kind);
    const tramo_field* const field = fieldOf(made.kind, made.field);
    const std::string bytes = lineWith(kind, field, std::string(static_cast<size_t>(field->width), 'x'));
    const Line line = copyOf(nextOf(readerOf(bytes))), blank = blankLine(kind), other = blankLine(tramo_find_kind("parameter"));
    EXPECT_EQ(tramo_set_text(line.get(), field, nullptr), TRAMO_OK);
    EXPECT_EQ(bytesOf(line.get()), bytesOf(blank.get()));
    EXPECT_EQ(tramo_set_text(other.get(), field, nullptr), TRAMO_NO_FIELD);
}

INSTANTIATE_TEST_SUITE_P(Fields, CChanges, testing::ValuesIn(changes), [](const auto& test) { return test.param.name; });

TEST(CChangesInUtf16, take_characters_of_more_than_one_byte) {
    const Line line = blankLine(tramo_find_kind("tag"), TRAMO_UTF16);
    EXPECT_EQ(tramo_set_text(line.get(), fieldOf("tag", "code"), "\xE2\x82\xAC"), TRAMO_OK);
    EXPECT_EQ(textOf(line.get(), fieldOf("tag", "code")), "\xE2\x82\xAC");
    EXPECT_EQ(bytesOf(line.get()).substr(0, 4), "\xAC\x20 \0"sv);
}

TEST(CTimes, are_those_of_the_local_zone) {
    const TimeZone zone("CET-1");
    const Line line = blankLine(tramo_find_kind(subscribers));
    const tramo_field *const day = fieldOf(subscribers, "meterPreviousReadingDate"),
                             *const time = fieldOf(subscribers, "meterReadingDate"),
                             *const year = fieldOf(subscribers, "meterInstallationYear");
    EXPECT_EQ(tramo_set_seconds(line.get(), day, 1'704'063'600), TRAMO_OK);
    EXPECT_EQ(rawOf(line.get(), day), "20240101");
    EXPECT_EQ(gotten(tramo_get_seconds, line.get(), day), "1704063600");
    EXPECT_EQ(tramo_set_seconds(line.get(), time, 1'704'067'200), TRAMO_OK);
    EXPECT_EQ(rawOf(line.get(), time), "202401010100");
    EXPECT_EQ(gotten(tramo_get_seconds, line.get(), time), "1704067200");
    EXPECT_EQ(tramo_set_int64(line.get(), year, 2024), TRAMO_OK);
    EXPECT_EQ(rawOf(line.get(), year), "2024");
    EXPECT_EQ(gotten(tramo_get_int64, line.get(), year), "2024");
}

// --- Readers ---------------------------------------------------------------------------------------------------------

std::string recordsAnd(const std::string& last) {
    const std::string record = '9' + std::string(511, ' ') + "\r\n";
    return record + record + record + last;
}

struct Fault {
    const char* name;
    std::string bytes;
    tramo_encoding encoding;
    tramo_line_fault fault;  // of the last line
    size_t size;
};

void PrintTo(const Fault& one, std::ostream* out) { *out << one.name; }

const Fault faults[] = {
    {"none", recordsAnd('9' + std::string(511, ' ')), TRAMO_ANSI, TRAMO_FAULT_NONE, 512},
    {"empty", recordsAnd("\r\n"), TRAMO_ANSI, TRAMO_FAULT_EMPTY, 0},
    {"too_short", recordsAnd('9' + std::string(400, ' ') + "\r\n"), TRAMO_ANSI, TRAMO_FAULT_TOO_SHORT, 401},
    {"too_long", recordsAnd('9' + std::string(600, ' ') + "\r\n"), TRAMO_ANSI, TRAMO_FAULT_TOO_LONG, 601},
    {"unknown_letter", recordsAnd('8' + std::string(511, ' ') + "\r\n"), TRAMO_ANSI, TRAMO_FAULT_UNKNOWN_LETTER, 512},
    {"unknown_kind", "short\r\n", TRAMO_ANSI, TRAMO_FAULT_UNKNOWN_KIND, 5},
    {"half_character", streams::utf16(u"ab\r\nc") + "d", TRAMO_UTF16, TRAMO_FAULT_HALF_CHARACTER, 3},
    {"unread", streams::utf16(u"ab\r\n\xFFFFxy\r\n"), TRAMO_UTF16, TRAMO_FAULT_UNREAD, 6},
};

class CFaults : public testing::TestWithParam<Fault> {};

TEST_P(CFaults, are_those_of_the_last_line) {
    const Reader reader = readerOf(GetParam().bytes, GetParam().encoding);
    const tramo_line* line = nullptr;
    tramo_line_info info{};
    while (tramo_reader_next(reader.get(), &line) == TRAMO_OK) {
        info = infoOf(line);
        EXPECT_EQ(info.kind != nullptr, info.fault == TRAMO_FAULT_NONE);
    }
    EXPECT_EQ(info.fault, GetParam().fault);
    EXPECT_EQ(info.encoding, GetParam().encoding);
    EXPECT_EQ(info.size, GetParam().size);
}

INSTANTIATE_TEST_SUITE_P(Lines, CFaults, testing::ValuesIn(faults), [](const auto& test) { return test.param.name; });

TEST(CReaders, read_the_encoding_that_they_are_told) {
    struct Case {
        const char* file;
        tramo_encoding told, read;
        bool isKnown;  // the first line has a kind
    };
    const Case cases[] = {
        {SAMPLES "/round-returned.txt", TRAMO_AUTO, TRAMO_ANSI, true},
        {SAMPLES "/round-returned.txt", TRAMO_ANSI, TRAMO_ANSI, true},
        {SAMPLES "/round-returned.txt", TRAMO_UTF16, TRAMO_UTF16, false},
        {SAMPLES "/round-returned-utf16.txt", TRAMO_AUTO, TRAMO_UTF16, true},
        {SAMPLES "/round-returned-utf16.txt", TRAMO_ANSI, TRAMO_ANSI, false},
        {SAMPLES "/round-returned-utf16.txt", TRAMO_UTF16, TRAMO_UTF16, true},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(each.file) + ", " + std::to_string(each.told));
        const std::string bytes = streams::readFile(each.file);
        const Reader fromFile = readerOfFile(each.file, each.told), fromMemory = readerOf(bytes, each.told);
        for (const tramo_line* line : {nextOf(fromFile), nextOf(fromMemory)}) {
            EXPECT_EQ(infoOf(line).encoding, each.read);
            EXPECT_EQ(infoOf(line).kind != nullptr, each.isKnown);
            EXPECT_EQ(infoOf(line).number, 1);
        }
    }
}

TEST(CReaders, end_after_the_last_line) {
    const std::string bytes = "a\nb";
    const Reader reader = readerOf(bytes);
    const tramo_line* line = nextOf(reader);
    EXPECT_EQ(bytesOf(line), "a");
    line = nextOf(reader);
    EXPECT_EQ(bytesOf(line), "b");
    EXPECT_EQ(infoOf(line).number, 2);
    EXPECT_EQ(infoOf(line).offset, 2U);
    for (int i = 0; i < 2; ++i) {
        const tramo_line* next = nullptr;
        EXPECT_EQ(tramo_reader_next(reader.get(), &next), TRAMO_END);
        EXPECT_EQ(next, nullptr);
        EXPECT_STREQ(tramo_reader_error(reader.get()), "");
    }
}

class CFiles : public streams::StreamTest {};

TEST_F(CFiles, that_cannot_be_opened_are_explained) {
    for (const std::string& name : {path("missing"), path("missing/file"), path(".")}) {
        tramo_reader* opened = nullptr;
        EXPECT_EQ(tramo_reader_open(name.c_str(), TRAMO_AUTO, &opened), TRAMO_FAILED);
        ASSERT_NE(opened, nullptr);
        const Reader reader(opened);
        EXPECT_NE(strstr(tramo_reader_error(reader.get()), name.c_str()), nullptr) << tramo_reader_error(reader.get());
        const tramo_line* line = nullptr;
        EXPECT_EQ(tramo_reader_next(reader.get(), &line), TRAMO_END);
        EXPECT_EQ(line, nullptr);
        EXPECT_STREQ(tramo_reader_error(reader.get()), "");
    }
}

TEST_F(CFiles, that_cannot_be_opened_are_not_explained_without_memory) {
    const std::string name = path("missing/file");
    tramo_status ofReader = TRAMO_OK, ofWriter = TRAMO_OK;
    int failures = 0;
    withEachAllocationFailing([&] {
        tramo_reader* reader = nullptr;
        ofReader = tramo_reader_open(name.c_str(), TRAMO_AUTO, &reader);
        ASSERT_TRUE(ofReader == TRAMO_FAILED || ofReader == TRAMO_NO_MEMORY) << ofReader;
        EXPECT_EQ(reader != nullptr, ofReader == TRAMO_FAILED);
        failures += ofReader == TRAMO_NO_MEMORY;
        tramo_reader_close(reader);

        tramo_writer* writer = nullptr;
        ofWriter = tramo_writer_open(name.c_str(), TRAMO_ANSI, &writer);
        ASSERT_TRUE(ofWriter == TRAMO_FAILED || ofWriter == TRAMO_NO_MEMORY) << ofWriter;
        EXPECT_EQ(writer != nullptr, ofWriter == TRAMO_FAILED);
        failures += ofWriter == TRAMO_NO_MEMORY;
        tramo_writer_close(writer);
    });
    EXPECT_GT(failures, 2);
    EXPECT_EQ(ofReader, TRAMO_FAILED);
    EXPECT_EQ(ofWriter, TRAMO_FAILED);
}

TEST_F(CFiles, have_names_in_utf8) {
    const std::string name = path("name") + "\xC3\x89";
    const Writer writer = writerOf(name);
    const std::string bytes = "text\n";
    EXPECT_EQ(tramo_writer_put(writer.get(), nextOf(readerOf(bytes))), TRAMO_OK);
    EXPECT_EQ(tramo_writer_commit(writer.get()), TRAMO_OK);
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(std::u8string(name.begin(), name.end()))));
    EXPECT_EQ(bytesOf(nextOf(readerOfFile(name))), "text");
}

#ifndef _WIN32
TEST_F(CFiles, that_can_no_longer_be_read_are_explained) {
    const std::string name = file("long", std::string(1 << 20, '\n'));
    const Reader reader = readerOfFile(name);
    nextOf(reader);
    EXPECT_STREQ(tramo_reader_error(reader.get()), "");
    closeDescriptor(name);
    const tramo_line* line = nullptr;
    tramo_status status = TRAMO_OK;
    while (status == TRAMO_OK) status = tramo_reader_next(reader.get(), &line);
    EXPECT_EQ(status, TRAMO_FAILED);
    EXPECT_NE(strstr(tramo_reader_error(reader.get()), name.c_str()), nullptr);
    EXPECT_EQ(tramo_reader_next(reader.get(), &line), TRAMO_FAILED);
    EXPECT_NE(strstr(tramo_reader_error(reader.get()), name.c_str()), nullptr);
}
#endif

// --- Writers ---------------------------------------------------------------------------------------------------------

TEST_F(CFiles, are_written_in_the_encoding_that_is_told) {
    const std::string ansi = "A\xC9\r\nB\r\n", units = streams::utf16(u"A\xC9\r\nB\r\n");
    for (const bool toUtf16 : {false, true}) {
        for (const auto& [bytes, encoding] : {std::pair(ansi, TRAMO_ANSI), std::pair(units, TRAMO_UTF16)}) {
            const std::string name = path("written");
            const Reader reader = readerOf(bytes, encoding);
            const Writer writer = writerOf(name, toUtf16 ? TRAMO_UTF16 : TRAMO_ANSI);
            EXPECT_EQ(tramo_writer_put(writer.get(), nextOf(reader)), TRAMO_OK);
            EXPECT_EQ(tramo_writer_put(writer.get(), copyOf(nextOf(reader)).get()), TRAMO_OK);
            EXPECT_STREQ(tramo_writer_error(writer.get()), "");
            EXPECT_FALSE(std::filesystem::exists(name));
            EXPECT_EQ(tramo_writer_commit(writer.get()), TRAMO_OK);
            EXPECT_STREQ(tramo_writer_error(writer.get()), "");
            EXPECT_EQ(streams::readFile(name), toUtf16 ? units : ansi);
            std::filesystem::remove(name);
        }
    }
}

TEST_F(CFiles, that_are_not_committed_stay_as_they_were) {
    const std::string name = file("old", "before"), bytes = "text\r\n";
    Writer writer = writerOf(name);
    EXPECT_EQ(tramo_writer_put(writer.get(), nextOf(readerOf(bytes))), TRAMO_OK);
    writer.reset();
    EXPECT_EQ(streams::readFile(name), "before");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path(".")), std::filesystem::directory_iterator()), 1);
}

TEST_F(CFiles, that_cannot_be_created_are_explained) {
    const std::string bytes = "text\r\n";
    for (const std::string& name : {path("missing/file"), path(".")}) {
        tramo_writer* opened = nullptr;
        EXPECT_EQ(tramo_writer_open(name.c_str(), TRAMO_UTF16, &opened), TRAMO_FAILED);
        ASSERT_NE(opened, nullptr);
        const Writer writer(opened);
        EXPECT_NE(strstr(tramo_writer_error(opened), name.c_str()), nullptr) << tramo_writer_error(opened);
        EXPECT_EQ(tramo_writer_put(opened, nextOf(readerOf(bytes))), TRAMO_BAD_ARGUMENT);
        EXPECT_EQ(tramo_writer_commit(opened), TRAMO_BAD_ARGUMENT);
    }
}

TEST_F(CFiles, in_ansi_have_no_other_characters) {
    const std::string name = file("old", "before"), units = streams::utf16(u"A\r\n\x20AC\r\nB\r\n");
    const Reader reader = readerOf(units, TRAMO_UTF16);
    const Writer writer = writerOf(name);
    EXPECT_EQ(tramo_writer_put(writer.get(), nextOf(reader)), TRAMO_OK);
    EXPECT_EQ(tramo_writer_put(writer.get(), nextOf(reader)), TRAMO_NOT_IN_ENCODING);
    const std::string sentence = tramo_writer_error(writer.get());
    EXPECT_NE(sentence.find(name), std::string::npos) << sentence;
    EXPECT_NE(sentence.find("line 2: ANSI has no character U+20AC"), std::string::npos) << sentence;
    EXPECT_EQ(tramo_writer_put(writer.get(), nextOf(reader)), TRAMO_NOT_IN_ENCODING);
    EXPECT_EQ(tramo_writer_commit(writer.get()), TRAMO_NOT_IN_ENCODING);
    EXPECT_EQ(tramo_writer_error(writer.get()), sentence);
    EXPECT_EQ(streams::readFile(name), "before");
}

TEST_F(CFiles, that_are_committed_are_finished) {
    const std::string name = path("new"), bytes = "A\r\nB\r\n";
    const Reader reader = readerOf(bytes);
    const Writer writer = writerOf(name), other = writerOf(path("other"));
    EXPECT_EQ(tramo_writer_put(writer.get(), nextOf(reader)), TRAMO_OK);
    EXPECT_EQ(tramo_writer_commit(writer.get()), TRAMO_OK);
    EXPECT_EQ(tramo_writer_put(writer.get(), nextOf(reader)), TRAMO_FAILED);
    EXPECT_NE(strstr(tramo_writer_error(writer.get()), name.c_str()), nullptr);
    EXPECT_EQ(tramo_writer_commit(other.get()), TRAMO_OK);
    EXPECT_EQ(tramo_writer_commit(other.get()), TRAMO_FAILED);
    EXPECT_NE(strstr(tramo_writer_error(other.get()), path("other").c_str()), nullptr);
    EXPECT_EQ(streams::readFile(name), "A\r\n");
    EXPECT_EQ(streams::readFile(path("other")), "");
}

// --- Findings --------------------------------------------------------------------------------------------------------

// All members of a finding as text.
using Found = std::vector<std::string>;

std::vector<Found> restOf(tramo_checker* checker) {
    std::vector<Found> all;
    tramo_finding f{};
    tramo_status status;
    while ((status = tramo_checker_next(checker, &f)) == TRAMO_OK)
        all.push_back({f.rule, std::to_string(f.code), std::to_string(f.severity), std::to_string(f.line),
            std::to_string(f.column), std::to_string(f.end_column), f.kind, f.field, f.sentence, f.reason, f.hint});
    EXPECT_EQ(status, TRAMO_END);
    return all;
}

Checker checkerOf(int strict) {
    tramo_checker* checker = nullptr;
    EXPECT_EQ(tramo_checker_new(strict, &checker), TRAMO_OK);
    return Checker(checker);
}

std::vector<Found> findingsOf(const Reader& reader, int strict) {
    const Checker checker = checkerOf(strict);
    std::vector<Found> all;
    const tramo_line* line = nullptr;
    while (tramo_reader_next(reader.get(), &line) == TRAMO_OK) {
        EXPECT_EQ(tramo_checker_line(checker.get(), line), TRAMO_OK);
        for (Found& found : restOf(checker.get())) all.push_back(std::move(found));
    }
    EXPECT_EQ(tramo_checker_end(checker.get()), TRAMO_OK);
    for (Found& found : restOf(checker.get())) all.push_back(std::move(found));
    return all;
}

// The same, of the checker in C++.
std::vector<Found> expectedFindings(const std::string& bytes, bool strict) {
    tramo::Reader reader = tramo::Reader::ofBytes(bytes);
    tramo::Checker checker({.strict = strict, .prevailing = reader.prevailing()});
    tramo::CheckedLines lines;
    tramo::SourceLine source;
    std::vector<tramo::Finding> findings;
    for (const tramo::LineView& line : reader)
        if (lines.take(line, source)) checker.line(source, findings);
    checker.end(lines.end(), findings);
    std::vector<Found> all;
    for (const tramo::Finding& f : findings)
        all.push_back({std::string(f.rule->name), std::to_string(f.rule->code), std::to_string(static_cast<int>(f.severity)),
            std::to_string(f.line), std::to_string(f.column), std::to_string(f.endColumn), std::string(f.kind),
            std::string(f.field), f.sentence, f.reason, f.hint});
    return all;
}

class CCheckers : public testing::Test {
    const TimeZone zone{"UTC0"};
    const Silence silence;
};

TEST_F(CCheckers, find_what_the_library_finds) {
    const auto sample = [](const char* name) { return streams::readFile(std::string(SAMPLES "/") + name); };
    const std::pair<const char*, std::string> files[] = {
        {"unreadable fields", sample("round-broken.txt")},
        {"malformed lines", sample("round-damaged.txt")},
        {"a round twice", sample("round-returned.txt") + sample("round-returned.txt")},
        {"half of a character", sample("round-returned-utf16.txt") + "x"},
        {"text that is not read", streams::utf16(u"ab\r\n\xFFFFxy\r\nz")},
        {"no tag", sample("tags.txt") + "x"},
        {"no key", sample("amr-keys.txt") + "{}"},
    };
    std::set<std::size_t> filled;
    for (const auto& [name, bytes] : files) {
        for (const int strict : {0, 1, -1, 256}) {
            const std::vector<Found> found = findingsOf(readerOf(bytes, TRAMO_AUTO), strict);
            EXPECT_EQ(found, expectedFindings(bytes, strict != 0)) << name << ", " << strict;
            EXPECT_FALSE(found.empty()) << name;
            for (const Found& each : found)
                for (std::size_t member = 0; member < each.size(); ++member)
                    if (!each[member].empty() && each[member] != "0") filled.insert(member);
        }
    }
    EXPECT_EQ(filled.size(), 11U);
}

TEST_F(CCheckers, describe_a_finding) {
    const std::vector<Found> found = findingsOf(readerOfFile(SAMPLES "/round-broken.txt"), 0);
    const auto wheels = std::find_if(found.begin(), found.end(), [](const Found& each) { return each[3] == "16"; });
    ASSERT_NE(wheels, found.end());
    const Found expected = {"ParseInteger", "1", "0", "16", "364", "366", "meter subscriber", "meterWheels",
        "meterWheels: invalid integer \"VA\"", "expected a digit, found \"V\"", (*wheels)[10]};
    EXPECT_EQ(*wheels, expected);
}

TEST_F(CCheckers, take_warnings_as_errors_if_they_are_strict) {
    const auto severities = [](int strict) {
        std::map<std::string, int> counts;
        for (const Found& each : findingsOf(readerOfFile(SAMPLES "/round-broken.txt"), strict)) ++counts[each[2]];
        return counts;
    };
    const auto usual = severities(0);
    EXPECT_EQ(usual.at("0"), 57);
    EXPECT_EQ(usual.at("1"), 34);
    for (const int strict : {1, 2, -1}) {
        const auto changed = severities(strict);
        EXPECT_EQ(changed.at("0"), 57 + 34) << strict;
        EXPECT_FALSE(changed.contains("1")) << strict;
    }
}

TEST_F(CCheckers, give_each_finding_of_the_last_call_once) {
    std::string bytes = lineWith(tramo_find_kind(subscribers), fieldOf(subscribers, "meterWheels"), "VA");
    bytes.replace(1, 2, "x1");
    bytes +=
        "\r\n" + lineWith(tramo_find_kind("record information"), fieldOf("record information", "roundNumber"), "VA") + "\r\n";
    const Reader reader = readerOf(bytes);
    const Checker checker = checkerOf(0);
    tramo_finding finding{};
    EXPECT_EQ(tramo_checker_next(checker.get(), &finding), TRAMO_END);
    EXPECT_EQ(finding.rule, nullptr);

    EXPECT_EQ(tramo_checker_line(checker.get(), nextOf(reader)), TRAMO_OK);
    EXPECT_EQ(tramo_checker_next(checker.get(), &finding), TRAMO_OK);
    EXPECT_EQ(finding.line, 1);
    EXPECT_STREQ(finding.field, "subscriberCardOrder");
    EXPECT_EQ(tramo_checker_next(checker.get(), &finding), TRAMO_OK);
    EXPECT_EQ(finding.line, 1);
    EXPECT_STRNE(finding.field, "subscriberCardOrder");

    // Those that are left are dropped.
    EXPECT_EQ(tramo_checker_line(checker.get(), nextOf(reader)), TRAMO_OK);
    EXPECT_EQ(tramo_checker_next(checker.get(), &finding), TRAMO_OK);
    EXPECT_EQ(finding.line, 2);
    EXPECT_STREQ(finding.kind, "record information");
    EXPECT_EQ(tramo_checker_end(checker.get()), TRAMO_OK);
    for (const Found& each : restOf(checker.get())) EXPECT_NE(each[7], "roundNumber");
}

TEST_F(CCheckers, check_a_file_without_lines) {
    const Checker checker = checkerOf(0);
    EXPECT_EQ(tramo_checker_end(checker.get()), TRAMO_OK);
    EXPECT_EQ(restOf(checker.get()), expectedFindings("", false));
}

// --- Columns ---------------------------------------------------------------------------------------------------------

Table columnsOf(const tramo_field* const* fields, size_t count) {
    Table table;
    ArrowArrayStream stream{};
    const tramo_status status = tramo_columns(file, tramo_find_kind("meter subscriber"), fields, count, &stream);
    EXPECT_EQ(status, TRAMO_OK);
    if (status != TRAMO_OK) return table;
    ArrowSchema schema{};
    EXPECT_EQ(stream.get_schema(&stream, &schema), 0);
    table.setSchema(schema);
    for (ArrowArray rows{}; stream.get_next(&stream, &rows) == 0 && rows.release;) table.add(rows);
    stream.release(&stream);
    return table;
}

TEST(CColumns, of_some_fields_are_those_of_all) {
    const tramo_kind* const kind = tramo_find_kind("meter subscriber");
    const tramo_field* const chosen[] = {
        tramo_find_field(kind, "meterSerialNumber"), tramo_find_field(kind, "meterReadingIndex")};
    const Table all = columnsOf(nullptr, 0), some = columnsOf(chosen, 2);
    EXPECT_GT(all.names.size(), 30U);
    ASSERT_GT(all.cells.at("meterSerialNumber").size(), 10U);
    for (const char* name : {"meterSerialNumber", "meterReadingIndex"})
        EXPECT_EQ(some.cells.at(name), all.cells.at(name)) << name;
    for (const std::string& name : some.names) EXPECT_TRUE(all.cells.contains(name)) << name;
    EXPECT_FALSE(some.cells.contains("meterReadingDate"));
}

TEST(CColumns, need_all_arguments_and_a_file) {
    ArrowArrayStream stream{};
    const tramo_kind* const kind = tramo_find_kind("meter subscriber");
    const tramo_field* const chosen[] = {tramo_find_field(kind, "meterSerialNumber"), nullptr};
    EXPECT_EQ(tramo_columns(nullptr, kind, chosen, 1, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, nullptr, chosen, 1, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, kind, nullptr, 1, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, kind, chosen, 2, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, kind, chosen, 1, nullptr), TRAMO_BAD_ARGUMENT);
    errno = 0;
    EXPECT_EQ(tramo_columns("no/such/file.txt", kind, chosen, 1, &stream), TRAMO_FAILED);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(stream.release, nullptr);
}

TEST(CColumns, are_of_fields_in_lines_of_their_kind) {
    const tramo_kind* const kind = tramo_find_kind("AMR");
    const tramo_field *const outside = tramo_find_field(kind, "previousAlarmFraudCurrent"), *const foreign = tramo_find_field(
                                                                                                tramo_find_kind("round"), "code");
    ArrowArrayStream stream{};
    EXPECT_EQ(tramo_columns(file, kind, &outside, 1, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, kind, &foreign, 1, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(stream.release, nullptr);
}

}  // namespace
