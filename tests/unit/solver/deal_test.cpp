// Trees with deals: the chance steps, the jobs and suit isomorphism.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <string>
#include <vector>

#include "solver/jobs.h"
#include "solver_test_util.h"

namespace {

constexpr double Pot = 100.0;

// Suit-symmetric ranges of a few dozen combos, different for each player.
double SymmetricRanges(int player, int combo) {
  const CardMask hand = ComboMask[size_t(combo)];
  const int lo = RankOf(std::countr_zero(hand)), hi = RankOf(63 - std::countl_zero(hand));
  const int a = std::max(lo, hi), b = std::min(lo, hi);
  if (player == 0) {
    if (a == 12 && b == 12) return 1.0;  // AA
    if (a == 11 && b == 10) return 1.0;  // KQ
    if (a == 5 && b == 4) return 0.5;    // 76
    if (a == 9 && b == 8) return 1.0;    // JT
    return 0.0;
  }
  if (a == 11 && b == 11) return 1.0;  // KK
  if (a == 12 && b == 10) return 1.0;  // AQ
  if (a == 7 && b == 6) return 1.0;    // 98
  if (a == 3 && b == 3) return 0.75;   // 55
  return 0.0;
}

struct Spot {
  const char* name;
  const char* flop;
  const char* turn;
  const char* river;
  std::vector<const char*> lines;
  int iterations;
};

const std::vector<const char*> FlopLines = {"0 0 0 0 0 0", "0 0 0 50 50 50 50", "50 50 50 50 50 50",
                                            "0 0 0 0 0 50 50"};
const std::vector<const char*> TurnLines = {"0 0 0 0", "0 50 50 50 50", "50 50 50 50", "0 0 0 50 50",
                                            "50 150 150 150 150"};
const std::vector<const char*> RiverLines = {"0 0", "0 50 50", "0 50 150 150", "50 50", "50 150 150"};

}  // namespace

class DealTest : public SolverFixture {
 protected:
  void Build(const Spot& spot) {
    FreeTree();
    ClearLines();
    SetRanges(SymmetricRanges);
    SetBoard(spot.flop, spot.turn, spot.river);
    for (const char* line : spot.lines) AddLines({line});
    BuildTreeFromSetUp();
    AllocateStores();
  }
};

// Every end pays one player what the other loses, so the two values add
// up to zero; a best response is worth at least the strategy it replaces.
// Iteration counts cross 61 on the smaller trees, where the average
// strategy takes over.
TEST_F(DealTest, ValuesAreZeroSumAndBestResponsesDominate) {
  const Spot spots[] = {
      {"river", "Qs Jh 2h", "8d", "3c", RiverLines, 70},
      {"turn", "Qs Jh 2h", "8d", "", TurnLines, 64},
      {"flop", "Qs Jh 2h", "", "", FlopLines, 4},
  };
  for (const Spot& spot : spots) {
    SCOPED_TRACE(spot.name);
    Build(spot);
    for (int round = 0; round < 2; ++round) {
      const Measurement m = Measure();
      EXPECT_NEAR(m.evOop + m.evIp, 0.0, 1e-4 * Pot);
      EXPECT_GE(m.mesOop, m.evOop - 1e-4 * Pot);
      EXPECT_GE(m.mesIp, m.evIp - 1e-4 * Pot);
      EXPECT_GT(m.Exploitability(), 0.0);
      Iterate(spot.iterations);
    }
  }
}

// Isomorphic turns and rivers stand for several real cards; folding them
// must not change what the game is worth. Two-tone boards, so that two
// absent suits fold into one.
TEST_F(DealTest, IsomorphismLeavesValuesAlone) {
  const Spot spots[] = {
      {"flop", "Qs Jh 2h", "", "", FlopLines, 6},
      {"turn", "Qs Jh 2h", "8h", "", TurnLines, 30},
  };
  for (const Spot& spot : spots) {
    SCOPED_TRACE(spot.name);
    Measurement m[2];
    for (int iso = 0; iso < 2; ++iso) {
      IsomorphismFlopRoots = IsomorphismTurnRoots = iso == 1;
      Build(spot);
      EXPECT_EQ((Context().flags & IsomorphismOnFlag) != 0, iso == 1);
      Iterate(spot.iterations);
      m[iso] = Measure();
    }
    EXPECT_LT(Context().boardTree->turns.size() * Context().boardTree->turns[0].rivers.size(),
              size_t(spot.turn[0] ? 48 : 49 * 48));
    const double tolerance = std::max(m[0].Exploitability(), m[1].Exploitability());
    EXPECT_NEAR(m[0].evOop, m[1].evOop, tolerance);
    EXPECT_NEAR(m[0].evIp, m[1].evIp, tolerance);
    // The walks are the same up to the order of float sums.
    EXPECT_NEAR(m[0].evOop, m[1].evOop, 1e-4 * Pot);
    EXPECT_NEAR(m[0].mesOop, m[1].mesOop, 1e-4 * Pot);
    EXPECT_NEAR(m[0].mesIp, m[1].mesIp, 1e-4 * Pot);
  }
}

// Jobs merge in finishing order, so thread counts differ only in rounding.
TEST_F(DealTest, ThreadCountChangesOnlyRounding) {
  const Spot spot{"flop", "Ks 7d 2c", "", "", FlopLines, 3};
  Measurement m[2];
  for (int threads = 1; threads <= 2; ++threads) {
    ThreadCount = threads;
    Build(spot);
    Iterate(spot.iterations);
    m[threads - 1] = Measure();
  }
  EXPECT_NEAR(m[0].evOop, m[1].evOop, 1e-4 * Pot);
  EXPECT_NEAR(m[0].mesOop, m[1].mesOop, 1e-4 * Pot);
  EXPECT_NEAR(m[0].mesIp, m[1].mesIp, 1e-4 * Pot);
}
