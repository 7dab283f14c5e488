// Reports of what came back of a round.
#pragma once
#include "cli/io/console.h"
#include <string>
#include <tramostream/reconcile.h>

namespace tramo::cli {

struct ReconcileChoice {
    std::string exported, returned;  ///< the paths
    bool all = false;                ///< lists all differences in the text, too
};

void printReconcileText(Output& out, const Reconciliation& reconciled, const ReconcileChoice& choice);
void printReconcileJson(Output& out, const Reconciliation& reconciled, const ReconcileChoice& choice);
void printReconcileCsv(Output& out, const Reconciliation& reconciled);

}  // namespace tramo::cli
