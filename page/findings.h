// The findings of files as columns.
#pragma once
#include "page/jsontext.h"
#include "page/pagedata.h"
#include <cstdint>
#include <span>
#include <string_view>

namespace tramo::page {

// "error", "warning", "hint".
std::string_view nameOf(Severity severity);

// A finding about a file as a whole, as an object.
void writeDiagnosis(JsonText& json, const Finding& finding);

// The rules of all findings, as the member "rules".
void writeRules(JsonText& json, std::span<const PageFile> files);

// The columns of the part `findings`. Returns how many are listed; the others are those at the end.
std::size_t writeFindings(JsonText& json, std::span<const PageFile> files, std::size_t most);

}  // namespace tramo::page
