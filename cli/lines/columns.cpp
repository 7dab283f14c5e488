#include "cli/lines/columns.h"
#include <algorithm>

namespace tramo::cli {

std::wstring_view trimmed(std::wstring_view text) { return text.substr(0, text.find_last_not_of(L' ') + 1); }

bool isFilled(wchar_t c) { return c != L' ' && c != 0 && (c < L'\t' || c > L'\r'); }

}  // namespace tramo::cli
