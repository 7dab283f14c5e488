// SHA-256 (FIPS 180-4) and HMAC-SHA-256 (RFC 2104), for short texts such as keys.
#pragma once
#include <array>
#include <cstdint>
#include <string_view>

namespace tramo {

using Digest = std::array<std::uint8_t, 32>;

Digest sha256(std::string_view bytes);
Digest hmacSha256(std::string_view key, std::string_view message);

}  // namespace tramo
