#include "convert/complaint.h"
#include "common/console.h"
#include "tramostream/messages.h"
#include <string>

namespace tramo::codec {

bool complain(std::wstring_view label, std::wstring_view text, std::wstring_view ending) noexcept {
    if (getMessages() == Messages::Silent) return false;
    try {
        std::wstring message;
        message.reserve(label.size() + text.size() + ending.size());
        console::wide(message.append(label).append(text).append(ending));
    } catch (...) {
        // Out of memory: no message, same result.
    }
    return false;
}

}  // namespace tramo::codec
