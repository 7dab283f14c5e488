/// @file
/// Numbers.
#pragma once
#include <cstdint>
#include <type_traits>

/// The 32-bit signed integer that the format calls `long`, on every platform. Time values (seconds since
/// 1970-01-01 00:00:00 UTC) and years are held in it.
using long32 = std::conditional_t<sizeof(long) == sizeof(std::int32_t), long, std::int32_t>;
