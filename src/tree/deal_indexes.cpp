#include "tree/deal_indexes.h"

#include <bit>

#include "tree/solver_context.h"
#include "tree/isomorphism.h"

DealIndexes FindDeal(const SolverContext& context, int turnCard, int riverCard) {
  DealIndexes deal;
  deal.turnMask = turnCard >= 0 ? CardBit(turnCard) : 0;
  deal.riverMask = riverCard >= 0 ? CardBit(riverCard) : 0;
  CardMask flop = context.clientFlop;
  CardMask turn = deal.turnMask;
  CardMask river = deal.riverMask;
  if (context.flags & IsomorphismOnFlag) CanonicalizeBoard(flop, turn, river);
  const BoardTree& boards = *context.boardTree;
  if (turn) {
    deal.turn = boards.cardToTurn[size_t(std::countr_zero(turn))];
    if (deal.turn < 0) deal.unknownCard = true;
  }
  if (river && deal.turn >= 0) {
    deal.river = boards.turns[size_t(deal.turn)].cardToRiver[size_t(std::countr_zero(river))];
    if (deal.river < 0) deal.unknownCard = true;
  }
  return deal;
}

const BoardNode* DealListNode(const SolverContext& context, const DealIndexes& deal) {
  if (deal.turn < 0) return nullptr;
  const BoardNode& turnEntry = context.boardTree->turns[size_t(deal.turn)];
  return deal.river < 0 ? &turnEntry : &turnEntry.rivers[size_t(deal.river)];
}
