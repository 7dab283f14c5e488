// The handle of a stream on Windows.
#pragma once
#include <cstdio>
#include <io.h>
#include <windows.h>

namespace tramo::cli {

/// INVALID_HANDLE_VALUE: the stream has none.
inline HANDLE handleOf(std::FILE* stream) { return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))); }

}  // namespace tramo::cli
