// The forms of tables: what "tramo export" writes and "tramo import" reads.
//
// A form is one entry of the list in forms.cpp, and a source for each direction: export_NAME.cpp makes its sink,
// import_NAME.cpp its source of rows. Help, completion, messages and the choice by a file's suffix follow from the list.
#pragma once
#include "cli/tables/roundtables.h"
#include "cli/tables/rowsource.h"
#include "cli/tables/sink.h"
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tramo::cli {

struct TableForm {
    /// Where an export of this form can go: to any file or stream, by default the standard output; the same, but only where
    /// the user names it; or to a regular file.
    enum class Output { Any, Named, RegularFile };

    std::string_view name;                   ///< the value of --to and --from: "csv"
    std::string_view title;                  ///< the name that people know it by: "CSV"
    std::vector<std::string_view> suffixes;  ///< of files that have this form: ".csv"
    std::string_view contents;               ///< what an export writes, for the help page
    std::string_view document;               ///< what a file of this form is called: "database"
    std::string_view findings{};             ///< what its place for findings is called: "table"; empty: it has none
    Output output = Output::Any;
    bool takesMark = false;                           ///< an export can begin with a byte order mark
    bool showsKind = false;                           ///< each row of a record shows the kind
    bool holdsAll = false;                            ///< an export holds all tables, of records and of rounds
    std::string_view metersBesideRecords = "meters";  ///< the identifier of the table of meters in such an export
    std::optional<RoundTable> holdsOnly{};            ///< an export holds this table only
    bool readsFolder = false;                         ///< an import also reads a folder of such files
    MakeSink* makeSink;                               ///< writes it
    MakeRowSource* makeSource = nullptr;              ///< reads it; nullptr: it cannot be imported
};

/// In the order in which help pages and messages name them.
const std::vector<TableForm>& tableForms();

/// The values of --to and of --from.
using FormChoices = std::vector<std::pair<std::string_view, const TableForm*>>;
FormChoices exportForms();
FormChoices importForms();
std::vector<std::string_view> namesOf(const FormChoices& choices);

/// The form with a suffix that the path ends with; nullptr: none.
const TableForm* formBySuffix(std::string_view path);

}  // namespace tramo::cli
