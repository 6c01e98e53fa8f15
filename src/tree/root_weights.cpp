#include "tree/root_weights.h"

#include <bit>

#include "setup/compatible_weight.h"

namespace {

// The two cards of a hand; masked so that the compiler sees them in range.
int LowCard(CardMask hand) { return std::countr_zero(hand) & 63; }
int HighCard(CardMask hand) { return (63 - std::countl_zero(hand)) & 63; }

}  // namespace

double JointTotal(const std::vector<CardMask>& hands, const float* w0, const float* w1) {
  CompatibleWeight second;
  for (size_t j = 0; j < hands.size(); ++j) second.Add(LowCard(hands[j]), HighCard(hands[j]), double(w1[j]));
  double total = 0.0;
  for (size_t i = 0; i < hands.size(); ++i)
    total += double(w0[i]) * second.Of(LowCard(hands[i]), HighCard(hands[i]), double(w1[i]));
  return total;
}
