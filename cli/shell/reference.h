// The reference page of the whole format, in Markdown.
#pragma once
#include "cli/io/console.h"

namespace tramo::cli {

void printReference(Output& out);

}  // namespace tramo::cli
