// Whether two files are an exported round and what came back of it.
#pragma once
#include <tramostream/round.h>

namespace tramo::page {

// The second file has the same rounds as the first, and more readings.
bool cameBack(const RoundFile& exported, const RoundFile& returned);

}  // namespace tramo::page
