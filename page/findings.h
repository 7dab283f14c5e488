// The findings of files as columns.
#pragma once
#include "page/jsontext.h"
#include "page/pagedata.h"
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace tramo::page {

// "error", "warning", "hint".
std::string_view nameOf(Severity severity);

// A finding about a file as a whole, as an object.
void writeDiagnosis(JsonText& json, const Finding& finding);

// The rules of all findings with the number of their findings, as the member "rules".
void writeRules(JsonText& json, std::span<const PageFile> files);

struct ListedFinding {
    std::size_t file;
    const Finding* finding;
};

// The findings that are listed, in their order: of those with the same rule and field only so many, so that none hides another.
std::vector<ListedFinding> listedFindings(std::span<const PageFile> files, const PageOptions& options);

// Writes the columns of the part `findings`.
void writeFindings(JsonText& json, std::span<const ListedFinding> findings, bool hasFiles);

}  // namespace tramo::page
