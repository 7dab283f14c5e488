// The code tables: one row a code.
#pragma once
#include "tramostream/codes.h"

namespace tramo::codec {

// A code character that is read, the value it stands for, and the character that this value is written as.
template <class E> struct CodeRow {
    wchar_t read;
    E value;
    wchar_t written;
};
inline constexpr wchar_t neverRead = 0, neverWritten = 0;

// One specialisation per enumeration: `rows`, and the labels of its failure messages, `parseLabel` and `buildLabel`.
template <class E> struct CodeTable;

}  // namespace tramo::codec
