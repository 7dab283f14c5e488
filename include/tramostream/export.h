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
#elif defined(__GNUC__)
#define TRAMO_EXPORT __attribute__((visibility("default")))
#else
#define TRAMO_EXPORT
#endif

/// @def TRAMO_HIDDEN
/// Marks what a class of the library keeps to itself.
#if defined(__GNUC__) && !defined(_WIN32) && !defined(TRAMOSTREAM_STATIC)
#define TRAMO_HIDDEN __attribute__((visibility("hidden")))
#else
#define TRAMO_HIDDEN
#endif

// Visual C++ warns of each member of the C++ library's types in a class that a DLL exports: the library and its callers must
// be built with the same C++ library.
#ifdef _MSC_VER
#pragma warning(disable : 4251 4275)
#endif
