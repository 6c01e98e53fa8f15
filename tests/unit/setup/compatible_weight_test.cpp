#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <vector>

#include "eval/hand_tables.h"
#include "setup/cards.h"
#include "setup/compatible_weight.h"
#include "tree/root_weights.h"

namespace {

int LowOf(CardMask hand) { return std::countr_zero(hand); }
int HighOf(CardMask hand) { return 63 - std::countl_zero(hand); }

// Each hand's compatible weight, both of its forms and the joint total
// built on it, against the sum over all pairs of hands without a shared
// card.
TEST(CompatibleWeight, MatchesThePairSum) {
  BuildHandTables();
  std::mt19937 random(7);
  std::uniform_real_distribution<float> weight(0.0f, 2.0f);
  std::vector<CardMask> hands;
  std::vector<float> w0, w1;
  const CardMask board = ParseCards("Qs Jh 2h");
  for (int c = 0; c < HandCount; c += 3) {
    if (ComboMask[size_t(c)] & board) continue;
    hands.push_back(ComboMask[size_t(c)]);
    w0.push_back(weight(random));
    w1.push_back(c % 5 == 0 ? 0.0f : weight(random));
  }
  CompatibleWeight byCards, packed;
  for (size_t j = 0; j < hands.size(); ++j) {
    byCards.Add(LowOf(hands[j]), HighOf(hands[j]), w1[j]);
    packed.Add(uint16_t(LowOf(hands[j]) + 256 * HighOf(hands[j])), w1[j]);
  }
  double pairSum = 0.0;
  for (size_t i = 0; i < hands.size(); ++i) {
    double met = 0.0;
    for (size_t j = 0; j < hands.size(); ++j)
      if (!(hands[i] & hands[j])) met += double(w1[j]);
    pairSum += double(w0[i]) * met;
    EXPECT_NEAR(byCards.Of(LowOf(hands[i]), HighOf(hands[i]), w1[i]), met, 1e-9) << i;
    EXPECT_NEAR(packed.Of(uint16_t(LowOf(hands[i]) + 256 * HighOf(hands[i])), w1[i]), met, 1e-9) << i;
  }
  EXPECT_NEAR(JointTotal(hands, w0.data(), w1.data()), pairSum, pairSum * 1e-12);
  // The same total from the other side.
  EXPECT_NEAR(JointTotal(hands, w1.data(), w0.data()), pairSum, pairSum * 1e-12);
}

}  // namespace
