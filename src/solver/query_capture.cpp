// The capture of a query pass at its target, and when a query above
// forgotten streets takes the values stored by the last evaluation.
#include <cmath>

#include "eval/runout_counts.h"
#include "setup/compatible_weight.h"
#include "solver/node_query.h"
#include "solver/traversal_steps.h"

void CaptureQuery(TraversalFrame& f) {
  NodeQuery& query = *f.pass->query;
  if (f.node != query.node || f.turn != query.turn || f.river != query.river) return;
  const SolverContext& context = *f.context;
  const int32_t hands = ListHandCount(context, f.turn, f.river);
  const uint16_t* cards = ListHandCards(context, f.turn, f.river);
  const double scale = RunoutCount(query.turn, query.river);

  // The opponent's weight that each hand can meet.
  const float* reachA = f.reachA.data;
  CompatibleWeight opponent;
  if (reachA)
    for (int32_t j = 0; j < hands; ++j) opponent.Add(cards[j], double(reachA[j]));
  // The difference of sums leaves rounding dust where nothing can be met.
  const double dust = opponent.total * 1e-12;

  ResizeVector(query.ev, hands, false);
  ResizeVector(query.matchups, hands, false);
  const float* value = f.valueA.data;
  const float* reachB = f.reachB.data;
  for (int32_t i = 0; i < hands; ++i) {
    double met = 0.0;
    if (reachA) met = opponent.Of(cards[i], double(reachA[i]));
    if (!(met > dust)) met = 0.0;
    query.ev.data[i] = met > 0.0 && value ? float(double(value[i]) / met) : 0.0f;
    query.matchups.data[i] = reachB ? float(scale * met * double(reachB[i])) : 0.0f;
  }
  query.captured = true;
}

bool QueryTakesStoredValues(const Pass& pass) {
  const NodeQuery* query = pass.query;
  return query && query->node && query->turn < 0 && query->node->street <= 2;
}
