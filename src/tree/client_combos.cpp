#include "tree/client_combos.h"

#include <algorithm>
#include <limits>

#include "setup/cards.h"
#include "tree/board_tree.h"
#include "tree/isomorphism.h"
#include "tree/solver_context.h"

namespace {

const std::vector<uint16_t>& ComboToHand(const SolverContext& context, const DealIndexes& deal) {
  const BoardNode* list = DealListNode(context, deal);
  return list ? list->comboToHand : context.boardTree->comboToHand;
}

}  // namespace

size_t ListSize(const SolverContext& context, const DealIndexes& deal) {
  const BoardNode* list = DealListNode(context, deal);
  return list ? list->handCards.size() : context.boardTree->handCards.size();
}

std::vector<float> ListRowFromClient(const SolverContext& context, const DealIndexes& deal, const double* byCombo) {
  std::vector<double> canonical(byCombo, byCombo + HandCount);
  if (context.flags & IsomorphismOnFlag)
    PermuteRange(context.clientFlop, deal.turnMask, deal.riverMask, canonical.data(), byCombo);
  const std::vector<uint16_t>& comboToHand = ComboToHand(context, deal);
  const size_t hands = ListSize(context, deal);
  std::vector<float> row(hands, 0.0f);
  for (int c = 0; c < HandCount; ++c) {
    const size_t h = comboToHand[size_t(c)];
    if (h < hands) row[h] = float(canonical[size_t(c)]);
  }
  return row;
}

void ListRowToClient(const SolverContext& context, const DealIndexes& deal, const float* row, double* out) {
  const std::vector<uint16_t>& comboToHand = ComboToHand(context, deal);
  const size_t hands = ListSize(context, deal);
  std::vector<float> byCombo(HandCount);
  for (int c = 0; c < HandCount; ++c) {
    const size_t h = comboToHand[size_t(c)];
    byCombo[size_t(c)] = h < hands ? row[h] : std::numeric_limits<float>::quiet_NaN();
  }
  if (context.flags & IsomorphismOnFlag)
    UnpermuteValues(context.clientFlop, deal.turnMask, deal.riverMask, out, byCombo.data());
  else
    std::copy(byCombo.begin(), byCombo.end(), out);
}
