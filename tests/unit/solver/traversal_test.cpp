#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <string>
#include <vector>

#include "reference_river_game.h"
#include "solver/strategy_rules.h"
#include "solver_test_util.h"

namespace {

constexpr const char* RiverBoard = "Qs Jh 2h 8d 3c";
constexpr double Pot = 100.0;

}  // namespace

class TraversalTest : public SolverFixture {
 protected:
  // The river hand list of a river-rooted tree.
  static const BoardNode& RiverList() {
    const SolverContext& c = Context();
    return c.boardTree->turns[size_t(c.rootTurn)].rivers[size_t(c.rootRiver)];
  }

  // The average strategies the solver would report, as a reference profile.
  static ReferenceRiverGame::Profile SolverProfile(const ReferenceRiverGame& game) {
    SolverContext& c = Context();
    ReferenceRiverGame::Profile profile = game.Uniform();
    const BoardNode& list = RiverList();
    const Pass pass = StartPass(c, TraversalMode::NodeQuery, 0);
    for (size_t n = 0; n < c.nodes.size(); ++n) {
      TreeNode& node = c.nodes[n];
      if (node.IsEnd()) continue;
      const int actions = node.ActionCount();
      std::vector<FloatVec> rows(static_cast<size_t>(actions));
      AverageStrategy(c, pass, node, c.rootTurn, c.rootRiver, list.HandCount(), rows.data());
      const std::vector<int>& combos = game.Combos(node.player);
      for (size_t i = 0; i < combos.size(); ++i) {
        const uint16_t h = list.comboToHand[size_t(combos[i])];
        for (int a = 0; a < actions; ++a) profile[n][i * size_t(actions) + size_t(a)] = rows[size_t(a)].data[h];
      }
    }
    return profile;
  }

  static std::vector<double> Range(int player) { return Ranges[size_t(player)]; }
};

// Iteration 0 plays uniformly. One combo a side (or a few, for card
// removal), values worked out by hand: a check-through pays the pot share
// by showdown; with a bet line, uniform play and best responses differ.
TEST_F(TraversalTest, UniformPlayGivesHandComputedValues) {
  struct Case {
    std::vector<std::pair<const char*, double>> oop, ip;
    bool betLine;
    double evOop, mesOop, mesIp;
  };
  const std::vector<Case> cases = {
      {{{"As Ad", 1}}, {{"Ks Kd", 1}}, false, 50, 50, -50},
      {{{"Ac Kc", 1}}, {{"Ad Kd", 1}}, false, 0, 0, 0},
      // As Ad shares a card with Ad Kh: only Kc Kd meets it, and wins.
      {{{"As Ad", 1}, {"Kc Kd", 1}}, {{"Ad Kh", 1}}, false, 50, 50, -50},
      {{{"As Ad", 1}, {"7c 6c", 0.5}}, {{"Ks Kd", 1}}, false, 50.0 / 3, 50.0 / 3, -50.0 / 3},
      // IP bets half the time; OOP calls (+100) or folds (-50) half the time.
      // OOP's best calls: 75. IP's best bets: -25.
      {{{"As Ad", 1}}, {{"Ks Kd", 1}}, true, 37.5, 75, -25},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.oop[0].first) + " vs " + c.ip[0].first);
    FreeTree();
    ClearLines();
    for (int p = 0; p < 2; ++p) Ranges[size_t(p)].assign(HandCount, 0.0);
    for (const auto& [hand, w] : c.oop) Ranges[0][size_t(ComboOf(ParseCards(hand)))] = w;
    for (const auto& [hand, w] : c.ip) Ranges[1][size_t(ComboOf(ParseCards(hand)))] = w;
    SetBoard("Qs Jh 2h", "8d", "3c");
    if (c.betLine)
      AddLines({"0 0", "0 50 50"});
    else
      AddLines({"0 0"});
    BuildTreeFromSetUp();
    AllocateStores();
    const Measurement m = Measure();
    EXPECT_NEAR(m.evOop, c.evOop, 1e-4);
    EXPECT_NEAR(m.evIp, -c.evOop, 1e-4);
    EXPECT_NEAR(m.mesOop, c.mesOop, 1e-4);
    EXPECT_NEAR(m.mesIp, c.mesIp, 1e-4);
  }
}

// A river game of a few dozen combos a side with bets and raises, against
// the brute-force reference: it evaluates the uniform start and the
// solver's own average strategies, checking the evaluate pass; and as the
// reference finds those strategies all but unexploitable, the solver has
// solved this game, whose value every profile's values bracket.
TEST_F(TraversalTest, RiverSolveAgreesWithBruteForceReference) {
  SetRanges(ReferenceGameRanges);
  SetBoard("Qs Jh 2h", "8d", "3c");
  AddLines({"0 0", "0 50 50", "0 50 150 150", "50 50", "50 150 150", "100 100"});
  BuildTreeFromSetUp();
  AllocateStores();
  const std::vector<double> ranges[2] = {Range(0), Range(1)};
  const ReferenceRiverGame game(Context(), ParseCards(RiverBoard), ranges);

  // Iteration 0: uniform strategies, values and best responses.
  {
    const ReferenceRiverGame::Result ref = game.Evaluate(game.Uniform());
    const Measurement m = Measure();
    EXPECT_NEAR(m.evOop, ref.evOop, 1e-4 * Pot);
    EXPECT_NEAR(m.mesOop, ref.mesOop, 1e-4 * Pot);
    EXPECT_NEAR(m.mesIp, ref.mesIp, 1e-4 * Pot);
    EXPECT_GT(m.Exploitability(), 1.0);
  }

  Iterate(300);
  const Measurement m = Measure();
  const ReferenceRiverGame::Result own = game.Evaluate(SolverProfile(game));
  EXPECT_NEAR(m.evOop, own.evOop, 1e-4 * Pot);
  EXPECT_NEAR(m.evIp, -own.evOop, 1e-4 * Pot);
  EXPECT_NEAR(m.mesOop, own.mesOop, 1e-4 * Pot);
  EXPECT_NEAR(m.mesIp, own.mesIp, 1e-4 * Pot);

  EXPECT_LT(own.Exploitability(), 0.002 * Pot);
}

