// A caller's path in the form in which the system's and the standard library's functions take every path.
#pragma once
#ifdef _WIN32
#include <filesystem>
#endif

namespace tramo {

#ifdef _WIN32
// The path is UTF-8; one that is not is text of the process's code page.
std::filesystem::path nativePath(const char* path);
#else
inline const char* nativePath(const char* path) { return path; }
#endif

}  // namespace tramo
