#include "tree/root_weights.h"

#include <bit>

namespace {

// The two cards of a hand; masked so that the compiler sees them in range.
int LowCard(CardMask hand) { return std::countr_zero(hand) & 63; }
int HighCard(CardMask hand) { return (63 - std::countl_zero(hand)) & 63; }

}  // namespace

double JointTotal(const std::vector<CardMask>& hands, const float* w0, const float* w1) {
  double all = 0.0;
  double cardSum[64] = {};
  for (size_t j = 0; j < hands.size(); ++j) {
    const double w = w1[j];
    all += w;
    cardSum[LowCard(hands[j])] += w;
    cardSum[HighCard(hands[j])] += w;
  }
  double total = 0.0;
  for (size_t i = 0; i < hands.size(); ++i) {
    const double compatible = all - cardSum[LowCard(hands[i])] - cardSum[HighCard(hands[i])] + double(w1[i]);
    total += double(w0[i]) * compatible;
  }
  return total;
}
