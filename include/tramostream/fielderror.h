// Field errors.
#pragma once
#include <cstdint>

/// Field errors as data: models never throw for bad content.
namespace TE {

/// Error codes: 0x0NN from parsing a line, 0x1NN from building one, 0x2NN from validating a record. A few fields
/// deliberately report the code of another type of value; tramo::Field holds the codes of each field.
enum errorType : std::int32_t {
    ParseInteger = 0x001,          ///< invalid integer, or out of range
    ParseBool = 0x003,             ///< invalid flag
    ParseDouble = 0x004,           ///< invalid decimal number
    ParseFluidType = 0x011,        ///< unknown TF::MeterFluid code
    ParseReadStatus = 0x012,       ///< unknown TF::ReadStatus code
    ParseReadMethod = 0x013,       ///< unknown TF::ReadMethod code
    ParseTramoType = 0x014,        ///< unknown TF::TramoType code
    ParseLineType = 0x015,         ///< unknown letter in column 1; reported at column 0
    ParseAmrAlarmFlags = 0x016,    ///< invalid alarm flags
    ParseAmrAlarm = 0x017,         ///< unknown TF::AmrAlarms code
    ParseEnquiryAreaType = 0x018,  ///< unknown TF::EnquiryAreaType code
    ParseEnquiryAreaMode = 0x019,  ///< unknown TF::EnquiryAreaMode code
    ParseDateTime = 0x01A,         ///< invalid date and time (YYYYMMDDhhmm)
    ParseDate = 0x01B,             ///< invalid date (YYYYMMDD)

    BuildInteger = 0x101,          ///< an integer could not be written
    BuildText = 0x102,             ///< a text is longer than its field
    BuildBool = 0x103,             ///< a flag could not be written
    BuildDouble = 0x104,           ///< a decimal number could not be written
    BuildFluidType = 0x111,        ///< a TF::MeterFluid without a code
    BuildReadStatus = 0x112,       ///< a TF::ReadStatus without a code
    BuildReadMethod = 0x113,       ///< a TF::ReadMethod that cannot be written (MethodT)
    BuildDate = 0x115,             ///< a date could not be written
    BuildTramoType = 0x117,        ///< a TF::TramoType without a code
    BuildAmrAlarm = 0x119,         ///< a TF::AmrAlarms without a code
    BuildAmrAlarmFlags = 0x11A,    ///< twelve alarm flags could not be written
    BuildEnquiryAreaType = 0x11B,  ///< a TF::EnquiryAreaType without a code
    BuildEnquiryAreaMode = 0x11C,  ///< a TF::EnquiryAreaMode without a code

    MandatoryMissing = 0x201,       ///< a mandatory field has no value
    MandatoryInconsistent = 0x202,  ///< fields that belong together contradict each other
    WrongLineType = 0x203,          ///< the line is of another record kind; a parse error, reported at column 0
};

/// One error: its code and the 1-based column at which it is reported (0: the whole line; in a key line: the index of the
/// value).
///
/// @snippet docs/examples.cpp FieldError
struct FieldError {
    std::int32_t column;  ///< the reported column, not always a column of the field; see tramo::RecordKind::fieldOf
    errorType code;       ///< the error code
    /// Compares both members.
    bool operator==(const FieldError&) const = default;
};

}  // namespace TE
