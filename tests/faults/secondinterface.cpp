// Reader, Writer, RoundFile, streams of columns and the C interface with failing calls. The result is std::bad_alloc or the error
// with its path and reason; a file is replaced whole or not at all; nothing is left beside it, and nothing leaks.
#include "faults.h"
#include "tramostream/c.h"
#include "tramostream/columns.h"
#include "tramostream/messages.h"
#include "tramostream/reader.h"
#include "tramostream/round.h"
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

using namespace faults;
using tramo::Encoding, tramo::Line, tramo::LineView, tramo::Reader, tramo::RoundFile, tramo::Writer;

std::string messageOf(int reason) { return std::error_code(reason, std::generic_category()).message(); }

bool isHarmless(int error) { return error == EINTR || error == half; }

// Returns what is wrong with an error that was thrown under the plan.
std::string wrongWith(const std::system_error& error, const std::string& path) {
    if (plan.failures == 0) return "an error without a fault";
    if (plan.sort == Sort::Memory) return error.what();
    if (isHarmless(plan.error)) return "is not survived";
    if (error.code().value() != plan.error) return "another reason";
    const std::string words = error.what();
    return words.find(path) != std::string::npos && words.find(messageOf(plan.error)) != std::string::npos ? "" : words;
}

class SecondInterface : public Faults {
protected:
    SecondInterface() {
        tramo::setMessages(tramo::Messages::Silent);
        const std::string sample = streams::readFile(SAMPLES "/round-returned.txt");
        bytes = sample + std::string(600'000, 'x') + "\r\n" + sample;  // the long line needs more memory than a block
        round = file("round", sample);
        from = file("from", bytes);
        std::u16string units;
        for (const char c : bytes) units += static_cast<unsigned char>(c);
        wideBytes = streams::utf16(units);
        wide = file("wide", wideBytes);
    }
    ~SecondInterface() override { tramo::setMessages(tramo::Messages::StandardOutput); }

    std::string bytes, wideBytes, from, wide, round;
};

// ---- Reader ---------------------------------------------------------------------------------------------------------

// Adds the remaining lines to a text for which memory is reserved.
void readInto(Reader& reader, std::string& text) {
    while (const LineView* line = reader.next()) {
        text += line->bytes();
        text += '\n';
    }
}

std::string allOf(const std::string& path) {
    Reader reader(path);
    std::string text;
    text.reserve(3'000'000);
    readInto(reader, text);
    return text;
}

class ReaderFaults : public SecondInterface {
protected:
    // Reads under the plan. Without memory, it goes on without the plan.
    std::string read(const std::string& path, bool isQuiet) {
        const std::string expected = allOf(path);
        std::string text;
        text.reserve(3'000'000);
        std::unique_ptr<Reader> reader;
        try {
            armed([&] {
                reader = isQuiet ? std::make_unique<Reader>(std::nothrow, path) : std::make_unique<Reader>(path);
                readInto(*reader, text);
                if (plan.sort == Sort::Close) reader = std::make_unique<Reader>(Reader::ofBytes(""));
            });
        } catch (const std::bad_alloc&) {
            if (plan.sort != Sort::Memory || plan.failures == 0) return "bad_alloc without a fault";
            if (!reader) return "";
            readInto(*reader, text);
            return text == expected ? "" : "a line is lost";
        } catch (const std::system_error& error) {
            if (isQuiet) return "an exception";
            return expected.starts_with(text) ? wrongWith(error, path) : "other lines before the error";
        }
        if (!reader->error()) return reader->message().empty() && text == expected ? "" : "other lines";
        const bool isSaid = isQuiet && reader->error().value() == plan.error &&
                            reader->message().find('"' + path + "\": " + messageOf(plan.error)) != std::string::npos;
        return isSaid && !reader->next() && expected.starts_with(text) ? "" : "another error";
    }
};

TEST_F(ReaderFaults, without_memory_no_line_is_lost) {
    for (const bool isQuiet : {false, true}) {
        everyFault(Sort::Memory, {ENOMEM}, [&] { return read(from, isQuiet); });
        everyFault(Sort::Memory, {ENOMEM}, [&] { return read(wide, isQuiet); });
    }
}

TEST_F(ReaderFaults, call_that_fails_is_an_error_with_path_and_reason) {
    for (const bool isQuiet : {false, true}) {
        everyFault(Sort::Read, {EIO, EINTR, half}, [&] { return read(from, isQuiet); });
        everyFault(Sort::Open, {EMFILE, EACCES, EINTR}, [&] { return read(wide, isQuiet); });
        everyFault(Sort::Close, {EIO, EINTR}, [&] { return read(from, isQuiet); });
    }
}

#ifdef __linux__
TEST_F(ReaderFaults, error_without_memory_for_its_words_has_them_later) {
    const std::string words = "cannot read \"/proc/self/mem\": " + messageOf(EIO);
    everyFault(Sort::Memory, {ENOMEM}, [&]() -> std::string {
        std::unique_ptr<Reader> silent, loud;
        const auto open = [&](auto... nothrow) {
            return std::make_unique<Reader>(
                nothrow..., "/proc/self/mem", tramo::ReadOptions{Encoding::Ansi, tramo::LineKind::Record});
        };
        try {
            armed([&] {
                loud = open();
                silent = open(std::nothrow);
                silent->next();
            });
        } catch (const std::bad_alloc&) {
            if (!silent) return "";
        }
        try {
            armed([&] { loud->next(); });
        } catch (const std::bad_alloc&) {
        } catch (const std::system_error&) {}
        if (silent->next() || silent->message() != words) return "another message: " + silent->message();
        try {
            loud->next();
        } catch (const std::system_error& error) { return error.what() == words ? "" : error.what(); }
        return "no error";
    });
}
#endif

TEST_F(ReaderFaults, descriptor_that_cannot_be_duplicated_is_an_error) {
    everyFault(Sort::Duplicate, {EMFILE}, [&]() -> std::string {
        const int descriptor = ::open(round.c_str(), O_RDONLY | O_CLOEXEC);
        std::string wrong;
        try {
            armed([&] { Reader::ofDescriptor(descriptor, round); });
            if (plan.failures > 0) wrong = "no error";
        } catch (const std::system_error& error) { wrong = wrongWith(error, round); }
        ::close(descriptor);
        return wrong;
    });
}

// ---- Values and changes ---------------------------------------------------------------------------------------------

TEST_F(SecondInterface, values_and_changes_without_memory_leave_the_line_as_it_was) {
    const std::string content = streams::readFile(round).substr(3 * 514, 514);
    Reader reader = Reader::ofBytes(content);
    const Line original(*reader.next());
    everyFault(Sort::Memory, {ENOMEM}, [&]() -> std::string {
        std::string text;
        text.reserve(100'000);
        Line line(original);
        try {
            armed([&] {
                for (const tramo::Field& field : line.kind()->fields) text += line[field].text().value_or("");
                if (!line.set("meterReadingIndex", 6055)) throw std::runtime_error("is not set");
            });
        } catch (const std::bad_alloc&) { return plan.failures > 0 && line.bytes() == original.bytes() ? "" : "another line"; }
        return line.text("meterReadingIndex") == "6055" && !text.empty() ? "" : "another value";
    });
}

// ---- Writer ---------------------------------------------------------------------------------------------------------

class WriterFaults : public SecondInterface {
protected:
    static constexpr const char* old = "old\r\n";

    // Copies a file under the plan over an old one; a line for which memory lacks is written again.
    std::string write(const std::string& source, Encoding encoding, bool exists = true) {
        const std::string place = exists ? file("out/new", old) : path("out/new");
        if (!exists) std::filesystem::remove(place);
        ::chmod(place.c_str(), 0640);
        bool isCommitted = false;
        std::string wrong;
        {
            Reader reader(source);
            std::unique_ptr<Writer> writer;
            try {
                armed([&] { writer = std::make_unique<Writer>(place, encoding); });
                while (const LineView* line = reader.next()) {
                    try {
                        armed([&] { writer->put(*line); });
                    } catch (const std::bad_alloc&) {
                        if (plan.sort != Sort::Memory) return "bad_alloc";
                        writer->put(*line);
                    }
                }
                armed([&] { writer->commit(); });
                isCommitted = true;
            } catch (const std::bad_alloc&) {
                if (plan.sort != Sort::Memory || plan.failures == 0) return "bad_alloc";
            } catch (const std::system_error& error) {
                wrong = wrongWith(error, place);
                if (writer && wrong.empty() && !throwsAgain(*writer, error)) wrong = "goes on after an error";
            }
        }
        if (!wrong.empty()) return wrong;
        const std::string found = streams::readFile(place);
        const std::string& content = encoding == Encoding::Utf16 ? wideBytes : bytes;
        if (isCommitted ? found != content : found != (exists ? old : "")) return "another file";
        struct stat status {};
        if (exists && (::stat(place.c_str(), &status) != 0 || (status.st_mode & 0777) != 0640)) return "other permissions";
        const auto names = std::filesystem::directory_iterator(path("out"));
        return std::distance(begin(names), end(names)) == (exists || isCommitted ? 1 : 0) ? "" : "leaves a file";
    }

    static bool throwsAgain(Writer& writer, const std::system_error& error) {
        try {
            writer.commit();
        } catch (const std::system_error& again) {
            return again.code() == error.code() && again.what() == std::string(error.what());
        }
        return false;
    }

    void SetUp() override { std::filesystem::create_directory(path("out")); }
};

TEST_F(WriterFaults, without_memory_a_file_is_replaced_whole_or_not_at_all) {
    everyFault(Sort::Memory, {ENOMEM}, [&] { return write(from, Encoding::Ansi); });
    everyFault(Sort::Memory, {ENOMEM}, [&] { return write(wide, Encoding::Ansi); });
    everyFault(Sort::Memory, {ENOMEM}, [&] { return write(from, Encoding::Utf16, false); });
}

TEST_F(WriterFaults, call_that_fails_replaces_nothing_and_is_an_error_with_path_and_reason) {
    everyFault(Sort::Open, {EACCES, EMFILE, ENOSPC, EINTR}, [&] { return write(from, Encoding::Utf16); });
    everyFault(Sort::Write, {ENOSPC, EIO, EINTR, half}, [&] { return write(from, Encoding::Ansi); });
    everyFault(Sort::Write, {ENOSPC, EDQUOT}, [&] { return write(from, Encoding::Utf16, false); });
    everyFault(Sort::Sync, {EIO, ENOSPC, EINTR}, [&] { return write(from, Encoding::Ansi); });
    everyFault(Sort::Close, {EIO, ENOSPC, EINTR}, [&] { return write(from, Encoding::Ansi); });
    everyFault(Sort::Rename, {EACCES, EIO, ENOSPC}, [&] { return write(from, Encoding::Ansi); });
    everyFault(Sort::Status, {EACCES, EIO}, [&] { return write(from, Encoding::Ansi); });
    everyFault(Sort::Access, {EACCES, EROFS}, [&] { return write(from, Encoding::Ansi); });
    everyFault(Sort::Mode, {EPERM, EIO}, [&] { return write(from, Encoding::Ansi); });
}

#ifdef __linux__
// An error that has no memory for its words is an error nevertheless.
TEST_F(WriterFaults, full_device_without_memory_is_never_a_success) {
    everyFault(Sort::Memory, {ENOMEM}, [&]() -> std::string {
        Reader reader(round);
        std::unique_ptr<Writer> writer;
        try {
            armed([&] { writer = std::make_unique<Writer>("/dev/full"); });
        } catch (const std::bad_alloc&) { return ""; }
        const auto succeeds = [&](auto action) {
            try {
                armed(action);
                return true;
            } catch (const std::bad_alloc&) { return false; } catch (const std::system_error& error) {
                return error.code() != std::errc::no_space_on_device;
            }
        };
        while (const LineView* line = reader.next()) succeeds([&] { writer->put(*line); });
        if (succeeds([&] { writer->commit(); })) return "a success";
        try {
            writer->commit();
        } catch (const std::system_error& error) {
            return error.what() == "cannot write \"/dev/full\": " + messageOf(ENOSPC) ? "" : error.what();
        }
        return "a success";
    });
}
#endif

// ---- RoundFile ------------------------------------------------------------------------------------------------------

// Some of what a round says, and its number of lines.
std::pair<std::string, std::size_t> contentOf(const RoundFile& file) {
    std::string text;
    for (const tramo::Round& each : file.rounds()) {
        text += each.code();
        for (const tramo::Meter& meter : each.meters()) {
            text += meter.serial();
            for (const tramo::AreaText& area : meter.areas()) text += area.text;
            for (const tramo::Answer& answer : meter.answers()) text += answer.question + answer.result;
            text += std::to_string(meter.alarms().size() + meter.history().size() + meter.moduleReadings().size());
        }
    }
    for (const tramo::Finding& finding : file.findings()) text += finding.sentence;
    return {text, file.lines().size() + file.orphans().size()};
}

TEST_F(SecondInterface, round_without_memory_is_the_whole_one_or_none) {
    const std::string sample = streams::readFile(round), few = file("few", sample.substr(0, 20 * 514) + sample.substr(100 * 514));
    const auto expected = contentOf(RoundFile::read(few));
    ASSERT_GT(expected.first.size(), 200U);
    everyFault(Sort::Memory, {ENOMEM}, [&]() -> std::string {
        std::unique_ptr<RoundFile> kept;
        bool isSame = false;
        try {
            armed([&] {
                kept = std::make_unique<RoundFile>(RoundFile::read(few));
                isSame = contentOf(*kept) == expected;
            });
        } catch (const std::bad_alloc&) { isSame = plan.failures > 0 && (!kept || contentOf(*kept) == expected); }
        return isSame ? "" : "another round";
    });
}

TEST_F(SecondInterface, round_that_cannot_be_read_is_an_error_with_path_and_reason) {
    const auto read = [&]() -> std::string {
        try {
            const std::size_t lines = armed([&] { return RoundFile::read(from).lines().size(); });
            return lines == 345 && (plan.failures == 0 || isHarmless(plan.error)) ? "" : "another file";
        } catch (const std::system_error& error) { return wrongWith(error, from); }
    };
    everyFault(Sort::Read, {EIO, EINTR, half}, read);
    everyFault(Sort::Open, {EMFILE, EINTR}, read);
}

// ---- Columns --------------------------------------------------------------------------------------------------------

// The rows of a stream of columns, or -1 if it says why there are none.
long rowsOf(const std::string& path, int& error, bool& isSaid) {
    ArrowArrayStream stream{};
    tramo::arrowStream(path.c_str(), tramo::kindOf<MeterSubscriberTramoModel>(), {}, &stream);
    long rows = 0;
    for (;;) {
        ArrowArray array{};
        error = stream.get_next(&stream, &array);
        if (error != 0 || !array.release) break;
        rows += array.length;
        array.release(&array);
    }
    isSaid = stream.get_last_error(&stream) != nullptr;
    stream.release(&stream);
    return error == 0 ? rows : -1;
}

TEST_F(SecondInterface, stream_of_columns_returns_its_errors) {
    const auto read = [&]() -> std::string {
        int error = 0;
        bool isSaid = false;
        try {
            const long rows = armed([&] { return rowsOf(from, error, isSaid); });
            if (rows == 120) return plan.failures == 0 || isHarmless(plan.error) || plan.sort == Sort::Close ? "" : "no error";
            return rows == -1 && error == plan.error && (isSaid || plan.sort == Sort::Memory) ? "" : "another error";
        } catch (const std::bad_alloc&) {
            return plan.sort == Sort::Memory ? "" : "bad_alloc";
        } catch (const std::system_error& failure) { return wrongWith(failure, from); }
    };
    everyFault(Sort::Memory, {ENOMEM}, read);
    everyFault(Sort::Read, {EIO, EINTR, half}, read);
    everyFault(Sort::Open, {EMFILE, EINTR}, read);
}

// Rows that cannot be read.
struct UnreadableRows : tramo::ArrowBatches {
    std::exception_ptr failure = std::make_exception_ptr(
        std::system_error(EIO, std::generic_category(), "cannot read a file whose name takes memory of its own"));
    void exportSchema(ArrowSchema*) const override {}
    bool exportRows(ArrowArray*) override { std::rethrow_exception(failure); }
};

TEST_F(SecondInterface, stream_of_columns_returns_a_read_error_without_memory_for_its_words) {
    everyFault(Sort::Memory, {ENOMEM}, []() -> std::string {
        ArrowArrayStream stream{};
        tramo::arrowStream(std::make_unique<UnreadableRows>(), &stream);
        ArrowArray array{};
        const int error = armed([&] { return stream.get_next(&stream, &array); });
        const bool isSaid = stream.get_last_error(&stream) != nullptr;
        stream.release(&stream);
        return error == EIO && isSaid == (plan.failures == 0) ? "" : "another error";
    });
}

// ---- The C interface ------------------------------------------------------------------------------------------------

class CFaults : public WriterFaults {
protected:
    // Copies a file with a changed reading and checks it. Returns the first status that is not expected.
    tramo_status copy(const std::string& to, std::string& words) {
        tramo_reader* reader = nullptr;
        tramo_writer* writer = nullptr;
        tramo_checker* checker = nullptr;
        const tramo_field* reading = tramo_find_field(tramo_find_kind("1"), "meterReadingIndex");
        tramo_status status = reading ? tramo_reader_open(from.c_str(), TRAMO_AUTO, &reader) : TRAMO_NO_MEMORY;
        if (status == TRAMO_OK) status = tramo_writer_open(to.c_str(), TRAMO_ANSI, &writer);
        if (status == TRAMO_OK) status = tramo_checker_new(0, &checker);
        const tramo_line* line = nullptr;
        while (status == TRAMO_OK && (status = tramo_reader_next(reader, &line)) == TRAMO_OK) {
            tramo_line* changed = nullptr;
            tramo_finding finding;
            char text[16];
            status = tramo_line_copy(line, &changed);
            tramo_line_info info{};
            if (status == TRAMO_OK) status = tramo_line_get_info(changed, &info);
            if (status == TRAMO_OK && info.number == 4) status = tramo_set_int64(changed, reading, 6055);
            if (status == TRAMO_OK && info.number == 4) status = tramo_get_text(changed, reading, text, sizeof text, nullptr);
            if (status == TRAMO_OK) status = tramo_writer_put(writer, changed);
            if (status == TRAMO_OK && info.number < 20) status = tramo_checker_line(checker, changed);
            while (status == TRAMO_OK && (status = tramo_checker_next(checker, &finding)) == TRAMO_OK) {}
            if (status == TRAMO_END) status = TRAMO_OK;
            tramo_line_free(changed);
        }
        if (status == TRAMO_END) status = tramo_writer_commit(writer);
        for (const char* reason : {tramo_reader_error(reader), tramo_writer_error(writer)})
            if (*reason != '\0') words = reason;
        tramo_checker_free(checker);
        tramo_writer_close(writer);
        tramo_reader_close(reader);
        return status;
    }

    std::string copied() {
        const std::string place = file("out/new", old);
        std::string words, changed = bytes;
        words.reserve(1000);
        changed.replace(3 * 514 + 437, 10, "      6055");
        const tramo_status status = armed([&] { return copy(place, words); });
        const std::string found = streams::readFile(place);
        if (status == TRAMO_OK)
            return found == changed && (plan.failures == 0 || plan.sort != Sort::Memory) ? "" : "another file";
        if (plan.failures == 0 || isHarmless(plan.error)) return tramo_status_text(status);
        if (found != old) return "a damaged file";
        if (plan.sort == Sort::Memory) return status == TRAMO_NO_MEMORY ? "" : tramo_status_text(status);
        const bool isSaid = words.find(messageOf(plan.error)) != std::string::npos && words.find(path("")) != std::string::npos;
        return status == TRAMO_FAILED && isSaid ? "" : "another reason: " + words;
    }
};

TEST_F(CFaults, every_failure_is_a_status) {
    everyFault(Sort::Memory, {ENOMEM}, [&] { return copied(); });
    everyFault(Sort::Read, {EIO, EINTR, half}, [&] { return copied(); });
    everyFault(Sort::Write, {ENOSPC, EINTR, half}, [&] { return copied(); });
    everyFault(Sort::Open, {EMFILE, EINTR}, [&] { return copied(); });
    everyFault(Sort::Sync, {EIO}, [&] { return copied(); });
    everyFault(Sort::Rename, {EACCES}, [&] { return copied(); });
}

}  // namespace
