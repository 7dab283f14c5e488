// Writer: files that appear whole or not at all.
#include "support/build.h"
#include "support/randomfiles.h"
#include "tramostream/reader.h"
#include <filesystem>
#include <set>
#ifndef _WIN32
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#endif

using namespace records;
using streams::readFile, streams::TempFolder, streams::utf16, streams::writeFile;
using tramo::Encoding, tramo::Line, tramo::LineView, tramo::Reader, tramo::Writer;

namespace {

namespace fs = std::filesystem;

void putAll(Writer& writer, Reader reader) {
    for (const LineView& line : reader) writer.put(line);
}
void putAll(Writer& writer, std::string_view bytes) { putAll(writer, Reader::ofBytes(bytes)); }

std::error_code codeOf(auto operation) {
    try {
        operation();
    } catch (const std::system_error& error) { return error.code(); }
    return {};
}

std::string messageOf(auto operation) { return streams::thrownBy<std::system_error>(operation); }

class WriterTest : public testing::Test {
protected:
    std::string path(std::string_view name) const { return folder.path(name); }
    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& entry : fs::directory_iterator(path(""))) all.insert(entry.path().filename().string());
        return all;
    }
    using Names = std::set<std::string>;

    // Writes these lines to the file.
    void write(const std::string& file, std::string_view bytes) const {
        Writer writer(file);
        putAll(writer, bytes);
        writer.commit();
    }

    TempFolder folder;
};

// ---- Content --------------------------------------------------------------------------------------------------------

TEST_F(WriterTest, file_that_is_read_and_written_is_the_same) {
    Random random(17);
    const auto expectSame = [&](const std::string& bytes) {
        Reader reader = Reader::ofBytes(bytes);
        Writer writer(path("copy"), reader.encoding());
        for (const LineView& line : reader) writer.put(line);
        writer.commit();
        EXPECT_EQ(readFile(path("copy")), bytes);
    };
    for (int i = 0; i < (testsOptimised ? 200 : 40) && !HasFailure(); ++i) {
        SCOPED_TRACE("random file " + std::to_string(i));
        expectSame(randomFile(random, i % 2 == 0, random.below(300)));
    }
    for (const std::string& sample : sampleFiles) {
        SCOPED_TRACE(sample);
        expectSame(readFile(std::string(SAMPLES) + "/" + sample));
    }
    expectSame("");
    expectSame("\xFF\xFE");
}

TEST_F(WriterTest, encoding_can_change) {
    const std::string ansi = "caf\xE9\r\n\nlast\r", wide = utf16(u"caf\u00E9\r\n\nlast\r");
    {
        Writer writer(path("wide"), Encoding::Utf16);
        putAll(writer, ansi);
        writer.commit();
        EXPECT_EQ(readFile(path("wide")), wide);
    }
    Writer writer(path("ansi"));
    putAll(writer, Reader(path("wide")));
    writer.commit();
    EXPECT_EQ(readFile(path("ansi")), ansi);
}

TEST_F(WriterTest, character_that_the_encoding_does_not_have_is_an_error) {
    writeFile(path("x"), "old");
    Writer writer(path("x"));
    const std::string bytes = utf16(u"a\nb\u20AC\nc\n");
    const std::string message = messageOf([&] { putAll(writer, bytes); });
    EXPECT_TRUE(message.starts_with("cannot write \"" + path("x") + "\": line 2: ANSI has no character U+20AC: ")) << message;
    EXPECT_EQ(codeOf([&] { putAll(writer, "a\n"); }), std::errc::illegal_byte_sequence);
    EXPECT_EQ(messageOf([&] { writer.commit(); }), message);
    EXPECT_EQ(readFile(path("x")), "old");
    EXPECT_EQ(names(), Names{"x"});
}

TEST_F(WriterTest, text_in_ansi_that_would_be_read_as_utf16_is_an_error) {
    Writer writer(path("x"));
    EXPECT_EQ(codeOf([&] { putAll(writer, utf16(u"\u00FF\u00FEx\n")); }), std::errc::illegal_byte_sequence);
    Writer other(path("x"));
    putAll(other, utf16(u"x\n\u00FF\u00FEx\n"));
    other.commit();
    EXPECT_EQ(readFile(path("x")), "x\n\xFF\xFEx\n");
}

