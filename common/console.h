// The library's messages on the process's standard output.
#pragma once
#include <string_view>

namespace tramo::console {

// Goes through std::wcout. Where that stream cannot reach the terminal because the narrow one holds it, or cannot
// print a character, the message still comes out, on std::cout.
void wide(std::wstring_view message);

// The same the other way round.
void narrow(std::string_view message);

}  // namespace tramo::console
