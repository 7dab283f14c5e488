#include "cli/lines/rereading.h"
#include <algorithm>

namespace tramo::cli {

std::string_view Rereading::at(std::uint64_t place, std::size_t size) {
    constexpr std::size_t least = 4096, most = 128 * 1024;
    if (place < from || place + size > from + held) {
        const bool follows = place >= from && place <= from + held;
        ahead = follows ? std::clamp(2 * ahead, least, most) : least;
        const std::size_t wanted = std::max(size, ahead);
        if (buffer.size() < wanted) buffer.resize(wanted);
        from = place;
        held = file->read(place, buffer.data(), wanted);
        if (held < size) file->hasChanged();
    }
    return {buffer.data() + (place - from), size};
}

}  // namespace tramo::cli