TEST_F(WriterTest, line_without_an_ending_gets_one_if_another_follows) {
    const auto written = [&](std::string_view first, std::string_view second, Encoding encoding) {
        Writer writer(path("x"), encoding);
        putAll(writer, first);
        putAll(writer, second);
        writer.commit();
        return readFile(path("x"));
    };
    EXPECT_EQ(written("a", "b", Encoding::Ansi), "a\r\nb");
    EXPECT_EQ(written("a\r", "b\r", Encoding::Ansi), "a\r\nb\r");
    EXPECT_EQ(written("a\n", "b", Encoding::Ansi), "a\nb");
    EXPECT_EQ(written("a", "", Encoding::Ansi), "a");
    EXPECT_EQ(written("a", "b\r", Encoding::Utf16), utf16(u"a\r\nb\r"));
    EXPECT_EQ(written("a\r", "b", Encoding::Utf16), utf16(u"a\r\nb"));
}

TEST_F(WriterTest, nothing_can_follow_half_of_a_character) {
    const std::string half = utf16(u"a\nb") + "x";
    Writer writer(path("x"), Encoding::Utf16);
    putAll(writer, half);
    EXPECT_EQ(codeOf([&] { putAll(writer, "c"); }), std::errc::illegal_byte_sequence);
    Writer ansi(path("x"));
    EXPECT_EQ(codeOf([&] { putAll(ansi, half); }), std::errc::illegal_byte_sequence);
}

TEST_F(WriterTest, changed_line_is_written_with_its_change_only) {
    const std::string before = readFile(std::string(SAMPLES) + "/round-returned.txt");
    Reader reader = Reader::ofBytes(before);
    Writer writer(path("x"));
    for (const LineView& line : reader) {
        Line copy(line);
        if (copy.is<MeterSubscriberTramoModel>() && copy.text("meterSerialNumber") == "C12AB0100000") {
            EXPECT_TRUE(copy.set("meterReadingIndex", 6060));
        }
        writer.put(copy);
    }
    writer.commit();
    std::string expected = before;
    expected.replace(1987, 2, "60");
    EXPECT_EQ(readFile(path("x")), expected);
}

// ---- Whole or not at all --------------------------------------------------------------------------------------------

TEST_F(WriterTest, file_appears_with_commit) {
    writeFile(path("old"), "old");
    for (const char* name : {"old", "new"}) {
        const bool isNew = name == std::string("new");
        Writer writer(path(name));
        for (int i = 0; i < 100; ++i) putAll(writer, std::string(5000, 'x') + "\n");  // more than is buffered
        EXPECT_EQ(fs::exists(path(name)), !isNew);
        if (!isNew) { EXPECT_EQ(readFile(path(name)), "old"); }
        writer.commit();
        EXPECT_EQ(readFile(path(name)).size(), 500100u);
    }
    EXPECT_EQ(names(), (Names{"old", "new"}));
}

TEST_F(WriterTest, without_commit_nothing_remains) {
    writeFile(path("old"), "old");
    {
        Writer old(path("old")), created(path("new"));
        putAll(old, "x\n");
        putAll(created, "x\n");
        EXPECT_EQ(names().size(), 3u);
    }
    EXPECT_EQ(names(), Names{"old"});
    EXPECT_EQ(readFile(path("old")), "old");
}

TEST_F(WriterTest, nothing_can_follow_commit) {
    Writer writer(path("x"));
    putAll(writer, "a\n");
    writer.commit();
    EXPECT_EQ(codeOf([&] { putAll(writer, "b\n"); }), std::errc::bad_file_descriptor);
    EXPECT_EQ(codeOf([&] { writer.commit(); }), std::errc::bad_file_descriptor);
    EXPECT_EQ(readFile(path("x")), "a\n");
}

