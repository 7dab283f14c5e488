// Readers, writers, checkers and columns.
#include "c/handles.h"
#include "round/checkedlines.h"
#include "tramostream/check.h"
#include "tramostream/columns.h"
#include "tramostream/messages.h"
#include <cerrno>
#include <system_error>

using namespace tramo;
using c::guarded;

struct tramo_reader {
    std::optional<Reader> reader{};
    tramo_line line{};
    std::string error{};
};

struct tramo_writer {
    std::optional<Writer> writer{};
    std::string error{};
};

struct tramo_checker {
    bool strict = false;
    std::optional<Checker> checker{};
    CheckedLines lines{};
    std::vector<Finding> findings{};
    std::size_t given = 0;
    std::string kind{}, field{};  // of the finding that was given last, each with a zero at its end
};

namespace {

bool isEncoding(tramo_encoding encoding) { return encoding == TRAMO_AUTO || encoding == TRAMO_ANSI || encoding == TRAMO_UTF16; }

ReadOptions optionsOf(tramo_encoding encoding) {
    ReadOptions options;
    if (encoding != TRAMO_AUTO) options.encoding = encoding == TRAMO_UTF16 ? Encoding::Utf16 : Encoding::Ansi;
    return options;
}

// Opens what `open` makes. The handle exists even if that fails, to explain why.
template <class Handle> tramo_status opened(Handle** out, auto open) {
    return guarded([&] {
        auto handle = std::make_unique<Handle>();
        const tramo_status status = guarded(
            [&] {
                open(*handle);
                return TRAMO_OK;
            },
            &handle->error);
        if (status == TRAMO_OK || status == TRAMO_FAILED) *out = handle.release();
        return status;
    });
}

}  // namespace

const char* tramo_version(void) { return TRAMO_VERSION; }

void tramo_set_messages(int printed) { setMessages(printed ? Messages::StandardOutput : Messages::Silent); }

const char* tramo_status_text(tramo_status status) {
    switch (status) {
    case TRAMO_OK: return "done";
    case TRAMO_END: return "end reached";
    case TRAMO_ABSENT: return "the field is blank";
    case TRAMO_UNREADABLE: return "the text of the field cannot be parsed";
    case TRAMO_WRONG_TYPE: return "the field holds values of another type";
    case TRAMO_TOO_WIDE: return "the text of the value is wider than the field";
    case TRAMO_NOT_IN_FIELD: return "the field cannot hold the value";
    case TRAMO_NOT_WRITABLE: return "the format would not read the value back";
    case TRAMO_NOT_IN_ENCODING: return "the text has a character that the encoding cannot represent";
    case TRAMO_NO_FIELD: return "the line does not have the field";
    case TRAMO_BAD_ARGUMENT: return "invalid argument";
    case TRAMO_FAILED: return "the file cannot be read or written";
    case TRAMO_NO_MEMORY: return "out of memory";
    case TRAMO_STATUS_IS_INT: break;
    }
    return "unknown status";
}

tramo_status tramo_reader_open(const char* path, tramo_encoding encoding, tramo_reader** reader) {
    if (!path || !reader || !isEncoding(encoding)) return TRAMO_BAD_ARGUMENT;
    return opened(reader, [&](tramo_reader& made) { made.reader.emplace(c::pathOf(path), optionsOf(encoding)); });
}

tramo_status tramo_reader_open_memory(const void* bytes, size_t size, tramo_encoding encoding, tramo_reader** reader) {
    if ((!bytes && size > 0) || !reader || !isEncoding(encoding)) return TRAMO_BAD_ARGUMENT;
    const std::string_view text(static_cast<const char*>(bytes), size);
    return opened(reader, [&](tramo_reader& made) { made.reader.emplace(Reader::ofBytes(text, optionsOf(encoding))); });
}

tramo_status tramo_reader_next(tramo_reader* reader, const tramo_line** line) {
    if (!reader || !line) return TRAMO_BAD_ARGUMENT;
    reader->error.clear();
    return guarded(
        [&] {
            const LineView* next = reader->reader ? reader->reader->next() : nullptr;
            if (!next) return TRAMO_END;
            reader->line.current = next;
            *line = &reader->line;
            return TRAMO_OK;
        },
        &reader->error);
}

