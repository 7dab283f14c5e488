// The sums of all values that a reader has read: equal for readers that read the same, and they prevent the compiler from
// removing a read.
#pragma once
#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace bench {

struct Sums {
    std::uint64_t records = 0, faults = 0, texts = 0, characters = 0, numbers = 0;
    double decimals = 0;

    template <class Character> Sums& operator<<(std::basic_string_view<Character> text) {
        texts += text.size();
        std::uint32_t sum = 0;
        for (const Character c : text) sum += static_cast<std::make_unsigned_t<Character>>(c);
        characters += sum;
        return *this;
    }
    Sums& operator<<(const std::wstring& text) { return *this << std::wstring_view(text); }
    Sums& operator<<(double value) {
        decimals += value;
        return *this;
    }
    template <class T>
    requires std::is_integral_v<T> || std::is_enum_v<T> Sums& operator<<(T value) {
        numbers = std::rotl(numbers, 1) + static_cast<std::uint64_t>(value);  // the order matters, too
        return *this;
    }

    bool operator==(const Sums&) const = default;
};

}  // namespace bench