TEST_F(WriterTest, can_be_moved) {
    Writer first(path("a"));
    putAll(first, "a\n");
    Writer second = std::move(first);
    putAll(second, "b\n");
    Writer third(path("c"));
    third = std::move(second);  // the file c does not appear
    EXPECT_EQ(names().size(), 1u);
    third.commit();
    EXPECT_EQ(names(), Names{"a"});
    EXPECT_EQ(readFile(path("a")), "a\nb\n");
    EXPECT_EQ(codeOf([&] { putAll(first, "x\n"); }), std::errc::bad_file_descriptor);  // NOLINT: moved from
    EXPECT_EQ(codeOf([&] { second.commit(); }), std::errc::bad_file_descriptor);       // NOLINT
}

TEST_F(WriterTest, file_can_be_replaced_while_it_is_read) {
    const std::string before = readFile(std::string(SAMPLES) + "/round-returned.txt");
    writeFile(path("x"), before);
    {
        Reader reader(path("x"));
        Writer writer(path("x"));
        for (const LineView& line : reader)
            if (line.number() % 2 == 0) writer.put(line);
        writer.commit();
        EXPECT_EQ(readFile(path("x")).size(), before.size() / 2);
    }
    EXPECT_EQ(names(), Names{"x"});  // Windows keeps the old file until it is closed
}

TEST_F(WriterTest, name_of_greatest_length_can_be_written) {
    const std::string name(255, 'n');
    write(path(name), "a\n");
    EXPECT_EQ(names(), Names{name});
}

// ---- Errors ---------------------------------------------------------------------------------------------------------

#ifdef _WIN32
constexpr std::errc nameTooLong = std::errc::no_such_file_or_directory;
#else
constexpr std::errc nameTooLong = std::errc::filename_too_long;
#endif

TEST_F(WriterTest, place_that_cannot_be_written_is_an_error_with_path_and_reason) {
    const std::string missing = path("no/x");
    const std::string message = messageOf([&] { Writer writer(missing); });
    EXPECT_EQ(
        message, "cannot write \"" + missing + "\": " + std::make_error_code(std::errc::no_such_file_or_directory).message());
    EXPECT_EQ(codeOf([&] { Writer writer(path("")); }), std::errc::is_a_directory);
    EXPECT_EQ(codeOf([&] { Writer writer(""); }), std::errc::no_such_file_or_directory);
    EXPECT_EQ(codeOf([&] { Writer writer(path("x") + std::string("\0y", 2)); }), std::errc::no_such_file_or_directory);
    EXPECT_EQ(codeOf([&] { Writer(path(std::string(300, 'n'))).commit(); }), nameTooLong);
    EXPECT_EQ(names(), Names{});
}

#ifndef _WIN32
TEST_F(WriterTest, file_or_folder_without_permission_is_an_error) {
    if (::geteuid() == 0) GTEST_SKIP() << "root can write to every file";
    writeFile(path("x"), "old");
    ::chmod(path("x").c_str(), 0444);
    EXPECT_EQ(codeOf([&] { Writer writer(path("x")); }), std::errc::permission_denied);
    ::chmod(path("x").c_str(), 0644);
    ::chmod(path("").c_str(), 0555);
    EXPECT_EQ(codeOf([&] { Writer writer(path("x")); }), std::errc::permission_denied);
    EXPECT_EQ(codeOf([&] { Writer writer(path("y")); }), std::errc::permission_denied);
    ::chmod(path("").c_str(), 0755);
    EXPECT_EQ(readFile(path("x")), "old");
}

// Limits the size of files during its lifetime.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t most) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit{most, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }

private:
    rlimit before{};
    void (*handler)(int);
};

TEST_F(WriterTest, file_that_becomes_too_large_replaces_nothing) {
    writeFile(path("x"), "old");
    for (const int lines : {3, 300}) {  // noticed by commit, and by put
        const FileSizeLimit limit(1000);
        Writer writer(path("x"));
        const auto writeLines = [&] {
            for (int i = 0; i < lines; ++i) putAll(writer, std::string(510, 'x') + "\r\n");
        };
        if (lines < 100) writeLines();
        else EXPECT_EQ(codeOf(writeLines), std::errc::file_too_large);
        EXPECT_EQ(codeOf([&] { writer.commit(); }), std::errc::file_too_large);
        EXPECT_EQ(codeOf([&] { writer.commit(); }), std::errc::file_too_large);
        EXPECT_EQ(names(), Names{"x"});
    }
    EXPECT_EQ(readFile(path("x")), "old");
}

