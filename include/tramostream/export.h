/// @file
/// Symbol visibility.
#pragma once

/// @def TRAMO_EXPORT
/// Marks exported classes and functions. Programs that link the static library define TRAMOSTREAM_STATIC.
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

/// @def TRAMO_EXPORT_TEMPLATE
/// Marks exported function templates: without it, clang hides those instances that the library also makes implicitly.
#ifdef _WIN32
#define TRAMO_EXPORT_TEMPLATE
#else
#define TRAMO_EXPORT_TEMPLATE TRAMO_EXPORT
#endif

/// @def TRAMO_HIDDEN
/// Marks members of an exported class that are not exported.
#if defined(__GNUC__) && !defined(_WIN32) && !defined(TRAMOSTREAM_STATIC)
#define TRAMO_HIDDEN __attribute__((visibility("hidden")))
#else
#define TRAMO_HIDDEN
#endif

// Visual C++ warns about each member of a C++ library type in a class that a DLL exports, because the library and its callers
// must be built with the same C++ library.
#ifdef _MSC_VER
#pragma warning(disable : 4251 4275)
#endif
