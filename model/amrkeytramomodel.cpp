#include "tramostream/amrkeytramomodel.h"
#include "convert/codec.h"
#include "model/keyjson.h"

using namespace tramo;
using M = AMRKeyTramoModel;

M::AMRKeyTramoModel(AMRKeyLine& line) : key(line) {}
M::AMRKeyTramoModel(const Json& value) { takeKeyValues(value, key); }

std::wstring M::toString() const {
    std::wstring out = L"AMRKeyTramoModel";
    wchar_t separator = L'[';
    for (const KeyValue& value : keyValues) {
        out += separator;
        codec::append(value.label, out);
        if (value.text) out += key.*value.text;
        else codec::appendInteger(key.wmBusAddress[value.part], out);
        separator = L',';
    }
    return out += L']';
}

std::vector<TE::FieldError> M::getMandatoryErrors() const {
    std::vector<TE::FieldError> errors;
    for (std::int32_t index = 0; const KeyValue& value : keyValues) {
        if (value.isAbsent(key)) errors.push_back({index, TE::MandatoryMissing});
        ++index;
    }
    return errors;
}