TEST_F(WriterTest, folder_that_takes_the_place_of_the_file_is_an_error) {
    Writer writer(path("x"));
    putAll(writer, "a\n");
    fs::create_directory(path("x"));
    EXPECT_TRUE(codeOf([&] { writer.commit(); }));
    EXPECT_EQ(names(), Names{"x"});
}

// ---- Changes --------------------------------------------------------------------------------------------------------

TEST_F(WriterTest, changed_lines_differ_in_their_fields_only) {
    for (const char* sample : {"round-returned.txt", "round-returned-utf16.txt", "round-damaged.txt"}) {
        const std::string from = std::string(SAMPLES) + "/" + sample, before = readFile(from);
        const auto change = [](Line& line) {
            if (line.is<MeterSubscriberTramoModel>() && line.number() % 2 == 0) line.set("meterMessage", "changed").orThrow();
        };
        const std::size_t changed = tramo::changeLines(from, path("x"), change);
        EXPECT_GT(changed, 5U);
        EXPECT_EQ(tramo::changeLines(path("x"), path("x"), change), 0U) << "they are changed already";
        const std::string after = readFile(path("x"));
        ASSERT_EQ(after.size(), before.size());
        Reader old(from), now(path("x"));
        std::size_t differing = 0;
        for (const LineView& line : now) {
            const LineView* same = old.next();
            if (line.bytes() == same->bytes()) continue;
            ++differing;
            EXPECT_EQ(line.text("meterMessage"), "changed");
            Line restored(line);
            restored.set("meterMessage", same->text("meterMessage")).orThrow();
            EXPECT_EQ(restored.bytes(), same->bytes());
        }
        EXPECT_EQ(differing, changed);
    }
}

TEST_F(WriterTest, change_that_throws_replaces_nothing) {
    writeFile(path("x"), "a\nb\n");
    EXPECT_EQ(streams::thrownBy<std::invalid_argument>([&] {
        tramo::changeLines(path("x"), path("x"), [](Line& line) {
            if (line.number() == 2) line.set("meterReadingIndex", 1).orThrow();
        });
    }),
        "meterReadingIndex: the line does not have this field");
    EXPECT_EQ(readFile(path("x")), "a\nb\n");
    EXPECT_EQ(names(), Names{"x"});
    EXPECT_EQ(codeOf([&] { tramo::changeLines(path("none"), path("x"), [](Line&) {}); }), std::errc::no_such_file_or_directory);
}

// ---- Permissions and links ------------------------------------------------------------------------------------------

unsigned modeOf(const std::string& file) {
    struct stat status {};
    ::stat(file.c_str(), &status);
    return status.st_mode & 07777;
}

TEST_F(WriterTest, permissions_are_kept) {
    const mode_t mask = ::umask(027);
    write(path("new"), "a\n");
    EXPECT_EQ(modeOf(path("new")), 0640u);
    Writer hidden(path("private"), Encoding::Ansi, true);
    hidden.commit();
    EXPECT_EQ(modeOf(path("private")), 0600u);
    for (const unsigned mode : {0604u, 0666u, 0700u}) {
        ::chmod(path("new").c_str(), mode);
        write(path("new"), "b\n");
        EXPECT_EQ(modeOf(path("new")), mode);
    }
    Writer kept(path("new"), Encoding::Ansi, true);
    kept.commit();
    EXPECT_EQ(modeOf(path("new")), 0700u);
    ::umask(mask);
}

TEST_F(WriterTest, owner_is_kept) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    writeFile(path("x"), "old");
    ASSERT_EQ(::chown(path("x").c_str(), 1234, 2345), 0);
    write(path("x"), "new\n");
    struct stat status {};
    ASSERT_EQ(::stat(path("x").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234u);
    EXPECT_EQ(status.st_gid, 2345u);
}

