// Exports and conversions: the same functions as those of the tool.
#include "cli/commands/export_files.h"
#include "cli/io/usage.h"
#include "cli/lines/encodedtext.h"
#include "cli/lines/filewalk.h"
#include "web/wasm/calls.h"

namespace tramo::web {

using namespace tramo::cli;

namespace {

const Table* tableOf(std::string_view name) {
    for (const Table& table : tables())
        if (table.name == name) return &table;
    return nullptr;
}

TableForm formOf(std::string_view name) {
    TableForm form{};
    form.name = name;
    form.showsKind = true;
    form.makeSink = name == "csv" ? makeCsvSink : makeJsonlSink;
    return form;
}

}  // namespace

// Of one file or several, in the form "csv" or "jsonl"; only the records of a kind, or all if the name is empty: csv has a file
// for each kind then.
TRAMO_CALLED(exportRecords)
int exportRecords(
    const char* files, std::size_t filesSize, const char* form, std::size_t formSize, const char* kind, std::size_t kindSize) {
    ExportOptions options;
    options.files = filesOf({files, filesSize});
    const TableForm chosen = formOf({form, formSize});
    options.form = &chosen;
    options.only = tableOf({kind, kindSize});
    options.onlyRecords = true;
    options.output = options.only || chosen.name == "jsonl" ? "out." + std::string(chosen.name) : "out";
    return exportFiles(options);
}

// Returns 1 if the encoding does not have all characters. Nothing was written then.
TRAMO_CALLED(convert) int convert(const char* file, std::size_t fileSize, int toUtf16) {
    Input input(std::string(file, fileSize), std::nullopt);
    EncodedText text("out", toUtf16 != 0, input.name(), false);
    const bool isWhole = forEachLine(
        input, [&](const PlainRecord& record) { text.add(record); },
        [&](const cli::Line& line, std::optional<LineKind> kind) { text.add(line, kind); });
    text.complain();
    if (!isWhole || !text.fits()) return somethingFound;
    text.commit();
    return nothingFound;
}

}  // namespace tramo::web
