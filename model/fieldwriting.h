// Writes one value into the columns of its field, as the format writes it: for programs that change a field and keep the rest of
// the line.
#pragma once
#include "tramostream/fields.h"
#include <string>

namespace tramo {

struct WrittenField {
    enum Result : char {
        Good,
        NotHeld,     // the field cannot hold the value
        NotWritten,  // a model can hold the value, but the format never writes it
        TooWide,
    };
    Result result;
    std::wstring columns{};  // all columns of the field; they can be truncated: read them back
};

// Writes the value as a model of this kind does that has no other value; conditions on other fields do not count. `field` must
// be in a line of the kind, and the value of the field's type.
WrittenField writeField(const RecordKind& kind, const Field& field, const FieldValue& value);

}  // namespace tramo