#ifdef __linux__
// As many as the system itself follows.
TEST_F(WriterTest, chain_of_forty_links_is_followed) {
    for (int i = 1; i <= 41; ++i)
        fs::create_symlink(i == 1 ? "target" : "link" + std::to_string(i - 1), path("link" + std::to_string(i)));
    for (const bool exists : {false, true}) {
        EXPECT_EQ(fs::exists(path("target")), exists);
        Writer writer(path("link40"));
        writer.commit();
        EXPECT_TRUE(fs::exists(path("target")));
        EXPECT_EQ(codeOf([&] { Writer one(path("link41")); }), std::errc::too_many_symbolic_link_levels);
    }
}
#endif

TEST_F(WriterTest, symbolic_link_stays) {
    fs::create_directory(path("folder"));
    writeFile(path("folder/target"), "old");
    fs::create_symlink("folder/target", path("relative"));
    fs::create_symlink(path("relative"), path("absolute"));
    fs::create_symlink("folder/new", path("dangling"));
    for (const char* name : {"relative", "absolute"}) {
        write(path(name), std::string(name) + "\n");
        EXPECT_TRUE(fs::is_symlink(path(name)));
        EXPECT_EQ(readFile(path("folder/target")), std::string(name) + "\n");
    }
    write(path("dangling"), "x\n");
    EXPECT_TRUE(fs::is_symlink(path("dangling")));
    EXPECT_EQ(readFile(path("folder/new")), "x\n");
    EXPECT_EQ(names(), (Names{"folder", "relative", "absolute", "dangling"}));
    fs::create_symlink("loop", path("loop"));
    EXPECT_EQ(codeOf([&] { Writer writer(path("loop")); }), std::errc::too_many_symbolic_link_levels);
}

TEST_F(WriterTest, relative_path_is_that_of_the_beginning) {
    const fs::path before = fs::current_path();
    fs::current_path(path(""));
    Writer writer("x");
    putAll(writer, "a\n");
    fs::current_path(before);
    writer.commit();
    EXPECT_EQ(readFile(path("x")), "a\n");
}

TEST_F(WriterTest, other_name_of_the_file_keeps_the_old_content) {
    writeFile(path("x"), "old");
    fs::create_hard_link(path("x"), path("y"));
    write(path("x"), "new\n");
    EXPECT_EQ(readFile(path("x")), "new\n");
    EXPECT_EQ(readFile(path("y")), "old");
}

// ---- Streams --------------------------------------------------------------------------------------------------------

TEST_F(WriterTest, pipe_is_written_directly) {
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    std::string read;
    std::thread reader([&] { read = readFile(path("pipe")); });
    write(path("pipe"), "a\nb\n");
    reader.join();
    EXPECT_EQ(read, "a\nb\n");
    EXPECT_EQ(names(), Names{"pipe"});
    EXPECT_TRUE(fs::is_fifo(path("pipe")));
}

TEST_F(WriterTest, device_is_written_directly) {
    write("/dev/null", "a\n");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

#ifdef __linux__
TEST_F(WriterTest, full_device_is_an_error) {
    Writer writer("/dev/full");
    putAll(writer, "a\n");
    EXPECT_EQ(codeOf([&] { writer.commit(); }), std::errc::no_space_on_device);
    EXPECT_EQ(messageOf([&] { writer.commit(); }),
        "cannot write \"/dev/full\": " + std::make_error_code(std::errc::no_space_on_device).message());
}

TEST_F(WriterTest, open_file_of_this_process_is_continued) {
    writeFile(path("x"), "before\n");
    const int descriptor = ::open(path("x").c_str(), O_WRONLY | O_APPEND);
    write("/dev/fd/" + std::to_string(descriptor), "after\n");
    EXPECT_EQ(::close(descriptor), 0);
    EXPECT_EQ(readFile(path("x")), "before\nafter\n");
    EXPECT_EQ(names(), Names{"x"});
}
#endif
#endif

}  // namespace
