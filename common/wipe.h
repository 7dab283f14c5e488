// Texts that may hold keys.
#pragma once
#include <string>

namespace tramo {

// Overwrites the text and empties it.
inline void wipe(std::wstring& secret) {
    for (volatile wchar_t& c : secret) c = 0;
    secret.clear();
}

}  // namespace tramo
