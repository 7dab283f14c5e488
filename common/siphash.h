// SipHash-2-4, a keyed hash: without the key, nobody can predict its values, or find texts of the same value.
#pragma once
#include <array>
#include <bit>
#include <cstdint>
#include <string_view>

namespace tramo {

/// Hashes characters as 16-bit units: the same for bytes and wide characters.
class SipHash {
public:
    using Key = std::array<std::uint64_t, 2>;

    explicit SipHash(const Key& chosen) : key(chosen) {}

    template <class Char> std::uint64_t operator()(std::basic_string_view<Char> text) const {
        State state(key);
        std::uint64_t word = 0;
        unsigned bits = 0;
        for (const Char c : text) {
            word |= std::uint64_t{unitOf(c)} << bits;
            bits += 16;
            if (bits < 64) continue;
            state.take(word);
            word = bits = 0;
        }
        return state.end(word | std::uint64_t{2 * text.size()} << 56);
    }

private:
    static constexpr std::uint16_t unitOf(char c) { return static_cast<unsigned char>(c); }
    static constexpr std::uint16_t unitOf(wchar_t c) { return static_cast<std::uint16_t>(c); }

    struct State {
        std::uint64_t a, b, c, d;

        explicit State(const Key& key)
            : a(key[0] ^ 0x736F6D6570736575), b(key[1] ^ 0x646F72616E646F6D), c(key[0] ^ 0x6C7967656E657261),
              d(key[1] ^ 0x7465646279746573) {}

        void mix() {
            a += b;
            b = std::rotl(b, 13) ^ a;
            a = std::rotl(a, 32);
            c += d;
            d = std::rotl(d, 16) ^ c;
            a += d;
            d = std::rotl(d, 21) ^ a;
            c += b;
            b = std::rotl(b, 17) ^ c;
            c = std::rotl(c, 32);
        }
        void take(std::uint64_t word) {
            d ^= word;
            for (int round = 0; round < 2; ++round) mix();
            a ^= word;
        }
        std::uint64_t end(std::uint64_t last) {
            take(last);
            c ^= 0xFF;
            for (int round = 0; round < 4; ++round) mix();
            return a ^ b ^ c ^ d;
        }
    };

    Key key;
};

}  // namespace tramo
