// Texts for the frame that do not depend on a record.
#pragma once
#include "model/layout.h"
#include <string>
#include <string_view>

namespace tramo {

// Returns a name or label with '#' replaced by the number of its repeated group.
std::string numbered(std::string_view text, int slot);

void appendNumbered(std::string_view text, int slot, std::wstring& out);

// Prints on the standard output that the line is of another record kind than the model.
void refuse(std::string_view model, wchar_t found, wchar_t expected);

// Return the conditions of a row in words; `rule` may be empty.
std::string wordsOfWriting(FieldKind kind, Test written, std::string_view rule);
std::string wordsOfMissing(FieldKind kind, Test missing, std::string_view rule);

}  // namespace tramo
