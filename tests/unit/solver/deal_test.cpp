// Trees with deals: the chance steps, the jobs and suit isomorphism.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "solver/jobs.h"
#include "solver_test_util.h"

namespace {

constexpr double Pot = 100.0;

// Suit-symmetric ranges of a few dozen combos, different for each player.
double SymmetricRanges(int player, int combo) {
  if (player == 0) return ClassWeight(combo, {{"AA", 1.0}, {"KQ", 1.0}, {"76", 0.5}, {"JT", 1.0}});
  return ClassWeight(combo, {{"KK", 1.0}, {"AQ", 1.0}, {"98", 1.0}, {"55", 0.75}});
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

// Isomorphic turns and rivers stand for several real cards; folding them
// must not change what the game is worth. Two-tone boards, so that two
// absent suits fold into one. Every end pays one player what the other
// loses, so the values add up to zero, and a best response is worth at
// least the strategy it replaces.
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
      EXPECT_NEAR(m[iso].evOop + m[iso].evIp, 0.0, 1e-4 * Pot);
      EXPECT_GE(m[iso].mesOop, m[iso].evOop - 1e-4 * Pot);
      EXPECT_GE(m[iso].mesIp, m[iso].evIp - 1e-4 * Pot);
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

// The same past iteration 61, where the average strategy takes over, on a
// turn root (river roots meet the brute-force reference there, flop roots
// the long test).
TEST_F(DealTest, TurnRootStaysZeroSumPastTheStartOfAveraging) {
  Build({"turn", "Qs Jh 2h", "8d", "", TurnLines, 64});
  Iterate(64);
  const Measurement m = Measure();
  EXPECT_NEAR(m.evOop + m.evIp, 0.0, 1e-4 * Pot);
  EXPECT_GE(m.mesOop, m.evOop - 1e-4 * Pot);
  EXPECT_GE(m.mesIp, m.evIp - 1e-4 * Pot);
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
