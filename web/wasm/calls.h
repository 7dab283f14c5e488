// What the page calls.
#pragma once
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#define TRAMO_CALLED(name) extern "C" __attribute__((export_name(#name)))

namespace tramo::web {

// The names of files, which the page joins with a zero byte.
inline std::vector<std::string> filesOf(std::string_view names) {
    std::vector<std::string> files;
    for (std::size_t from = 0, end = 0; end < names.size(); from = end + 1) {
        end = std::min(names.find('\0', from), names.size());
        files.emplace_back(names.substr(from, end - from));
    }
    return files;
}

}  // namespace tramo::web
