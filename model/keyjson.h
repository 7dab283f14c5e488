// The ten values of a key line in its JSON object.
#pragma once
#include "tramostream/amrkeytramomodel.h"
#include "tramostream/keyline.h"

namespace tramo {

// Takes the values that the object has a fitting member for, and says which members it has not taken.
std::vector<KeyLineRemark> takeKeyValues(const AMRKeyTramoModel::Json& object, AMRKeyLine& line);

}  // namespace tramo
