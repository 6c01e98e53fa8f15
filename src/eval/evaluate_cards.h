// EvaluateCards: the HandValue of three to seven cards under the rules in
// force.
//
// This is the only evaluation entry that honours the rule variants, so every
// value that is compared across hands comes from here. The variants are
// patched onto the plain evaluator's result instead of living in the tables:
// the tables stay fixed for the life of the process, and a changed rule
// costs nothing to the hands it does not touch. The low straight of a
// shortened deck is the one case the tables cannot see, because the ace sits
// below a rank that is not deuce.
#pragma once

#include "eval/hand_value.h"
#include "setup/cards.h"

// Regroups a CardMask (bit = rank + 13 * suit) into suit lanes (bit =
// 16 * suit + rank): four masks and shifts, no loop over the cards.
inline SuitLaneMask ToSuitLaneMask(CardMask cards) {
  return (cards & 0x1FFF) | (cards >> 13 & 0x1FFF) << 16 | (cards >> 26 & 0x1FFF) << 32 |
         (cards >> 39 & 0x1FFF) << 48;
}

// `cards` holds `n` distinct card numbers. n outside 3..7 gives 0.
HandValue EvaluateCards(const int* cards, int n);

// The same for cards already in lanes, `n` of them; what ComputeHandValues
// calls so that no card list is built per combo.
HandValue EvaluateLanes(SuitLaneMask lanes, int n);
