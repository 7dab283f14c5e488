// Names that nothing knows, in messages.
#pragma once
#include <string>
#include <string_view>

namespace tramo {

// "unknown field" with the name, in quotation marks, if it looks like a name. Otherwise it may be a key, which is not shown;
// `instead` says where it is.
std::string named(std::string_view what, std::string_view name, std::string_view instead = {});

}  // namespace tramo
