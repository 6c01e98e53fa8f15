// Suit isomorphism: suits absent from the board are interchangeable.
//
// The board and the ranges are brought into a canonical suit order, so
// that one representative card stands for every absent-suit card it is
// equivalent to (with a weight), and each query maps the client's cards
// onto the representative and its answer back. Everything stored in a tree
// built this way is in canonical suits; the client never sees them.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "setup/cards.h"
#include "tree/board_tree.h"

// Entry s: the canonical suit of client suit s. A permutation of 0..3.
using SuitMap = std::array<uint8_t, 4>;

// The two settings of set_isomorphism, by root street.
extern bool IsomorphismFlopRoots;  // default on
extern bool IsomorphismTurnRoots;  // default off

CardMask MapCards(CardMask mask, const SuitMap& map);
int MapCard(int card, const SuitMap& map);
// ComboIndex of the combo after mapping its cards.
int CanonicalCombo(int combo, const SuitMap& map);

// Maps the masks in place (turn and river may be 0) and returns the map.
SuitMap CanonicalizeBoard(CardMask& flop, CardMask& turn, CardMask& river);
// out[canonical c] = in[c], by the map of these client cards.
void PermuteRange(CardMask flop, CardMask turn, CardMask river, double* out, const double* in);
// out[c] = in[canonical c]: the way back for a 1326 vector of values.
void UnpermuteValues(CardMask flop, CardMask turn, CardMask river, double* out, const float* in);

// Throws CommandFailure "inconsistent range: ..." when a hand class of a
// player holds different weights among the combos that miss the flop.
void CheckRangeConsistency(CardMask flop, const std::array<std::vector<double>, 2>& ranges);

struct DealtCard {
  int card = 0;
  int weight = 1;
};
// The cards dealt under a canonical board: every card of the present
// suits with weight 1, the first absent suit with weight 4 - present suits.
std::vector<DealtCard> IsomorphicDeals(CardMask canonicalBoard, int lowCard);

// Fills parentIndex vectors 1..weight-1 of an entry whose vector 0 and hand
// list are built: hand i with suits s and s + k exchanged, looked up in the
// parent list. A hand whose image is missing gets NoHand and an
// "isomorph error: " line on the standard output.
void BuildSwapIndexes(BoardNode& entry, const std::vector<uint16_t>& parentComboToHand);
