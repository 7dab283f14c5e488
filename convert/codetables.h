// The code tables: one row per code.
#pragma once
#include "tramostream/codes.h"
#include <string_view>

namespace tramo::codec {

// The code character that is read, its value, and the character that is written for this value.
template <class E> struct CodeRow {
    wchar_t read;
    E value;
    wchar_t written;
};
inline constexpr wchar_t neverRead = 0, neverWritten = 0;

// One specialization per enumeration: `rows`, and the labels of its failure messages, `parseLabel` and `buildLabel`.
template <class E> struct CodeTable;

// clang-format off

template <> struct CodeTable<TF::TramoLineType> {
    using E = TF::TramoLineType;
    static constexpr std::wstring_view parseLabel = L"toLineType (", buildLabel = L"fromLineType (";
    static constexpr CodeRow<E> rows[] = {
        {L'0', E::Round,             L'0'},
        {L'1', E::MeterSubscriber,   L'1'},
        {L'2', E::Amr,               L'2'},
        {L'3', E::MeterChange,       L'3'},
        {L'4', E::ExtendedAmr,       L'4'},
        {L'5', E::EnquiryDefinition, L'5'},
        {L'6', E::EnquiryResult,     L'6'},
        {L'7', E::ExtendedData,      L'7'},
        {L'9', E::RecordInformation, L'9'},
    };
};

template <> struct CodeTable<TF::MeterFluid> {
    using E = TF::MeterFluid;
    static constexpr std::wstring_view parseLabel = L"toFluidType (", buildLabel = parseLabel;
    static constexpr CodeRow<E> rows[] = {
        {L'W',      E::W,     L'W'},
        {L' ',      E::W,     L'W'},
        {L'C',      E::C,     L'C'},
        {L'E',      E::E,     L'E'},
        {L'G',      E::G,     L'G'},
        {L'H',      E::H,     L'H'},
        {L'T',      E::T,     L'T'},
        {neverRead, E::Blank, L' '},
    };
};

template <> struct CodeTable<TF::TramoType> {
    using E = TF::TramoType;
    static constexpr std::wstring_view parseLabel = L"toTramoType (", buildLabel = L"fromTramoType (";
    static constexpr CodeRow<E> rows[] = {
        {L'1', E::Type1,      L'1'},
        {L'2', E::Type2,      L'2'},
        {L'A', E::TypeA,      L'2'},
        {L'B', E::TypeB,      L'B'},
        {L'D', E::TypeD,      L'D'},
        {L'H', E::TypeH,      L'H'},
        {L'N', E::TypeN,      L'1'},
        {L'Y', E::TypeY,      L'Y'},
        {L'd', E::TypeLowerD, L'd'},
        {L'n', E::TypeLowerN, L'n'},
    };
};

template <> struct CodeTable<TF::ReadMethod> {
    using E = TF::ReadMethod;
    static constexpr std::wstring_view parseLabel = L"toReadMethod (", buildLabel = L"fromReadMethod (";
    static constexpr CodeRow<E> rows[] = {
        {L'M', E::MethodM, L'M'},
        {L'T', E::MethodT, neverWritten},
        {L'A', E::MethodA, L'A'},
    };
};

template <> struct CodeTable<TF::ReadStatus> {
    using E = TF::ReadStatus;
    static constexpr std::wstring_view parseLabel = L"toReadStatus (", buildLabel = L"fromReadStatus (";
    static constexpr CodeRow<E> rows[] = {
        {L'1', E::Status1, L'1'},
        {L'2', E::Status2, L'2'},
        {L'3', E::Status3, L'3'},
        {L'4', E::Status4, L'4'},
    };
};

template <> struct CodeTable<TF::AmrAlarms> {
    using E = TF::AmrAlarms;
    static constexpr std::wstring_view parseLabel = L"toAmrAlarms (", buildLabel = L"fromAmrAlarm (";
    static constexpr CodeRow<E> rows[] = {
        {L'0', E::Alarm0, L'0'},
        {L'1', E::Alarm1, L'1'},
        {L'2', E::Alarm2, L'2'},
        {L'3', E::Alarm3, L'3'},
        {L'4', E::Alarm4, L'4'},
        {L'5', E::Alarm5, L'5'},
        {L'6', E::Alarm6, L'6'},
        {L'7', E::Alarm7, L'7'},
    };
};

template <> struct CodeTable<TF::EnquiryAreaType> {
    using E = TF::EnquiryAreaType;
    static constexpr std::wstring_view parseLabel = L"toEnquryAreaType (", buildLabel = L"fromEnquryAreaType (";
    static constexpr CodeRow<E> rows[] = {
        {L'C', E::AreaC, L'C'},
        {L'N', E::AreaN, L'N'},
        {L'A', E::AreaA, L'A'},
    };
};

template <> struct CodeTable<TF::EnquiryAreaMode> {
    using E = TF::EnquiryAreaMode;
    static constexpr std::wstring_view parseLabel = L"toEnquiryAreaMode (", buildLabel = L"fromEnquiryAreaMode (";
    static constexpr CodeRow<E> rows[] = {
        {L'H', E::ModeH, L'H'},
        {L'N', E::ModeN, L'N'},
        {L'R', E::ModeR, L'R'},
        {L'U', E::ModeU, L'U'},
    };
};

// clang-format on

// Returns the row that reads a code, or null.
template <class E> constexpr const CodeRow<E>* rowReading(wchar_t code) {
    for (const auto& row : CodeTable<E>::rows)
        if (row.read == code && code != neverRead) return &row;
    return nullptr;
}

// Returns the row that writes a value, or null.
template <class E> constexpr const CodeRow<E>* rowWriting(E value) {
    for (const auto& row : CodeTable<E>::rows)
        if (row.value == value && row.written != neverWritten) return &row;
    return nullptr;
}

}  // namespace tramo::codec