// Locks: a LOCKED node keeps its rows and adds no sums, and nobody can
// deviate from it; at a COMBO_LOCKED node only the free hands best-respond.
// OOP holds As Ad; IP holds Ks Kd (loses) and Qc Qd (a set, wins). IP's
// strategy is fixed to check with the kings. Uniform play elsewhere, by
// hand: kings checking get -50; queens get 50 checking and 75 betting
// (OOP calls half the time), 62.5 uniformly.
TEST_F(TraversalTest, LocksBindBestResponsesAndUpdates) {
  for (int p = 0; p < 2; ++p) Ranges[size_t(p)].assign(HandCount, 0.0);
  Ranges[0][size_t(ComboOf(ParseCards("As Ad")))] = 1.0;
  Ranges[1][size_t(ComboOf(ParseCards("Ks Kd")))] = 1.0;
  Ranges[1][size_t(ComboOf(ParseCards("Qc Qd")))] = 1.0;
  SetBoard("Qs Jh 2h", "8d", "3c");
  AddLines({"0 0", "0 50 50"});
  struct Case {
    uint32_t flags;
    double mesIp;
  };
  // Free: kings would bet (-25), queens bet (75). Combo lock: kings -50.
  // Whole lock: the queens' uniform play too.
  const Case cases[] = {{0, (-25.0 + 75.0) / 2}, {ComboLockedFlag, (-50.0 + 75.0) / 2}, {LockedFlag, (-50.0 + 62.5) / 2}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.flags);
    BuildTreeFromSetUp();
    AllocateStores();
    TreeNode& ipNode = Context().nodes[size_t(Context().nodes[0].children[0])];
    ASSERT_EQ(ipNode.player, 1);
    ASSERT_EQ(ipNode.ActionCount(), 2);
    const BoardNode& list = RiverList();
    const int hands = list.HandCount();
    const int kings = list.comboToHand[size_t(ComboOf(ParseCards("Ks Kd")))];
    const int queens = list.comboToHand[size_t(ComboOf(ParseCards("Qc Qd")))];
    std::vector<float> bet(size_t(hands), 0.0f), check(size_t(hands), 0.0f);
    check[size_t(kings)] = 1000.0f;
    if (c.flags) {
      ipNode.store0->SetRow(0, 0, 0, bet.data());
      ipNode.store0->SetRow(0, 0, 1, check.data());
    }
    LockRecord* lock = ipNode.store0->GetLockRecord(0, 0);
    lock->flags = c.flags;
    if (c.flags == ComboLockedFlag) {
      lock->handMask = std::make_unique<uint8_t[]>(size_t(hands));
      lock->handMaskSize = hands;
      for (int h = 0; h < hands; ++h) lock->handMask[size_t(h)] = h == kings;
    }
    const Measurement m = Measure();
    EXPECT_NEAR(m.mesIp, c.mesIp, 1e-4);
    const double evIp = c.flags ? (-50.0 + 62.5) / 2 : (-37.5 + 62.5) / 2;
    EXPECT_NEAR(m.evIp, evIp, 1e-4);

    if (c.flags == LockedFlag) {
      // Past iteration 61 sums would be added at this node, and the regret
      // of every hand would move; locked, nothing changes.
      Iterate(70);
      std::vector<FloatVec> rows(2);
      const float rawRows[2] = {-1.0f, -1.0f};
      ipNode.store1->GetStrategy(rows.data(), 0, 0, rawRows);
      for (int h = 0; h < hands; ++h) EXPECT_EQ(rows[0].data[h], -1.0f) << "sums added for hand " << h;
      ipNode.store0->GetStrategy(rows.data(), 0, 0, rawRows);
      EXPECT_EQ(rows[1].data[kings], 1.0f);
      EXPECT_EQ(rows[0].data[kings], 0.0f);
      EXPECT_EQ(rows[0].data[queens], -1.0f);
    }
  }
}

// The river spot of the examples: the exploitability of the average
// strategy falls steadily once averaging starts (iteration 61), to 0.01%
// of the pot by iteration 400. A stall or a rise is the sign of a wrong
// update. At SIMD level 1, where a river root is updated once per pass
// (above it, the batched root is updated in both walks of the pass).
TEST_F(TraversalTest, ExploitabilityFallsOnTheExampleRiverSpot) {
  SimdLevel = 1;
  RunScript(SourcePath("examples/river_qsjh2h_spr2.txt"));
  AllocateStores();
  double last = Measure().Exploitability();
  EXPECT_GT(last, 10.0);
  Iterate(100);
  for (int t = 100; t <= 400; t += 100) {
    const double now = Measure().Exploitability();
    EXPECT_LT(now, last) << "at iteration " << t;
    last = now;
    if (t < 400) Iterate(100);
  }
  EXPECT_LT(last, 1e-4 * Pot);
  EXPECT_GE(last, -1e-4 * Pot);
}
