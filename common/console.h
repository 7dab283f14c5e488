// The library's messages on the process's standard output, unless tramo::setMessages() has silenced them.
#pragma once
#include <string_view>

namespace tramo::console {

// Prints the message, its line end included, through std::wcout and flushes. Where that stream cannot reach the terminal
// because the narrow one holds it, or cannot print a character, the message still comes out once, on std::cout, as UTF-8,
// and std::wcout stays usable. A stream that the caller has switched off, by taking its buffer away or by setting its
// failbit, takes the message silently.
//
// The first character decides for good whether a C stream is wide or narrow, and only the host may decide that: as long as
// its standard output is neither, the message goes to the descriptor, in the same bytes.
void wide(std::wstring_view message);

// The same the other way round.
void narrow(std::string_view message);

}  // namespace tramo::console
