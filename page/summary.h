// The first part of the page: the files, kinds of lines, rounds, rules, and numbers.
#pragma once
#include "page/jsontext.h"
#include "page/meters.h"
#include "page/pagedata.h"
#include <span>

namespace tramo::page {

// Writes the members about the files, except those about meters and lines.
void writeSource(JsonText& json, std::span<const PageFile> files, const MeterParts& meters, std::size_t findingsListed);
void writeKinds(JsonText& json, std::span<const PageFile> files);
void writeRounds(JsonText& json, std::span<const PageFile> files, const PageOptions& options);
void writeAlarmNames(JsonText& json);

}  // namespace tramo::page
