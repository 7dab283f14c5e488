// Marks what the library exports.
#pragma once

#if defined(TRAMOSTREAM_STATIC)
#define TRAMO_EXPORT
#elif defined(_WIN32) && defined(TRAMOSTREAM_BUILDING)
#define TRAMO_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define TRAMO_EXPORT __declspec(dllimport)
#else
#define TRAMO_EXPORT __attribute__((visibility("default")))
#endif
