// Text on its way to people. Characters that could steer a terminal or turn text around (control characters, directional and
// invisible marks) are escaped.
#pragma once
#include <string>
#include <string_view>

namespace tramo {

// As UTF-8, with every character that is not plainly visible written as \x1b or \u202e.
std::string printable(std::wstring_view text);

// The same of bytes that should be UTF-8: paths and arguments. Other bytes are written as \xe9.
std::string printable(std::string_view bytes);

// The printable text in quotation marks.
std::string quoted(std::wstring_view text);

}  // namespace tramo
