// What a round has brought back, as `tramo reconcile` says it.
#pragma once
#include <string>
#include <tramostream/reconcile.h>

namespace tramo::page {

// The part `reconcile`.
std::string reconciledJson(const Reconciliation& reconciled);

}  // namespace tramo::page
