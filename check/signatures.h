// Recognizes files of other formats by their first bytes.
#pragma once
#include <string_view>

namespace tramo {

// "a ZIP archive", or empty. `bytes`: the beginning of the file.
std::string_view otherFormatOf(std::string_view bytes);

}  // namespace tramo
