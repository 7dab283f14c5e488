// Lines and their values.
#include "c/handles.h"
#include <algorithm>
#include <cstring>

using namespace tramo;
using c::guarded;

namespace {

// Copies as much as fits, not cutting a character in two, and a zero.
void copyOut(const std::string& text, char* buffer, size_t size, size_t* needed) {
    if (needed) *needed = text.size();
    if (size == 0) return;
    size_t count = std::min(text.size(), size - 1);
    if (count < text.size())
        while (count > 0 && utf8::isContinuation(text[count])) --count;
    std::memcpy(buffer, text.data(), count);
    buffer[count] = '\0';
}

// The status of a field that has no value of the type that was asked for.
tramo_status whyAbsent(FieldView field, bool hasType) {
    if (!hasType) return TRAMO_WRONG_TYPE;
    return field.valid() ? TRAMO_ABSENT : TRAMO_UNREADABLE;
}

template <class T> tramo_status give(const std::optional<T>& value, FieldView field, bool hasType, auto* out) {
    if (!value) return whyAbsent(field, hasType);
    *out = static_cast<std::remove_pointer_t<decltype(out)>>(*value);
    return TRAMO_OK;
}

tramo_status statusOf(const SetResult& result) {
    switch (result.code) {
    case SetResult::Done: return TRAMO_OK;
    case SetResult::WrongType: return TRAMO_WRONG_TYPE;
    case SetResult::TooWide: return TRAMO_TOO_WIDE;
    case SetResult::NotInField: return TRAMO_NOT_IN_FIELD;
    case SetResult::NotWritable: return TRAMO_NOT_WRITABLE;
    case SetResult::NotInEncoding: return TRAMO_NOT_IN_ENCODING;
    case SetResult::NoField: return TRAMO_NO_FIELD;
    }
    return TRAMO_BAD_ARGUMENT;
}

tramo_status set(tramo_line* line, const tramo_field* field, const NewValue& value) {
    return statusOf(line->own->set(c::fieldOf(field), value));
}

// The status of a value that is refused before it reaches the line.
tramo_status refused(const tramo_line* line, const tramo_field* field, tramo_status why) {
    return line->view()[c::fieldOf(field)].rawBytes().empty() ? TRAMO_NO_FIELD : why;
}

bool canSet(const tramo_line* line, const tramo_field* field) { return line && field && line->own; }

}  // namespace

tramo_status tramo_line_get_info(const tramo_line* line, tramo_line_info* info) {
    return guarded([&] {
        if (!line || !info) return TRAMO_BAD_ARGUMENT;
        const LineView& view = line->view();
        *info = {view.number(), view.offset(), c::shown(view.kind()), static_cast<tramo_line_fault>(view.fault()),
            view.encoding() == Encoding::Utf16 ? TRAMO_UTF16 : TRAMO_ANSI, view.bytes().data(), view.bytes().size()};
        return TRAMO_OK;
    });
}

tramo_status tramo_line_new(const tramo_kind* kind, tramo_encoding encoding, tramo_line** line) {
    return guarded([&] {
        if (!kind || !line || (encoding != TRAMO_ANSI && encoding != TRAMO_UTF16)) return TRAMO_BAD_ARGUMENT;
        *line = new tramo_line{nullptr, Line(c::kindOf(kind), encoding == TRAMO_UTF16 ? Encoding::Utf16 : Encoding::Ansi)};
        return TRAMO_OK;
    });
}

tramo_status tramo_line_copy(const tramo_line* original, tramo_line** line) {
    return guarded([&] {
        if (!original || !line) return TRAMO_BAD_ARGUMENT;
        *line = new tramo_line{nullptr, Line(original->view())};
        return TRAMO_OK;
    });
}

void tramo_line_free(tramo_line* line) {
    if (line && line->own) delete line;
}

tramo_status tramo_get_text(const tramo_line* line, const tramo_field* field, char* buffer, size_t size, size_t* needed) {
    return guarded([&] {
        if (!line || !field || (!buffer && size > 0)) return TRAMO_BAD_ARGUMENT;
        const FieldView view = line->view()[c::fieldOf(field)];
        const auto text = view.text();
        if (!text) return whyAbsent(view, true);
        copyOut(*text, buffer, size, needed);
        return TRAMO_OK;
    });
}

