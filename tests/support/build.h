#pragma once
// How this build was made.

// 1 with the address sanitizer, otherwise 0.
#ifdef __has_feature
#define TESTS_SANITIZED __has_feature(address_sanitizer)
#elif defined(__SANITIZE_ADDRESS__)
#define TESTS_SANITIZED 1
#else
#define TESTS_SANITIZED 0
#endif

#ifdef __OPTIMIZE__
inline constexpr bool testsOptimised = true;
#else
inline constexpr bool testsOptimised = false;
#endif
