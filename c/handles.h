// What the opaque handles are, and how no exception leaves the library.
#pragma once
#include "c/format.h"
#include "common/utf8.h"
#include "tramostream/reader.h"
#include <new>
#include <optional>
#include <string>

// A line of a reader, or one of its own.
struct tramo_line {
    const tramo::LineView* current = nullptr;
    std::optional<tramo::Line> own{};

    const tramo::LineView& view() const { return own ? *own : *current; }
};

namespace tramo::c {

// Calls a function and turns what it throws into a status; `error` gets the sentence.
template <class Call> tramo_status guarded(Call call, std::string* error = nullptr) noexcept {
    try {
        return call();
    } catch (const std::bad_alloc&) { return TRAMO_NO_MEMORY; } catch (const std::system_error& failure) {
        try {
            if (error) *error = failure.what();
        } catch (const std::bad_alloc&) { return TRAMO_NO_MEMORY; }
        const bool isText = failure.code() == std::errc::illegal_byte_sequence;
        return isText ? TRAMO_NOT_IN_ENCODING : TRAMO_FAILED;
    } catch (...) { return TRAMO_BAD_ARGUMENT; }
}

inline std::filesystem::path pathOf(const char* utf8) {
    const std::string_view text(utf8);
#ifdef _WIN32
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
#else
    return std::filesystem::path(text);
#endif
}

}  // namespace tramo::c
