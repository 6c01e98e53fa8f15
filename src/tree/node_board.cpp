#include "tree/node_board.h"

#include "tree/solver_context.h"

DealIndexes NodeDeal(const SolverContext& context, const TreeNode& node, int turnCard, int riverCard) {
  DealIndexes deal = FindDeal(context, node.street >= 2 ? turnCard : -1, node.street >= 3 ? riverCard : -1);
  if (context.rootTurn >= 0) deal.turn = context.rootTurn;
  if (context.rootRiver >= 0) deal.river = context.rootRiver;
  return deal;
}

bool NodeDealComplete(const TreeNode& node, const DealIndexes& deal) {
  return !deal.unknownCard && !(node.street >= 2 && deal.turn < 0) && !(node.street >= 3 && deal.river < 0);
}