const char* tramo_reader_error(const tramo_reader* reader) { return reader ? reader->error.c_str() : ""; }
void tramo_reader_close(tramo_reader* reader) { delete reader; }

tramo_status tramo_writer_open(const char* path, tramo_encoding encoding, tramo_writer** writer) {
    if (!path || !writer || (encoding != TRAMO_ANSI && encoding != TRAMO_UTF16)) return TRAMO_BAD_ARGUMENT;
    return opened(writer, [&](tramo_writer& made) {
        made.writer.emplace(c::pathOf(path), encoding == TRAMO_UTF16 ? Encoding::Utf16 : Encoding::Ansi);
    });
}

tramo_status tramo_writer_put(tramo_writer* writer, const tramo_line* line) {
    if (!writer || !writer->writer || !line) return TRAMO_BAD_ARGUMENT;
    writer->error.clear();
    return guarded(
        [&] {
            writer->writer->put(line->view());
            return TRAMO_OK;
        },
        &writer->error);
}

tramo_status tramo_writer_commit(tramo_writer* writer) {
    if (!writer || !writer->writer) return TRAMO_BAD_ARGUMENT;
    writer->error.clear();
    return guarded(
        [&] {
            writer->writer->commit();
            return TRAMO_OK;
        },
        &writer->error);
}

const char* tramo_writer_error(const tramo_writer* writer) { return writer ? writer->error.c_str() : ""; }
void tramo_writer_close(tramo_writer* writer) { delete writer; }

tramo_status tramo_checker_new(int strict, tramo_checker** checker) {
    if (!checker) return TRAMO_BAD_ARGUMENT;
    return guarded([&] {
        *checker = new tramo_checker{.strict = strict != 0};
        return TRAMO_OK;
    });
}

tramo_status tramo_checker_line(tramo_checker* checker, const tramo_line* line) {
    if (!checker || !line) return TRAMO_BAD_ARGUMENT;
    return guarded([&] {
        const LineView& view = line->view();
        checker->findings.clear();
        checker->given = 0;
        if (!checker->checker)
            checker->checker.emplace(CheckOptions{.strict = checker->strict, .prevailing = view.prevailingKind()});
        SourceLine source;
        if (checker->lines.take(view, source)) checker->checker->line(source, checker->findings);
        return TRAMO_OK;
    });
}

tramo_status tramo_checker_end(tramo_checker* checker) {
    if (!checker) return TRAMO_BAD_ARGUMENT;
    return guarded([&] {
        checker->findings.clear();
        checker->given = 0;
        if (!checker->checker) checker->checker.emplace(CheckOptions{.strict = checker->strict});
        checker->checker->end(checker->lines.end(), checker->findings);
        return TRAMO_OK;
    });
}

tramo_status tramo_checker_next(tramo_checker* checker, tramo_finding* finding) {
    if (!checker || !finding) return TRAMO_BAD_ARGUMENT;
    return guarded([&] {
        if (checker->given == checker->findings.size()) return TRAMO_END;
        const Finding& next = checker->findings[checker->given];
        checker->kind = next.kind;
        checker->field = next.field;
        *finding = {next.rule->name.data(), next.rule->code, static_cast<int32_t>(next.severity), next.line, next.column,
            next.endColumn, checker->kind.c_str(), checker->field.c_str(), next.sentence.c_str(), next.reason.c_str(),
            next.hint.c_str()};
        ++checker->given;
        return TRAMO_OK;
    });
}

void tramo_checker_free(tramo_checker* checker) { delete checker; }

tramo_status tramo_columns(const char* path, const tramo_kind* kind, const tramo_field* const* fields, size_t fieldCount,
    struct ArrowArrayStream* stream) {
    if (!path || !kind || !stream || (!fields && fieldCount > 0)) return TRAMO_BAD_ARGUMENT;
    return guarded([&] {
        std::vector<const Field*> chosen;
        for (size_t i = 0; i < fieldCount; ++i) {
            if (!fields[i]) return TRAMO_BAD_ARGUMENT;
            chosen.push_back(&c::fieldOf(fields[i]));
        }
        try {
            arrowStream(path, c::kindOf(kind), chosen, stream);
        } catch (const std::system_error& failure) {
            errno = failure.code().value();
            return TRAMO_FAILED;
        }
        return TRAMO_OK;
    });
}
