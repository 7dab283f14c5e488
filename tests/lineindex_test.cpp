// The lines of a file that `tramo diff` compares, by the hash of their key, and that hash.
#include "cli/lines/lineindex.h"
#include "cli/lines/keyedhash.h"
#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>

using tramo::cli::KeyedHash, tramo::cli::LineIndex;

namespace {

constexpr auto none = LineIndex::none;

TEST(LineIndex, lines_of_a_hash_form_a_queue) {
    LineIndex index;
    EXPECT_EQ(index.first(7), none);
    for (const std::uint64_t key : {7U, 8U, 7U, 7U}) index.add(100 * index.size(), key, 1000 + index.size());
    EXPECT_EQ(index.size(), 4u);
    EXPECT_EQ(index.offset(2), 200u);
    EXPECT_EQ(index.check(2), 1002u);
    EXPECT_EQ(index.first(7), 0u);
    EXPECT_EQ(index.next(0), 2u);
    EXPECT_EQ(index.next(2), 3u);
    EXPECT_EQ(index.next(3), none);
    EXPECT_EQ(index.first(8), 1u);
    EXPECT_EQ(index.first(9), none);
}

// Against queues that are plain lists.
TEST(LineIndex, lines_leave_their_queue_at_any_place) {
    std::mt19937 random(1);
    for (int round = 0; round < 50; ++round) {
        LineIndex index;
        std::map<std::uint64_t, std::deque<LineIndex::Place>> queues;
        for (LineIndex::Place line = 0; line < 3000; ++line) {
            const std::uint64_t key = random() % (round % 2 != 0 ? 2000 : 20) * 1024;  // all of them in one slot of a small table
            index.add(line, key, 0);
            queues[key].push_back(line);
        }
        for (int i = 0; i < 2500; ++i) {
            auto queue = queues.begin();
            std::advance(queue, random() % queues.size());
            auto& [key, lines] = *queue;
            LineIndex::Place previous = none, line = index.first(key);
            for (const LineIndex::Place expected : lines) {
                ASSERT_EQ(line, expected);
                line = index.next(line);
            }
            ASSERT_EQ(line, none);
            if (lines.empty()) continue;
            const auto at = static_cast<std::ptrdiff_t>(random() % lines.size());
            if (at > 0) previous = lines[static_cast<std::size_t>(at) - 1];
            line = lines[static_cast<std::size_t>(at)];
            ASSERT_FALSE(index.isTaken(line));
            index.take(line, previous);
            ASSERT_TRUE(index.isTaken(line));
            lines.erase(lines.begin() + at);
        }
    }
}

// The published values of SipHash-2-4, for the bytes 0, 1, 2, ...
TEST(KeyedHash, has_the_values_of_its_definition) {
    const KeyedHash hash({0x0706050403020100, 0x0F0E0D0C0B0A0908});
    std::wstring text;
    EXPECT_EQ(hash(std::wstring_view(text)), 0x726FDB47DD0E0E31u);
    text = {0x0100};
    EXPECT_EQ(hash(std::wstring_view(text)), 0x0D6C8009D9A94F5Au);
    text = {0x0100, 0x0302, 0x0504, 0x0706};
    EXPECT_EQ(hash(std::wstring_view(text)), 0x93F5F5799A932462u);
}

TEST(KeyedHash, is_the_same_for_bytes_and_wide_characters) {
    const KeyedHash hash({1, 2});
    EXPECT_EQ(hash(std::string_view("10 A\xE9 7")), hash(std::wstring_view(L"10 A\xE9 7")));
    EXPECT_NE(hash(std::string_view("10 A\xE9 7")), hash(std::string_view("10 A\xE9 8")));
    EXPECT_NE(hash(std::string_view("1")), KeyedHash({1, 3})(std::string_view("1")));
}

}  // namespace
