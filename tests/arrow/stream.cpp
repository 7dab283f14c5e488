// A file as an Arrow stream, for programs that load functions with C linkage.
#include <cerrno>
#include <tramostream/columns.h>

// Makes `out` a stream of the records with this letter. Returns 0, or the errno of the failure.
extern "C" [[gnu::visibility("default")]] int openStream(
    const char* path, char letter, std::size_t rowsPerBatch, ArrowArrayStream* out) {
    try {
        tramo::arrowStream(path, *tramo::recordKind(static_cast<wchar_t>(letter)), {}, out, {.rowsPerBatch = rowsPerBatch});
        return 0;
    } catch (const std::exception&) { return EINVAL; }
}
