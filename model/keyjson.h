// The ten values of a key line in its JSON object.
#pragma once
#include "tramostream/amrkeytramomodel.h"
#include "tramostream/keyline.h"

namespace tramo {

// Reads the values from the matching members of the object. Returns the members that it ignored.
std::vector<KeyLineRemark> takeKeyValues(const AMRKeyTramoModel::Json& object, AMRKeyLine& line);

}  // namespace tramo
