/// @file
/// How the library's names are seen from outside.
#pragma once

/// @def TRAMO_EXPORT
/// Marks what the library exports. Programs that link the static library define TRAMOSTREAM_STATIC.
#if defined(TRAMOSTREAM_STATIC)
#define TRAMO_EXPORT
#elif defined(_WIN32) && defined(TRAMOSTREAM_BUILDING)
#define TRAMO_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define TRAMO_EXPORT __declspec(dllimport)
#else
#define TRAMO_EXPORT __attribute__((visibility("default")))
#endif
