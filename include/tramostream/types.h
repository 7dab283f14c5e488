/// @file
/// Integer types.
#pragma once
#include <cstdint>
#include <type_traits>

/// The signed 32-bit integer that the format calls `long`, on every platform. Holds time values and years, in seconds since
/// 1970-01-01 00:00:00 UTC.
using long32 = std::conditional_t<sizeof(long) == sizeof(std::int32_t), long, std::int32_t>;
