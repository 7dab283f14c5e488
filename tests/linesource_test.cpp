// The lines of a file in blocks, with and without a limit of their length.
#include "round/linesource.h"
#include "support/streamfiles.h"
#include <gtest/gtest.h>

namespace {

using namespace tramo;

class LineSourceTest : public streams::StreamTest {
protected:
    File open(const std::string& bytes) { return File(file("f", bytes).c_str(), File::Access::Read); }
};

const std::string longLine = 'x' + std::string(3 * LineSource::blockSize, 'y');

TEST_F(LineSourceTest, line_of_any_length_is_held_as_a_whole) {
    LineSource source(open("a\n" + longLine + "\nb"));
    ASSERT_TRUE(source.next() && source.next());
    EXPECT_EQ(source.bytes(), longLine);
    EXPECT_TRUE(source.next());
    EXPECT_EQ(source.bytes(), "b");
    EXPECT_FALSE(source.next());
}

TEST_F(LineSourceTest, of_a_line_beyond_the_limit_the_first_character_is_kept) {
    LineSource source(open("a\n" + longLine + "\nb\n" + longLine));
    source.limitTo(100);
    ASSERT_TRUE(source.next() && source.next());
    EXPECT_EQ(source.bytes(), "x");
    EXPECT_EQ(source.offset(), 2U);
    EXPECT_EQ(source.place(), 3 + longLine.size());
    EXPECT_TRUE(source.hasLineFeed());
    ASSERT_TRUE(source.next());
    EXPECT_EQ(source.bytes(), "b");
    EXPECT_EQ(source.offset(), 3 + longLine.size());
    ASSERT_TRUE(source.next());
    EXPECT_EQ(source.bytes(), "x");
    EXPECT_EQ(source.number(), 4);
    EXPECT_FALSE(source.hasLineFeed());
    EXPECT_FALSE(source.next());
    EXPECT_EQ(source.error(), 0);
}

TEST_F(LineSourceTest, limit_of_UTF_16_counts_bytes_and_keeps_whole_characters) {
    std::u16string text = u"\x3131";
    text.append(3 * LineSource::blockSize, u'\x0A0A');  // every byte is that of a line feed
    LineSource source(open(streams::utf16(text + u"\nb") + 'c'));
    ASSERT_TRUE(source.load(2));
    source.setUtf16(true);
    source.limitTo(1000);
    ASSERT_TRUE(source.next());
    EXPECT_EQ(source.bytes(), "11");
    EXPECT_EQ(source.offset(), 2U);
    ASSERT_TRUE(source.next());
    EXPECT_EQ(source.bytes(), std::string_view("b\0c", 3));
    EXPECT_EQ(source.offset(), 2 * (text.size() + 2));
    EXPECT_FALSE(source.next());
}

}  // namespace
