#include "common/secret.h"
#include <algorithm>
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <malloc.h>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

using namespace tramo;

namespace {

// Counts the blocks of freed memory that hold three characters of the secret; one could be a part of an address.
bool watches = false;
int sightings = 0;
constexpr unsigned char secretCharacter = 0xA7;

template <class Char> constexpr std::array<Char, 3> threeOf{secretCharacter, secretCharacter, secretCharacter};

template <class Char> bool holds(std::string_view bytes) {
    const auto& some = threeOf<Char>;
    return bytes.find(std::string_view(reinterpret_cast<const char*>(some.data()), sizeof some)) != std::string_view::npos;
}

bool holdsSecret(const void* memory, std::size_t size) {
    const std::string_view bytes(static_cast<const char*>(memory), size);
    return holds<wchar_t>(bytes) || holds<unsigned char>(bytes);
}

void giveBack(void* memory) {
    if (watches && memory && holdsSecret(memory, malloc_usable_size(memory))) ++sightings;
    std::free(memory);
}

}  // namespace

// calloc: what a block held before cannot be taken for what it holds now.
void* operator new(std::size_t size) {
    if (void* memory = std::calloc(size ? size : 1, 1)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { giveBack(memory); }
void operator delete(void* memory, std::size_t) noexcept { giveBack(memory); }

namespace {

int sightingsIn(auto work) {
    sightings = 0;
    watches = true;
    work();
    watches = false;
    return sightings;
}

template <class Text> class Secret : public testing::Test {
protected:
    using Char = typename Text::value_type;
    static constexpr Char secret = static_cast<Char>(secretCharacter);
    static constexpr std::size_t shortSize = 3, longSize = 500;

    // An object in memory of the test's own, which can still be looked at when the object is gone.
    struct Place {
        alignas(Text) std::array<unsigned char, sizeof(Text)> bytes{};
        Text* make(std::size_t size) { return new (bytes.data()) Text(size, secret); }
        bool holds() const { return holdsSecret(bytes.data(), bytes.size()); }
    };
};

using Texts = testing::Types<SecretText, SecretBytes>;
TYPED_TEST_SUITE(Secret, Texts);

}  // namespace

TEST(SecretMemory, IsWatchedInThisTest) {
    EXPECT_EQ(sightingsIn([] { const std::string text(500, static_cast<char>(secretCharacter)); }), 1);
    EXPECT_EQ(sightingsIn([] { const std::wstring text(500, wchar_t{secretCharacter}); }), 1);
    EXPECT_EQ(sightingsIn([] { const std::string text(500, 'x'); }), 0);
}

TYPED_TEST(Secret, IsGoneWhenDestroyed) {
    EXPECT_EQ(sightingsIn([&] { const TypeParam text(this->longSize, this->secret); }), 0);
    for (const std::size_t size : {this->shortSize, this->longSize}) {
        typename TestFixture::Place place;
        TypeParam* text = place.make(size);
        EXPECT_EQ(place.holds(), size == this->shortSize);
        std::destroy_at(text);
        EXPECT_FALSE(place.holds());
    }
}

TYPED_TEST(Secret, IsGoneWhenAnExceptionPasses) {
    const auto fails = [&] {
        const TypeParam text(this->longSize, this->secret);
        throw std::runtime_error("");
    };
    EXPECT_EQ(sightingsIn([&] {
        try {
            fails();
        } catch (const std::runtime_error&) {}
    }),
        0);
}

TYPED_TEST(Secret, LeavesNoCopyWhenItGrowsOrShrinks) {
    EXPECT_EQ(sightingsIn([&] {
        TypeParam text;
        for (std::size_t i = 0; i < this->longSize; ++i) text += this->secret;
        text.reserve(text.capacity() + 1);
        text.resize(20);
        text.shrink_to_fit();
        text.clear();
    }),
        0);
}

TYPED_TEST(Secret, LeavesNothingBehindWhenMoved) {
    for (const std::size_t size : {this->shortSize, this->longSize}) {
        typename TestFixture::Place place;
        TypeParam* text = place.make(size);
        EXPECT_EQ(sightingsIn([&] {
            TypeParam moved(std::move(*text));
            EXPECT_EQ(moved.size(), size);
            EXPECT_TRUE(text->empty());
            EXPECT_FALSE(place.holds());
            *text = std::move(moved);
            EXPECT_EQ(text->size(), size);
            *text = TypeParam(1, typename TypeParam::value_type());
        }),
            0);
        std::destroy_at(text);
        EXPECT_FALSE(place.holds());
    }
}

TYPED_TEST(Secret, CopiesAreIndependent) {
    EXPECT_EQ(sightingsIn([&] {
        const TypeParam text(this->longSize, this->secret);
        TypeParam copy(text);
        EXPECT_EQ(copy, text);
        copy = TypeParam();
        EXPECT_EQ(text.size(), this->longSize);
    }),
        0);
}

// What a long text has left behind a short one is overwritten, too.
TYPED_TEST(Secret, WipeOverwritesAllMemoryOfAnyText) {
    std::basic_string<typename TypeParam::value_type> text(this->longSize, this->secret);
    text.resize(2);
    wipe(text);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(sightingsIn([&] { text.shrink_to_fit(); }), 0);
}
