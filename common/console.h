// The library's messages on the process's standard output, unless tramo::setMessages() has silenced them.
#pragma once
#include <string_view>

namespace tramo::console {

// Prints the message, including its line ending, through std::wcout and flushes. If that stream cannot print because the
// narrow one has the standard output, or cannot print a character, the message is printed once on std::cout, as UTF-8, and
// std::wcout stays usable. A stream that the caller has switched off, by removing its buffer or by setting its failbit,
// ignores the message.
//
// The first character decides permanently whether a C stream is wide or narrow, and only the host may decide that: as long as
// its standard output is neither, the message goes to the descriptor, in the same bytes.
void wide(std::wstring_view message);

// The same with narrow and wide exchanged.
void narrow(std::string_view message);

}  // namespace tramo::console
