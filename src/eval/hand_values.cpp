#include "eval/hand_values.h"

#include <algorithm>
#include <bit>

#include "eval/evaluate_cards.h"
#include "eval/rule_settings.h"

namespace {

// Lane masks of every k-card subset of the board, made once per board so
// that the per-combo work is only ORs and evaluations.
std::vector<SuitLaneMask> BoardSubsets(CardMask board, int k) {
  Card cards[5];
  int count = 0;
  for (CardMask rest = board; rest && count < 5; rest &= rest - 1) cards[count++] = std::countr_zero(rest);
  std::vector<SuitLaneMask> subsets;
  for (unsigned pick = 0; pick < 1u << count; ++pick) {
    if (std::popcount(pick) != k) continue;
    CardMask subset = 0;
    for (int i = 0; i < count; ++i)
      if (pick >> i & 1) subset |= CardBit(cards[i]);
    subsets.push_back(ToSuitLaneMask(subset));
  }
  return subsets;
}

}  // namespace

std::vector<uint32_t> ComputeHandValues(CardMask board, const std::vector<CardMask>& combos) {
  std::vector<uint32_t> values(combos.size());
  const uint32_t rule = mustUseHoleCards;

  if (rule == 0) {
    // All cards play: one evaluation of board and combo together. The count
    // is taken from the union, so a combo that clashes with the board is
    // valued as the cards it really adds instead of misreading the lanes.
    const SuitLaneMask boardLanes = ToSuitLaneMask(board);
    for (size_t i = 0; i < combos.size(); ++i) {
      CardMask combo = combos[i];
      values[i] = combo ? EvaluateLanes(boardLanes | ToSuitLaneMask(combo), std::popcount(board | combo))
                        : NoHandValue;
    }
    return values;
  }

  // Rule 1: one hole card with four board cards; rule 2: both hole cards
  // with three. The best such hand counts, compared after the rule variants,
  // as unsigned. A board with no subset of the size needed values every
  // combo 0.
  const std::vector<SuitLaneMask> subsets = BoardSubsets(board, rule == 1 ? 4 : 3);
  auto evaluate = [](SuitLaneMask lanes) { return EvaluateLanes(lanes, std::popcount(lanes)); };
  for (size_t i = 0; i < combos.size(); ++i) {
    CardMask combo = combos[i];
    if (!combo) {
      values[i] = NoHandValue;
      continue;
    }
    HandValue best = 0;
    if (rule == 1) {
      const SuitLaneMask lo = ToSuitLaneMask(combo & (0 - combo));
      const SuitLaneMask hi = ToSuitLaneMask(combo & (combo - 1));
      for (SuitLaneMask subset : subsets)
        best = std::max({best, evaluate(subset | lo), evaluate(subset | hi)});
    } else {
      const SuitLaneMask hole = ToSuitLaneMask(combo);
      for (SuitLaneMask subset : subsets) best = std::max(best, evaluate(subset | hole));
    }
    values[i] = best;
  }
  return values;
}
