#include "convert/codetables.h"
#include "convert/codec.h"
#include "convert/complaint.h"

namespace tramo::codec {

template <class E> bool toCode(wchar_t code, E& value, std::wstring_view shown) {
    const CodeRow<E>* row = rowReading<E>(code);
    if (!row) return complain(CodeTable<E>::parseLabel, shown, parseFailed);
    value = row->value;
    return true;
}

template <class E> bool fromCode(E value, wchar_t* dest) {
    if (value == E::Unset) return true;
    const CodeRow<E>* row = rowWriting(value);
    const auto code = static_cast<wchar_t>(value);
    if (!row) return complain(CodeTable<E>::buildLabel, {&code, 1}, parseFailed);
    *dest = row->written;
    return true;
}

template bool toCode(wchar_t, TF::TramoLineType&, std::wstring_view);
template bool toCode(wchar_t, TF::MeterFluid&, std::wstring_view);
template bool toCode(wchar_t, TF::TramoType&, std::wstring_view);
template bool toCode(wchar_t, TF::ReadMethod&, std::wstring_view);
template bool toCode(wchar_t, TF::ReadStatus&, std::wstring_view);
template bool toCode(wchar_t, TF::AmrAlarms&, std::wstring_view);
template bool toCode(wchar_t, TF::EnquiryAreaType&, std::wstring_view);
template bool toCode(wchar_t, TF::EnquiryAreaMode&, std::wstring_view);

template bool fromCode(TF::TramoLineType, wchar_t*);
template bool fromCode(TF::MeterFluid, wchar_t*);
template bool fromCode(TF::TramoType, wchar_t*);
template bool fromCode(TF::ReadMethod, wchar_t*);
template bool fromCode(TF::ReadStatus, wchar_t*);
template bool fromCode(TF::AmrAlarms, wchar_t*);
template bool fromCode(TF::EnquiryAreaType, wchar_t*);
template bool fromCode(TF::EnquiryAreaMode, wchar_t*);

}  // namespace tramo::codec
