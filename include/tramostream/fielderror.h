// What can be wrong with a field.
#pragma once
#include <cstdint>

/// What can be wrong with a field, as data: no operation of a model throws for bad content.
namespace TE {

/// What went wrong. 0x0NN while a line was parsed, 0x1NN while one was built, 0x2NN when a record was validated.
/// A few fields carry the code of another kind on purpose; tramo::Field tells which code each field reports.
enum errorType : std::int32_t {
    ParseInteger = 0x001,          ///< no whole number, or one out of range
    ParseBool = 0x003,             ///< no flag
    ParseDouble = 0x004,           ///< no decimal number
    ParseFluidType = 0x011,        ///< unknown TF::MeterFluid code
    ParseReadStatus = 0x012,       ///< unknown TF::ReadStatus code
    ParseReadMethod = 0x013,       ///< unknown TF::ReadMethod code
    ParseTramoType = 0x014,        ///< unknown TF::TramoType code
    ParseLineType = 0x015,         ///< column 1 holds no known letter; column 0
    ParseAmrAlarmFlags = 0x016,    ///< no twelve alarm flags
    ParseAmrAlarm = 0x017,         ///< unknown TF::AmrAlarms code
    ParseEnquiryAreaType = 0x018,  ///< unknown TF::EnquiryAreaType code
    ParseEnquiryAreaMode = 0x019,  ///< unknown TF::EnquiryAreaMode code
    ParseDateTime = 0x01A,         ///< no date and time (YYYYMMDDhhmm)
    ParseDate = 0x01B,             ///< no date (YYYYMMDD)

    BuildInteger = 0x101,          ///< a number could not be written
    BuildText = 0x102,             ///< a text is longer than its field
    BuildBool = 0x103,             ///< a flag could not be written
    BuildDouble = 0x104,           ///< a decimal number could not be written
    BuildFluidType = 0x111,        ///< a TF::MeterFluid that has no code
    BuildReadStatus = 0x112,       ///< a TF::ReadStatus that has no code
    BuildReadMethod = 0x113,       ///< a TF::ReadMethod that is not written (MethodT)
    BuildDate = 0x115,             ///< a date could not be written
    BuildTramoType = 0x117,        ///< a TF::TramoType that has no code
    BuildAmrAlarm = 0x119,         ///< a TF::AmrAlarms that has no code
    BuildAmrAlarmFlags = 0x11A,    ///< twelve alarm flags could not be written
    BuildEnquiryAreaType = 0x11B,  ///< a TF::EnquiryAreaType that has no code
    BuildEnquiryAreaMode = 0x11C,  ///< a TF::EnquiryAreaMode that has no code

    MandatoryMissing = 0x201,       ///< a mandatory field has no value
    MandatoryInconsistent = 0x202,  ///< fields that belong together contradict each other
    WrongLineType = 0x203,          ///< the line is of another kind than the model; column 0
};

/// One fault: the 1-based column that it is reported at (0: the whole line; of a key line, the value's index), and
/// its code.
///
/// @snippet docs/examples.cpp FieldError
struct FieldError {
    std::int32_t
        column;      ///< where the format reports it, which is not always where the field stands; see tramo::RecordKind::fieldOf
    errorType code;  ///< what it is
    /// Whether both tell the same.
    bool operator==(const FieldError&) const = default;
};

}  // namespace TE
