// What the frame needs of words and letters, apart from any record.
#pragma once
#include "model/layout.h"
#include <string>
#include <string_view>

namespace tramo {

// A name or label with the number of its repeated group in the place of '#'.
std::string numbered(std::string_view text, int slot);

void appendNumbered(std::string_view text, int slot, std::wstring& out);

// Says on the standard output that a line is of another kind than the model.
void refuse(std::string_view model, wchar_t found, wchar_t expected);

// The conditions of a row, in words; `rule` may be empty.
std::string wordsOfWriting(FieldKind kind, Test written, std::string_view rule);
std::string wordsOfMissing(FieldKind kind, Test missing, std::string_view rule);

}  // namespace tramo
