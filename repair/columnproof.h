// Whether the fields of a record line are in their columns: compares the line with the same line moved by a few characters.
#pragma once
#include "tramostream/fields.h"
#include "tramostream/tramoline.h"
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>

namespace tramo {

// The characters of a record line.
inline constexpr std::size_t recordLength = std::tuple_size_v<TramoLine::tramoLine_t> - 2;

// A line that lost or gained more characters than these is not recognized.
inline constexpr int mostCharactersMoved = 3;

// Returns whether a line without errors proves that it lost and gained no characters: each way to move a part of it by up to
// three characters makes its dates, codes and numbers worse. `text` may lack its trailing spaces. Only the columns from the index
// `first` up to `end` can have moved. Says nothing about the texts after the last of these fields.
bool areColumnsProven(
    const RecordKind& kind, std::wstring_view text, std::size_t first = 1, std::size_t end = std::wstring_view::npos);

// Returns the number of fields that cannot be read. `text` may lack its trailing spaces.
int unreadableFields(const RecordKind& kind, std::wstring_view text);

// Returns whether a line without its trailing spaces can lack its right part: a mandatory field after its end is blank then.
bool lacksRightPart(const RecordKind& kind, std::wstring_view text);

// Returns whether a column that belongs to no field is filled.
bool hasTextOutsideFields(const RecordKind& kind, std::wstring_view text);

// Returns a hash of the kind, the length of the text, and which fields are filled.
std::uint64_t shapeHash(const RecordKind& kind, std::wstring_view text);

// Returns whether the text ends where the last field of its kind ends, and that field is neither a text nor a code.
bool endsInLastField(const RecordKind& kind, std::wstring_view text);

}  // namespace tramo
