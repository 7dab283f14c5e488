// The coded values of the format.
#pragma once

/// The coded values of the format. The value of each enumerator is its code character in the file. `Unset` means "no
/// value": writing it writes nothing, and reading never returns it. The format defines no meaning beyond the names.
///
/// @snippet docs/examples.cpp TF
namespace TF {

/// Record kind: the letter in column 1.
enum class TramoLineType : wchar_t {
    Round = L'0',
    MeterSubscriber = L'1',
    Amr = L'2',
    MeterChange = L'3',
    ExtendedAmr = L'4',
    EnquiryDefinition = L'5',
    EnquiryResult = L'6',
    ExtendedData = L'7',
    RecordInformation = L'9',
    Unset = L'!',
};

/// Fluid of a meter. StrConv::toFluidType reads a space as W; `Blank` is written as a space and never read.
enum class MeterFluid : wchar_t {
    W = L'W',
    C = L'C',
    E = L'E',
    G = L'G',
    H = L'H',
    T = L'T',
    Blank = L' ',
    Unset = L'!',
};

/// Type of an information area, case-sensitive. TypeN is written as '1' and TypeA as '2'.
enum class TramoType : wchar_t {
    Type1 = L'1',
    Type2 = L'2',
    TypeA = L'A',
    TypeB = L'B',
    TypeD = L'D',
    TypeH = L'H',
    TypeN = L'N',
    TypeY = L'Y',
    TypeLowerD = L'd',
    TypeLowerN = L'n',
    Unset = L'!',
};

/// How a reading was taken. MethodT can be read but not written.
enum class ReadMethod : wchar_t {
    MethodM = L'M',
    MethodT = L'T',
    MethodA = L'A',
    Unset = L'!',
};

/// Status of a reading.
enum class ReadStatus : wchar_t {
    Status1 = L'1',
    Status2 = L'2',
    Status3 = L'3',
    Status4 = L'4',
    Unset = L'!',
};

/// One alarm of a radio module.
enum class AmrAlarms : wchar_t {
    Alarm0 = L'0',
    Alarm1 = L'1',
    Alarm2 = L'2',
    Alarm3 = L'3',
    Alarm4 = L'4',
    Alarm5 = L'5',
    Alarm6 = L'6',
    Alarm7 = L'7',
    Unset = L'!',
};

/// What an enquiry area asks for.
enum class EnquiryAreaType : wchar_t {
    AreaC = L'C',
    AreaN = L'N',
    AreaA = L'A',
    Unset = L'!',
};

/// How an enquiry area was answered.
enum class EnquiryAreaMode : wchar_t {
    ModeH = L'H',
    ModeN = L'N',
    ModeR = L'R',
    ModeU = L'U',
    Unset = L'!',
};

}  // namespace TF
