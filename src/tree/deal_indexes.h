// DealIndexes: where a query's dealt cards sit in a tree's BoardTree.
//
// Queries name cards in the client's suits; the BoardTree of a tree built
// with suit isomorphism holds canonical cards only. The canonical masks
// are kept beside the indexes because the way back to the client's suits
// (UnpermuteValues) needs the client's cards, not the canonical ones.
#pragma once

#include "setup/cards.h"

struct SolverContext;
struct BoardNode;

struct DealIndexes {
  int turn = -1;   // entry of boardTree->turns, -1 for none
  int river = -1;  // entry of that turn's rivers, -1 for none
  CardMask turnMask = 0;   // the client's turn card, 0 for none
  CardMask riverMask = 0;  // the client's river card, 0 for none
  // A card was named that the tree has no entry for (a rank below the
  // deck's low card): no board answers for this deal.
  bool unknownCard = false;
};

// Cards are the client's, -1 for none.
DealIndexes FindDeal(const SolverContext& context, int turnCard, int riverCard);

// The hand list in force for the indexes: the river entry, else the turn
// entry, else null for the root list of the BoardTree.
const BoardNode* DealListNode(const SolverContext& context, const DealIndexes& deal);
