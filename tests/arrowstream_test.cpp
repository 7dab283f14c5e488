// Files and other batches as Arrow streams: what consumers get, in which order they may release it, and errors while they read.
#include "round/linebatches.h"
#include "support/arrowtable.h"
#include "support/samples.h"
#include "support/streamfiles.h"
#include "tramostream/linemodel.h"
#include "tramostream/tables.h"
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <system_error>

using streams::TempFolder;
using tramo::ArrowBatches, tramo::Columns, tramo::Encoding, tramo::LineTable, tramo::LineView, tramo::Reader, tramo::RecordKind;

namespace {

const RecordKind& meterChange = *tramo::recordKind(L'3');

std::string sample(const std::string& name) { return std::string(SAMPLES) + '/' + name; }

std::vector<std::int64_t> numbersOf(const ArrowArray& rows) {
    std::vector<std::int64_t> numbers(static_cast<std::size_t>(rows.length));
    std::memcpy(numbers.data(), rows.children[0]->buffers[1], 8 * numbers.size());
    return numbers;
}

struct Stream {
    ArrowArrayStream stream{};
    explicit Stream(auto make) { make(&stream); }
    Stream(const std::string& path, const RecordKind& kind, std::size_t rows = 65536) {
        tramo::arrowStream(path.c_str(), kind, {}, &stream, {.rowsPerBatch = rows});
    }
    Stream(Reader reader, const RecordKind& kind, std::size_t rows = 65536) {
        tramo::arrowStream(std::move(reader), kind, {}, &stream, {.rowsPerBatch = rows});
    }
    ~Stream() {
        stream.release(&stream);
        EXPECT_EQ(stream.release, nullptr);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    int next(ArrowArray& rows) { return stream.get_next(&stream, &rows); }
    std::string error() {
        const char* const words = stream.get_last_error(&stream);
        return words ? words : "";
    }

    // The numbers of the lines, a list for each batch.
    std::vector<std::vector<std::int64_t>> batches() {
        std::vector<std::vector<std::int64_t>> all;
        for (ArrowArray rows{}; next(rows) == 0 && rows.release; rows.release(&rows)) all.push_back(numbersOf(rows));
        EXPECT_EQ(error(), "");
        return all;
    }

    // Schema and rows, as text.
    Table table() {
        Table table;
        ArrowSchema schema;
        EXPECT_EQ(stream.get_schema(&stream, &schema), 0);
        table.setSchema(schema);
        for (ArrowArray rows; next(rows) == 0 && rows.release;) table.add(rows);
        EXPECT_EQ(error(), "");
        return table;
    }
};

// Schema and rows of columns or lines, as text.
Table tableOf(auto& source) {
    Table table;
    ArrowSchema schema;
    source.exportSchema(&schema);
    table.setSchema(schema);
    ArrowArray rows;
    source.exportRows(&rows);
    table.add(rows);
    return table;
}

using Batches = std::vector<std::vector<std::int64_t>>;

std::string changeLine(char letter = '3') {
    std::string line(512, 'x');
    line[0] = letter;
    return line;
}

// Meter changes in a file of its own.
struct Changes {
    TempFolder folder{};
    std::string path = folder.path("f");
    explicit Changes(int count) {
        std::string text;
        for (int i = 0; i < count; ++i) text += changeLine() + "\r\n";
        streams::writeFile(path, text);
    }
};

// ---- Rows -----------------------------------------------------------------------------------------------------------

TEST(ArrowStream, gives_the_lines_of_its_kind_in_batches) {
    const TempFolder folder;
    std::string text;
    for (int i = 0; i < 5; ++i) text += changeLine() + "\r\n" + changeLine('1') + "\r\n";
    streams::writeFile(folder.path("f"), text);
    EXPECT_EQ(Stream(folder.path("f"), meterChange, 2).batches(), (Batches{{1, 3}, {5, 7}, {9}}));
    EXPECT_EQ(Stream(folder.path("f"), meterChange).batches(), (Batches{{1, 3, 5, 7, 9}}));
}

TEST(ArrowStream, skips_malformed_lines_and_counts_them) {
    const TempFolder folder;
    const std::string text = changeLine() + "\n" + "short\r\n" + "\r\n" + std::string(700000, '3') + "\r\n" + changeLine() +
                             "\r\n" + changeLine() + "y\r\n" + changeLine() + "\r\r\n" + changeLine();
    streams::writeFile(folder.path("f"), text);
    EXPECT_EQ(Stream(folder.path("f"), meterChange).batches(), (Batches{{1, 5, 8}}));
}

TEST(ArrowStream, character_in_the_place_of_the_CR_is_not_in_the_row) {
    const TempFolder folder;
    streams::writeFile(folder.path("f"), changeLine() + "\r\n" + changeLine() + "y\n" + changeLine() + "y");
    EXPECT_EQ(Stream(folder.path("f"), meterChange).batches(), (Batches{{1, 2}}));
    const Table table = Stream(folder.path("f"), meterChange).table();
    for (const auto& [name, cells] : table.cells)
        if (name != "line") { EXPECT_EQ(cells[0], cells[1]) << name; }
}

TEST(ArrowStream, line_that_lacks_a_character_before_its_CR_is_malformed) {
    const TempFolder folder;
    streams::writeFile(folder.path("f"), changeLine() + "\r\n" + changeLine().substr(0, 511) + "\r\n" + changeLine() + "\r\n");
    EXPECT_EQ(Stream(folder.path("f"), meterChange).batches(), (Batches{{1, 3}}));
    Stream malformed([&](ArrowArrayStream* out) { tramo::arrowStream(Reader(folder.path("f")), out); });
    EXPECT_EQ(malformed.table().cells.at("fault")[0], "the line is too short");
}

TEST(ArrowStream, reads_UTF_16_by_its_mark) {
    const TempFolder folder;
    std::u16string text;
    for (const char* part : {"short\r\n", "", "\r\n"})
        for (const char c : *part ? std::string(part) : changeLine()) text += static_cast<char16_t>(c);
    text += u"\x0A0A\x0D0A";  // characters with the byte of a line feed
    streams::writeFile(folder.path("f"), streams::utf16(text));
    EXPECT_EQ(Stream(folder.path("f"), meterChange).batches(), (Batches{{2}}));
    streams::writeFile(folder.path("f"), streams::utf16(text) + "\xFF");
    EXPECT_EQ(Stream(folder.path("f"), meterChange).batches(), (Batches{{2}}));
}

TEST(ArrowStream, character_U_FFFF_at_the_beginning_of_a_line_ends_the_text) {
    const TempFolder folder;
    std::u16string change;
    for (const char c : changeLine()) change += static_cast<char16_t>(c);
    for (const std::size_t size : {std::size_t{1}, std::size_t{511}, std::size_t{700000}}) {
        const std::u16string last = u'\xFFFF' + std::u16string(size, u'3') + u"\r\n";
        streams::writeFile(folder.path("f"), streams::utf16(change + u"\r\n" + last + change));
        EXPECT_EQ(Stream(folder.path("f"), meterChange).batches(), (Batches{{1}})) << size;
    }
}

TEST(ArrowStream, of_an_empty_file_has_a_schema_and_no_batch) {
    const TempFolder folder;
    streams::writeFile(folder.path("f"), "");
    Stream stream(folder.path("f"), meterChange);
    ArrowSchema schema{};
    ASSERT_EQ(stream.stream.get_schema(&stream.stream, &schema), 0);
    EXPECT_GT(schema.n_children, 3);
    schema.release(&schema);
    EXPECT_EQ(stream.batches(), Batches());
    EXPECT_EQ(stream.stream.get_last_error(&stream.stream), nullptr);
}

TEST(ArrowStream, file_that_cannot_be_opened_is_an_error_with_its_path) {
    const TempFolder folder;
    for (const std::string& path : {folder.path("none"), folder.path("")}) {
        try {
            const Stream stream(path, meterChange);
            ADD_FAILURE() << path;
        } catch (const std::system_error& error) {
            EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
        }
    }
}

// ---- Readers --------------------------------------------------------------------------------------------------------

std::vector<const RecordKind*> allKinds() {
    const auto records = tramo::recordKinds();
    std::vector<const RecordKind*> kinds(records.begin(), records.end());
    kinds.insert(kinds.end(), {&tramo::kindOf<TagTramoModel>(), &tramo::kindOf<ParameterTramoModel>()});
    return kinds;
}

TEST(ArrowStream, has_the_rows_of_every_kind) {
    std::size_t found = 0;
    for (const char* name : {"round-returned.txt", "round-returned-utf16.txt", "round-damaged.txt", "tags.txt", "parameters.txt"})
        for (const RecordKind* kind : allKinds()) {
            Columns columns(*kind);
            for (const LineView& line : Reader(sample(name)))
                if (line.kind() == kind) { EXPECT_TRUE(columns.add(line)); }
            if (columns.rows() == 0) continue;
            ++found;
            const Table expected = tableOf(columns), streamed = Stream(sample(name), *kind, 7).table();
            EXPECT_EQ(streamed, expected) << name << ", " << kind->name;
            for (const std::int64_t rows : streamed.batches) EXPECT_LE(rows, 7);
            EXPECT_EQ(streamed.batches.size(), (static_cast<std::size_t>(expected.batches[0]) + 6) / 7);
        }
    EXPECT_GE(found, 20u);
}

TEST(ArrowStream, reads_the_encoding_that_the_reader_is_given) {
    const std::string marked = streams::readFile(sample("round-returned-utf16.txt"));
    const std::string bytes = marked.substr(2);
    const RecordKind& kind = *tramo::recordKind(L'1');
    const Table expected = Stream(sample("round-returned-utf16.txt"), kind).table();
    EXPECT_EQ(expected.cells.at("line").size(), 60u);
    EXPECT_EQ(Stream(Reader::ofBytes(bytes, {.encoding = Encoding::Utf16}), kind).table(), expected);
    EXPECT_EQ(Stream(Reader::ofBytes(bytes), kind).batches(), Batches());
    EXPECT_EQ(Stream(Reader::ofBytes(marked, {.encoding = Encoding::Ansi}), kind).batches(), Batches());
}

TEST(ArrowStream, begins_after_the_lines_that_have_been_read) {
    const Changes changes(4);
    Reader reader(changes.path);
    ASSERT_NE(reader.next(), nullptr);
    EXPECT_EQ(Stream(std::move(reader), meterChange).batches(), (Batches{{2, 3, 4}}));
}

TEST(ArrowStream, fields_are_those_chosen_or_an_error) {
    const Changes changes(1);
    const tramo::Field* chosen[] = {meterChange.field("newMeterIndex")};
    const auto open = [&](ArrowArrayStream* out) { tramo::arrowStream(Reader(changes.path), meterChange, chosen, out); };
    EXPECT_EQ(Stream(open).table().names, (std::vector<std::string>{"line", "newMeterIndex"}));
    chosen[0] = &tramo::recordKind(L'1')->fields.front();
    ArrowArrayStream stream{};
    EXPECT_THROW(open(&stream), std::invalid_argument);
    EXPECT_EQ(stream.release, nullptr);
}

TEST(ArrowStream, malformed_lines_are_those_of_their_table) {
    for (const char* name : {"round-damaged.txt", "amr-keys.txt", "round-returned.txt"}) {
        LineTable lines;
        for (const LineView& line : Reader(sample(name)))
            if (!line.kind()) { EXPECT_TRUE(lines.add(line)); }
        const std::size_t count = lines.rows();
        EXPECT_EQ(count == 0, name == std::string("round-returned.txt"));
        const Table expected = tableOf(lines);
        const Stream unread([&](ArrowArrayStream* out) { tramo::arrowStream(Reader(sample(name)), out); });
        const Table streamed =
            Stream([&](ArrowArrayStream* out) { tramo::arrowStream(Reader(sample(name)), out, {.rowsPerBatch = 2}); }).table();
        EXPECT_EQ(streamed.names, expected.names);
        EXPECT_EQ(streamed.formats, expected.formats);
        if (count > 0) { EXPECT_EQ(streamed.cells, expected.cells); }
        EXPECT_EQ(streamed.batches.size(), (count + 1) / 2) << name;
    }
}

// ---- Release --------------------------------------------------------------------------------------------------------

TEST(ArrowStream, batches_outlive_the_stream_and_are_released_in_any_order) {
    const Changes changes(6);
    std::vector<ArrowArray> batches(3);
    {
        Stream stream(changes.path, meterChange, 2);
        for (ArrowArray& batch : batches) ASSERT_EQ(stream.next(batch), 0);
    }
    ArrowArray child = *batches[1].children[0];
    batches[1].children[0]->release = nullptr;  // moved away
    for (const std::size_t i : {2U, 0U, 1U}) {
        if (i != 1) { EXPECT_EQ(numbersOf(batches[i]).front(), static_cast<std::int64_t>(2 * i + 1)); }
        batches[i].release(&batches[i]);
        EXPECT_EQ(batches[i].release, nullptr);
    }
    std::int64_t number = 0;
    std::memcpy(&number, child.buffers[1], 8);
    EXPECT_EQ(number, 3);
    child.release(&child);
}

TEST(ArrowStream, can_be_released_at_any_time) {
    const Changes changes(6);
    const Stream unread(changes.path, meterChange);
    Stream begun(changes.path, meterChange, 2);
    ArrowArray rows;
    ASSERT_EQ(begun.next(rows), 0);
    rows.release(&rows);
}

TEST(ArrowStream, has_no_more_batches_after_the_last_one) {
    const Changes changes(1);
    Stream stream(changes.path, meterChange);
    EXPECT_EQ(stream.batches().size(), 1u);
    EXPECT_EQ(stream.batches().size(), 0u);
}

// ---- Shared structures ----------------------------------------------------------------------------------------------

// A schema or rows that set a flag when they are released.
template <class Structure> std::shared_ptr<Structure> watched(bool& isReleased) {
    return {new Structure{}, [&isReleased](Structure* structure) {
                structure->release(structure);
                delete structure;
                isReleased = true;
            }};
}

TEST(Arrow, shared_rows_are_there_until_the_last_ones_are_released) {
    Columns columns(meterChange);
    ASSERT_TRUE(columns.add(7, std::string_view(changeLine())));
    ASSERT_TRUE(columns.add(9, std::string_view(changeLine())));
    bool isReleased = false;
    auto original = watched<ArrowArray>(isReleased);
    columns.exportRows(original.get());
    ArrowArray first, second;
    tramo::shareArrow(original, &first);
    tramo::shareArrow(original, &second);
    const void* const memory = original->children[0]->buffers[1];
    original.reset();

    EXPECT_EQ(numbersOf(first), (std::vector<std::int64_t>{7, 9}));
    EXPECT_EQ(first.children[0]->buffers[1], memory);  // not a copy
    ArrowArray child = *first.children[0];
    first.children[0]->release = nullptr;  // moved away
    first.release(&first);
    EXPECT_EQ(numbersOf(second), (std::vector<std::int64_t>{7, 9}));
    second.release(&second);
    EXPECT_FALSE(isReleased);
    EXPECT_EQ(child.buffers[1], memory);
    child.release(&child);
    EXPECT_TRUE(isReleased);
}

TEST(Arrow, shared_schemas_have_the_names_and_formats) {
    const Columns columns(meterChange);
    bool isReleased = false;
    auto original = watched<ArrowSchema>(isReleased);
    columns.exportSchema(original.get());
    ArrowSchema first, second;
    tramo::shareArrow(original, &first);
    tramo::shareArrow(original, &second);
    original.reset();
    Table one, other;
    one.setSchema(first);
    EXPECT_FALSE(isReleased);
    EXPECT_FALSE(second.children[0]->flags & ARROW_FLAG_NULLABLE);  // the number of the line
    EXPECT_TRUE(second.children[1]->flags & ARROW_FLAG_NULLABLE);
    other.setSchema(second);
    EXPECT_TRUE(isReleased);
    EXPECT_EQ(one, other);
    EXPECT_EQ(one.names.size(), columns.size() + 1);
    EXPECT_EQ(one.formats[0], "l");
}

// ---- Errors ---------------------------------------------------------------------------------------------------------

// Batches that throw.
struct Throwing : ArrowBatches {
    std::vector<std::function<void()>> calls;
    std::size_t next = 0;
    explicit Throwing(std::vector<std::function<void()>> with) : calls(std::move(with)) {}
    void exportSchema(ArrowSchema*) const override { throw std::bad_alloc(); }
    bool exportRows(ArrowArray*) override {
        if (next == calls.size()) return false;
        calls[next++]();
        ADD_FAILURE() << "the call has not thrown";
        return false;
    }
};

TEST(ArrowStream, exceptions_become_errors_of_the_stream) {
    const auto systemError = [](int code, const std::error_category& category) {
        return [code, &category] { throw std::system_error(code, category, "cannot read \"f\""); };
    };
    Stream stream([&](ArrowArrayStream* out) {
        tramo::arrowStream(
            std::make_unique<Throwing>(
                std::vector<std::function<void()>>{systemError(ESRCH, std::generic_category()), [] { throw std::bad_alloc(); },
                    [] { throw std::length_error("too long"); }, [] { throw 1; }, systemError(0, std::generic_category())}),
            out);
    });
    ArrowArray rows;
    EXPECT_EQ(stream.next(rows), ESRCH);
    EXPECT_EQ(stream.error().find("cannot read \"f\""), 0u) << stream.error();
    EXPECT_EQ(stream.next(rows), ENOMEM);
    EXPECT_EQ(stream.error(), "");  // that of the call before is gone
    EXPECT_EQ(stream.next(rows), EIO);
    EXPECT_EQ(stream.error(), "too long");
    EXPECT_EQ(stream.next(rows), EIO);
    EXPECT_EQ(stream.error(), "");
    EXPECT_EQ(stream.next(rows), EIO);
    EXPECT_NE(stream.error(), "");
    EXPECT_EQ(stream.next(rows), 0);
    EXPECT_EQ(rows.release, nullptr);
    EXPECT_EQ(stream.error(), "");
    ArrowSchema schema;
    EXPECT_EQ(stream.stream.get_schema(&stream.stream, &schema), ENOMEM);
}

// A table of two lines, which lacks memory for some calls and refuses line 5.
struct SmallTable {
    std::vector<std::int64_t> numbers{};
    int* failures;

