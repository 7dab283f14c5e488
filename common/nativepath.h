// Converts a caller's path for the functions of the system and of the standard library.
#pragma once
#include <filesystem>
#include <string>

namespace tramo {

#ifdef _WIN32
// The path is UTF-8 or, if it is not valid UTF-8, text in the code page of the process.
std::filesystem::path nativePath(const char* path);
#else
inline const char* nativePath(const char* path) { return path; }
#endif

// The other direction: the path as the functions of common/ take it.
inline std::string narrowPath(const std::filesystem::path& path) {
#ifdef _WIN32
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
#else
    return path.native();
#endif
}

}  // namespace tramo
