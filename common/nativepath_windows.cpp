#include "common/nativepath.h"
#include <windows.h>

namespace tramo {

namespace {

// Returns an empty text if the conversion fails.
std::wstring wide(const char* text, unsigned codePage, unsigned long flags) {
    const int size = MultiByteToWideChar(codePage, flags, text, -1, nullptr, 0);
    if (size < 1) return {};
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(codePage, flags, text, -1, result.data(), size);
    result.pop_back();  // the terminating zero
    return result;
}

}  // namespace

std::filesystem::path nativePath(const char* path) {
    std::wstring result = wide(path, CP_UTF8, MB_ERR_INVALID_CHARS);
    return result.empty() ? wide(path, CP_ACP, 0) : result;
}

}  // namespace tramo
