// The capture of a query pass at its target, and when a query above
// forgotten streets takes the values stored by the last evaluation.
#include <cmath>

#include "eval/rule_settings.h"
#include "solver/node_query.h"
#include "solver/traversal_steps.h"

void CaptureQuery(TraversalFrame& f) {
  NodeQuery& query = *f.pass->query;
  if (f.node != query.node || f.turn != query.turn || f.river != query.river) return;
  const SolverContext& context = *f.context;
  const int32_t hands = ListHandCount(context, f.turn, f.river);
  const uint16_t* cards = ListHandCards(context, f.turn, f.river);
  const double scale = query.river >= 0  ? 1.0
                       : query.turn >= 0 ? double(44 - 4 * lowCard)
                                         : double(45 - 4 * lowCard) * double(44 - 4 * lowCard);

  // The opponent's weight that hand i can meet: all of it, less the hands
  // holding either of i's cards, plus i's own combo, removed twice.
  const float* reachA = f.reachA.data;
  double total = 0.0;
  double cardSums[64] = {};
  if (reachA) {
    for (int32_t j = 0; j < hands; ++j) {
      const double r = reachA[j];
      total += r;
      cardSums[cards[j] & 0xFF] += r;
      cardSums[cards[j] >> 8] += r;
    }
  }
  // The difference of sums leaves rounding dust where nothing can be met.
  const double dust = total * 1e-12;

  ResizeVector(query.ev, hands, false);
  ResizeVector(query.matchups, hands, false);
  const float* value = f.valueA.data;
  const float* reachB = f.reachB.data;
  for (int32_t i = 0; i < hands; ++i) {
    double met = 0.0;
    if (reachA) met = total - cardSums[cards[i] & 0xFF] - cardSums[cards[i] >> 8] + double(reachA[i]);
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
