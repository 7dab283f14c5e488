// The views of a database: whole meters, and the answered pages of enquiries.
#pragma once
#include "cli/tables/rows.h"
#include <string>
#include <string_view>

namespace tramo::cli {

/// A name as SQL has it, in quotation marks.
std::string quotedName(std::string_view name);

/// The field with the serial number of the record's meter: of two meters, of the one that the round knows. nullptr: none.
const Column* meterOf(const Table& table);

struct ViewOptions {
    bool ofFiles = false;            ///< the tables have a column "file", and a line is found by its file and its number
    const Table* summary = nullptr;  ///< its other columns are those of the view of meters, too; nullptr: there is none
};

/// The statements that create the views "meters" and "answered_pages" of the tables of records.
std::string definitionsOfViews(const ViewOptions& options);

}  // namespace tramo::cli