tramo_status tramo_get_raw(const tramo_line* line, const tramo_field* field, char* buffer, size_t size, size_t* needed) {
    return guarded([&] {
        if (!line || !field || (!buffer && size > 0)) return TRAMO_BAD_ARGUMENT;
        const FieldView view = line->view()[c::fieldOf(field)];
        if (view.rawBytes().empty()) return TRAMO_ABSENT;
        copyOut(view.raw(), buffer, size, needed);
        return TRAMO_OK;
    });
}

tramo_status tramo_get_int64(const tramo_line* line, const tramo_field* field, int64_t* value) {
    return guarded([&] {
        if (!line || !field || !value) return TRAMO_BAD_ARGUMENT;
        const FieldView view = line->view()[c::fieldOf(field)];
        switch (field->type) {
        case TRAMO_INTEGER: return give(view.integer(), view, true, value);
        case TRAMO_FLAG: return give(view.flag(), view, true, value);
        case TRAMO_ALARMS: return give(view.alarms(), view, true, value);
        case TRAMO_YEAR:
            if (const auto year = view.year()) return give(std::optional(static_cast<int>(*year)), view, true, value);
            return whyAbsent(view, true);
        default: return whyAbsent(view, false);
        }
    });
}

tramo_status tramo_get_double(const tramo_line* line, const tramo_field* field, double* value) {
    return guarded([&] {
        if (!line || !field || !value) return TRAMO_BAD_ARGUMENT;
        const FieldView view = line->view()[c::fieldOf(field)];
        return give(view.real(), view, field->type == TRAMO_DECIMAL || field->type == TRAMO_INTEGER, value);
    });
}

tramo_status tramo_get_seconds(const tramo_line* line, const tramo_field* field, int64_t* since1970) {
    return guarded([&] {
        if (!line || !field || !since1970) return TRAMO_BAD_ARGUMENT;
        const FieldView view = line->view()[c::fieldOf(field)];
        const auto time = view.time();
        if (!time) return whyAbsent(view, field->type == TRAMO_DATE || field->type == TRAMO_DATETIME);
        *since1970 = time->time_since_epoch().count();
        return TRAMO_OK;
    });
}

tramo_status tramo_set_text(tramo_line* line, const tramo_field* field, const char* text) {
    return guarded([&] {
        if (!canSet(line, field)) return TRAMO_BAD_ARGUMENT;
        if (!text) return set(line, field, std::nullopt);
        if (field->type != TRAMO_CODE) return set(line, field, text);
        const auto code = utf8::decodeValid(text);
        if (!code) return refused(line, field, TRAMO_NOT_IN_ENCODING);
        if (code->size() != 1) return refused(line, field, code->empty() ? TRAMO_NOT_IN_FIELD : TRAMO_TOO_WIDE);
        return set(line, field, static_cast<char32_t>(code->front()));
    });
}

tramo_status tramo_set_int64(tramo_line* line, const tramo_field* field, int64_t value) {
    return guarded([&] {
        if (!canSet(line, field)) return TRAMO_BAD_ARGUMENT;
        switch (field->type) {
        case TRAMO_FLAG:
            return value == 0 || value == 1 ? set(line, field, value == 1) : refused(line, field, TRAMO_NOT_IN_FIELD);
        case TRAMO_YEAR:
            if (!std::in_range<short>(value)) return refused(line, field, TRAMO_NOT_IN_FIELD);
            return set(line, field, std::chrono::year(static_cast<int>(value)));
        default: return set(line, field, value);
        }
    });
}

tramo_status tramo_set_double(tramo_line* line, const tramo_field* field, double value) {
    return guarded([&] { return canSet(line, field) ? set(line, field, value) : TRAMO_BAD_ARGUMENT; });
}

tramo_status tramo_set_seconds(tramo_line* line, const tramo_field* field, int64_t since1970) {
    return guarded([&] {
        if (!canSet(line, field)) return TRAMO_BAD_ARGUMENT;
        return set(line, field, std::chrono::sys_seconds(std::chrono::seconds(since1970)));
    });
}
