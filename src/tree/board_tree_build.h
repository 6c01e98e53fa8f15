// Building the BoardTree: every dealt turn and river with its hand list.
//
// The root list is the universe: a hand that no working range gives weight
// misses every list below, so it costs nothing anywhere. Each deeper list
// is its parent's list less the hands the new card touches, sorted by
// strength once here, so that showdown values become prefix sums later.
// On five-card boards a second key orders hands of equal strength by their
// ranks and by suits that are live on the board; it fixes one order for
// every tie group, the same on every build. Rivers are ordered with the
// flush suit last, so the boards that change most hands come together.
// The turn entries are independent of each other, and that is where the
// work is split over threads.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "setup/cards.h"
#include "tree/board_tree.h"

struct BoardTreeInput {
  CardMask flop = 0;  // in the tree's suits
  int turn = -1;      // the set turn, tree suits, or -1
  int river = -1;     // the set river, tree suits, or -1
  // Working ranges, 1326 weights each by ComboIndex, in the tree's suits.
  const std::array<std::vector<double>, 2>* ranges = nullptr;
  int lowCard = 0;
  bool isomorphism = false;
  int threads = 1;  // at most this many threads over the turn entries
};

std::unique_ptr<BoardTree> BuildBoardTree(const BoardTreeInput& input);

// The suit with at least two cards on flop and turn and the most of them,
// the lower suit on equal counts; -1 if no suit has two.
int FlushSuit(CardMask flopAndTurn);

// The tie-break among hands of equal strength on a five-card board.
uint32_t FiveCardSecondKey(CardMask hand, CardMask board);

// Sorts a hand list by strength for the entry's board and fills hands,
// strengths, handCards, comboToHand and parentIndex[0]. Hands of the parent
// list that touch entry.board drop out.
void BuildEntryHands(BoardNode& entry, const std::vector<CardMask>& parentHands);

// lo card + hi card * 256.
inline uint16_t HandCardsOf(CardMask hand) {
  int lo = __builtin_ctzll(hand);
  int hi = 63 - __builtin_clzll(hand);
  return uint16_t(lo + hi * 256);
}
