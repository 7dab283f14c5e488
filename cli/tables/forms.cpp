#include "cli/tables/forms.h"
#include <algorithm>

namespace tramo::cli {

const std::vector<TableForm>& tableForms() {
    using enum TableForm::Output;
    static const std::vector<TableForm> forms{
        {.name = "jsonl",
            .title = "JSON Lines",
            .suffixes = {".jsonl"},
            .contents = "a JSON object a line",
            .document = "file",
            .showsKind = true,
            .makeSink = makeJsonlSink,
            .makeSource = makeJsonlSource},
        {.name = "csv",
            .title = "CSV",
            .suffixes = {".csv"},
            .contents = "UTF-8, with a line of names",
            .document = "file",
            .takesMark = true,
            .showsKind = true,
            .readsFolder = true,
            .makeSink = makeCsvSink,
            .makeSource = makeCsvSource},
        {.name = "sqlite",
            .title = "SQLite",
            .suffixes = {".db", ".sqlite"},
            .contents = R"(a table for each kind, "finding" and "files", and those of --table)",
            .document = "database",
            .findings = "table",
            .output = RegularFile,
            .holdsAll = true,
            .metersBesideRecords = summaryOfMeters,
            .makeSink = makeSqliteSink,
            .makeSource = makeSqliteSource},
        {.name = "xlsx",
            .title = "Excel",
            .suffixes = {".xlsx"},
            .contents = R"(a workbook, a sheet for each kind, "finding" and "files", and those of --table)",
            .document = "workbook",
            .findings = "sheet",
            .output = Named,
            .holdsAll = true,
            .makeSink = makeXlsxSink},
        {.name = "geojson",
            .title = "GeoJSON",
            .suffixes = {".geojson"},
            .contents = "a point for each located meter",
            .document = "file",
            .holdsOnly = RoundTable::Locations,
            .makeSink = makeGeoJsonSink},
    };
    return forms;
}

FormChoices exportForms() {
    FormChoices choices;
    for (const TableForm& form : tableForms()) choices.emplace_back(form.name, &form);
    return choices;
}

FormChoices importForms() {
    FormChoices choices = exportForms();
    std::erase_if(choices, [](const auto& choice) { return choice.second->makeSource == nullptr; });
    return choices;
}

std::vector<std::string_view> namesOf(const FormChoices& choices) {
    std::vector<std::string_view> names;
    for (const auto& [name, form] : choices) names.push_back(name);
    return names;
}

const TableForm* formBySuffix(std::string_view path) {
    for (const TableForm& form : tableForms())
        if (std::ranges::any_of(form.suffixes, [&](std::string_view suffix) { return path.ends_with(suffix); })) return &form;
    return nullptr;
}

}  // namespace tramo::cli