    bool add(const LineView& line) {
        if (line.number() % 2 == 0 && *failures > 0) {
            --*failures;
            throw std::bad_alloc();
        }
        if (numbers.size() == 2 || line.number() == 5) return false;
        numbers.push_back(line.number());
        return true;
    }
    std::size_t rows() const { return numbers.size(); }
    void exportSchema(ArrowSchema*) const {}
    void exportRows(ArrowArray* out) {
        *out = {};
        out->length = numbers.back();
        numbers.clear();
    }
};

TEST(LineBatches, no_line_is_lost_if_a_batch_is_full_or_memory_is_lacking) {
    const Changes changes(5);
    int failures = 2;
    const auto isWanted = [](const LineView& line) { return line.number() != 3; };
    tramo::LineBatches<SmallTable, decltype(isWanted)> batches(
        Reader(changes.path), SmallTable{.failures = &failures}, isWanted, {});
    ArrowArray rows;
    EXPECT_THROW(batches.exportRows(&rows), std::bad_alloc);
    EXPECT_THROW(batches.exportRows(&rows), std::bad_alloc);
    ASSERT_TRUE(batches.exportRows(&rows));
    EXPECT_EQ(rows.length, 2);  // lines 1 and 2
    ASSERT_TRUE(batches.exportRows(&rows));
    EXPECT_EQ(rows.length, 4);  // line 4 alone: the table refuses line 5
    for (int i = 0; i < 2; ++i) {
        try {
            batches.exportRows(&rows);
            ADD_FAILURE() << "line 5 is lost";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc::value_too_large);
            EXPECT_NE(std::string(error.what()).find("line 5 "), std::string::npos) << error.what();
        }
    }
}

}  // namespace
