// Converts a caller's path for the functions of the system and of the standard library.
#pragma once
#ifdef _WIN32
#include <filesystem>
#endif

namespace tramo {

#ifdef _WIN32
// The path is UTF-8 or, if it is not valid UTF-8, text in the code page of the process.
std::filesystem::path nativePath(const char* path);
#else
inline const char* nativePath(const char* path) { return path; }
#endif

}  // namespace tramo
