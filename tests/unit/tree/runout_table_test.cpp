#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <random>

#include "eval/evaluate_cards.h"
#include "eval/hand_tables.h"
#include "tree/board_tree_build.h"
#include "tree/isomorphism.h"
#include "tree/runout_table.h"

namespace {

// A sparse range, the same for both players, so that the lists are short
// enough for the pairwise references below. It depends on ranks and
// suitedness only, as suit isomorphism needs.
std::unique_ptr<BoardTree> SmallTree(const char* flop, bool isomorphism, std::array<std::vector<double>, 2>& ranges) {
  BuildHandTables();
  InitHandTables();
  ranges[0].assign(HandCount, 0.0);
  for (int c = 0; c < HandCount; ++c) {
    const CardMask hand = ComboMask[size_t(c)];
    const Card a = Card(std::countr_zero(hand)), b = Card(63 - std::countl_zero(hand));
    const int low = std::min(RankOf(a), RankOf(b)), high = std::max(RankOf(a), RankOf(b));
    const int kind = high * 13 + low + (SuitOf(a) == SuitOf(b) ? 169 : 0);
    ranges[0][size_t(c)] = (kind * 7919) % 5 == 0 ? 1.0 : 0.0;
  }
  ranges[1] = ranges[0];
  CardMask board = ParseCards(flop), none = 0, alsoNone = 0;
  if (isomorphism) CanonicalizeBoard(board, none, alsoNone);
  BoardTreeInput input;
  input.flop = board;
  input.ranges = &ranges;
  input.isomorphism = isomorphism;
  return BuildBoardTree(input);
}

// The strength of two hole cards on a five-card board, from the evaluator.
uint32_t Strength(CardMask cards) {
  int list[7];
  int n = 0;
  for (CardMask m = cards; m; m &= m - 1) list[n++] = std::countr_zero(m);
  return EvaluateCards(list, n);
}

}  // namespace

// Without suit isomorphism every river card is an entry of its own, so an
// entry of the table is the plain count over the river cards that neither
// hand holds: wins less losses, each showdown evaluated afresh.
TEST(RunoutTableTest, CountsWinsLessLossesOverTheRiverCards) {
  std::array<std::vector<double>, 2> ranges;
  std::unique_ptr<BoardTree> tree = SmallTree("Qs Jh 2h", false, ranges);
  const BoardNode& turn = tree->turns[size_t(tree->cardToTurn[size_t(std::countr_zero(ParseCards("5s")))])];
  const RunoutTable table = BuildRunoutTable(turn);
  const int32_t n = turn.HandCount();
  ASSERT_GT(n, 100);
  ASSERT_EQ(table.hands, n);
  ASSERT_EQ(table.stride % 16, 0);
  const CardMask board = turn.board;
  for (int32_t h = 0; h < n; ++h) {
    for (int32_t o = 0; o < n; ++o) {
      int net = 0;
      if (!(turn.hands[size_t(h)] & turn.hands[size_t(o)])) {
        for (int c = 0; c < 52; ++c) {
          const CardMask river = CardMask(1) << c;
          if (river & (board | turn.hands[size_t(h)] | turn.hands[size_t(o)])) continue;
          const uint32_t mine = Strength(board | river | turn.hands[size_t(h)]);
          const uint32_t theirs = Strength(board | river | turn.hands[size_t(o)]);
          net += (mine > theirs) - (mine < theirs);
        }
      }
      ASSERT_EQ(table.columns[size_t(o) * size_t(table.stride) + size_t(h)], net) << h << " " << o;
    }
  }
}

// With suit isomorphism a river entry stands for several cards: the values
// must be those of the card-by-card walk, which takes the opponent's reach
// in the entry's own suits and adds the traverser's values once per
// suit-exchanged copy. The reference does that walk pair by pair in double.
TEST(RunoutTableTest, ShowdownValuesFollowTheWalkOverIsomorphicRivers) {
  std::array<std::vector<double>, 2> ranges;
  std::unique_ptr<BoardTree> tree = SmallTree("Qs Jh 2h", true, ranges);
  std::mt19937 random(11);
  int checkedTurns = 0;
  for (const BoardNode& turn : tree->turns) {
    bool copies = false;
    for (const BoardNode& river : turn.rivers) copies |= river.weight > 1;
    if (!copies || ++checkedTurns > 3) continue;
    const int32_t n = turn.HandCount();
    std::vector<float> reach(static_cast<size_t>(n));
    for (float& r : reach) r = random() % 4 == 0 ? 0.0f : float(random() % 1000) / 997.0f;
    const float payoff = 37.5f;

    std::vector<double> expected(static_cast<size_t>(n), 0.0), magnitude(static_cast<size_t>(n), 0.0);
    for (const BoardNode& river : turn.rivers) {
      const std::vector<uint16_t>& own = river.parentIndex[0];
      const int32_t m = river.HandCount();
      for (int32_t k = 0; k < river.weight; ++k) {
        for (int32_t j = 0; j < m; ++j) {
          const uint16_t h = river.parentIndex[size_t(k)][size_t(j)];
          if (h == NoHand) continue;
          double value = 0.0, size = 0.0;
          for (int32_t o = 0; o < m; ++o) {
            if (river.hands[size_t(j)] & river.hands[size_t(o)]) continue;
            const uint32_t a = river.strengths[size_t(j)], b = river.strengths[size_t(o)];
            value += double(reach[own[size_t(o)]]) * ((a > b) - (a < b));
            size += reach[own[size_t(o)]];
          }
          expected[h] += payoff * value;
          magnitude[h] += payoff * size;
        }
      }
    }

    std::vector<float> out(static_cast<size_t>(n));
    RunoutShowdown(BuildRunoutTable(turn), reach.data(), payoff, out.data());
    // Wins and losses cancel: a float sum is good to its own rounding of
    // the terms' total size, not of the result.
    for (int32_t h = 0; h < n; ++h) ASSERT_NEAR(out[size_t(h)], expected[size_t(h)], 1e-6 * magnitude[size_t(h)]) << h;
  }
  EXPECT_GT(checkedTurns, 0);
}
