#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "shell/execute.h"
#include "solver/river_batch.h"
#include "solver/strategy_rules.h"
#include "solver/traversal_steps.h"
#include "solver_test_util.h"
#include "storage/strategy_store.h"
#include "tree/node_path.h"

namespace {

constexpr double Pot = 100.0;

// Hands of two cards ten or better: about 150 combos a side, enough for
// card removal and mixed play, small enough for many runs.
double Broadways(int, int combo) {
  const CardMask hand = ComboMask[size_t(combo)];
  return RankOf(std::countr_zero(hand)) >= 8 && RankOf(63 - std::countl_zero(hand)) >= 8 ? 1.0 : 0.0;
}

// Amounts are what each player has put in by then, over all streets; 200
// is all-in. River lines of a few end nodes each: the turn jobs go card by
// card.
const std::vector<const char*> FewRiverEnds = {"0 0 0 0 0 0",       "0 0 0 0 50 50",   "0 0 0 0 0 50 50",
                                               "0 0 50 50 50 50",   "0 0 50 50 100 100", "50 50 50 50 50 50",
                                               "50 50 50 50 100 100", "50 200 200"};
// Bets and raises on the river: nine end nodes below a river root, so the
// turn jobs go point by point.
const std::vector<const char*> ManyRiverEnds = {
    "0 0 0 0 0 0",     "0 0 0 0 0 50 50",        "0 0 0 0 0 50 150 150", "0 0 0 0 50 50",
    "0 0 0 0 50 150 150", "0 0 50 50 50 50",     "0 0 50 50 50 100 100", "0 0 50 50 50 100 200 200",
    "0 0 50 50 100 100", "0 0 50 50 100 200 200"};
// The same shapes from the turn, and a river root of four actions (check
// and three bets), where the stores have no fused update.
const std::vector<const char*> TurnLines = {"0 0 0 0",           "0 0 0 50 50",      "0 0 0 50 150 150",
                                            "0 0 0 100 100",     "0 0 0 200 200",    "0 0 50 50",
                                            "0 0 50 150 150",    "50 50 50 50",      "50 50 50 100 100",
                                            "50 50 100 200 200", "50 200 200"};

struct Config {
  int simd;
  bool avx512;
  bool batchTurnJobs;
};

}  // namespace

class RiverBatchTest : public SolverFixture {
 protected:
  ScopedValue<bool> batch_{BatchTurnJobs, true};

  static void Build(const char* flop, const char* turn, const char* river, const std::vector<const char*>& lines) {
    SetRanges(Broadways);
    BuildSpot(flop, turn, river, lines);
    AllocateStores();
  }

  // Every current-strategy row of every decision node on every board.
  static std::vector<float> CurrentRows() {
    SolverContext& c = Context();
    std::vector<float> all;
    for (TreeNode& node : c.nodes) {
      if (node.IsEnd()) continue;
      const int actions = node.ActionCount();
      const FallbackRow fallback(actions, true);
      std::vector<FloatVec> rows(static_cast<size_t>(actions));
      auto take = [&](int turn, int river) {
        const int hands = ListHandCount(c, turn, river);
        CurrentStrategy(node, turn, river, hands, fallback.data(), rows.data());
        for (const FloatVec& row : rows) all.insert(all.end(), row.data, row.data + hands);
      };
      const int turns = int(c.boardTree->turns.size());
      if (node.street == 1 || c.rootStreet == 3) {
        take(c.rootTurn, c.rootRiver);
      } else if (node.street == 2) {
        for (int t = 0; t < turns; ++t)
          if (c.rootTurn < 0 || t == c.rootTurn) take(t, -1);
      } else {
        for (int t = 0; t < turns; ++t) {
          if (c.rootTurn >= 0 && t != c.rootTurn) continue;
          for (int r = 0; r < int(c.boardTree->turns[size_t(t)].rivers.size()); ++r) take(t, r);
        }
      }
    }
    return all;
  }
};

// Every SIMD level, with and without the 512-bit forms, and the batched
// turn jobs against the plain recursion (level 1, no batching): the same
// game values after the same iterations, up to f32 rounding. Both river
// schedules of the turn jobs are covered by the two line sets, and the
// turn tree by its river jobs.
TEST_F(RiverBatchTest, EveryLevelComputesTheSameGame) {
  struct Tree {
    const char* name;
    const char* turn;
    const std::vector<const char*>* lines;
    std::vector<Config> configs;
  };
  // Every level on the turn tree; on the flop trees, whose runs cost more,
  // a level of each lane row width.
  const Tree trees[] = {
      {"flop, few river ends", "", &FewRiverEnds, {{1, false, false}, {1, false, true}, {2, false, true},
                                                   {5, false, true}, {7, false, true}, {8, false, true},
                                                   {8, true, true}}},
      {"flop, many river ends", "", &ManyRiverEnds, {{1, false, false}, {1, false, true}, {3, false, true},
                                                     {6, false, true}, {8, false, true}, {8, true, true}}},
      {"turn", "8d", &TurnLines, {{1, false, true}, {2, false, true}, {3, false, true}, {4, false, true},
                                  {5, false, true}, {6, false, true}, {7, false, true}, {8, false, true},
                                  {8, true, true}, {1, true, true}}}};
  for (const Tree& tree : trees) {
    Measurement reference;
    const std::vector<Config>& configs = tree.configs;
    for (size_t k = 0; k < configs.size(); ++k) {
      SCOPED_TRACE(std::string(tree.name) + ", level " + std::to_string(configs[k].simd) +
                   (configs[k].avx512 ? ", avx512" : "") + (configs[k].batchTurnJobs ? "" : ", plain"));
      SimdLevel = configs[k].simd;
      Avx512Allowed = configs[k].avx512;
      BatchTurnJobs = configs[k].batchTurnJobs;
      Build("Qs Jh 2h", tree.turn, "", *tree.lines);
      Iterate(12);
      const Measurement m = Measure();
      if (k == 0) {
        reference = m;
        // Past the start, and not yet converged: a wrong update shows.
        EXPECT_GT(m.Exploitability(), 0.05) << tree.name;
        continue;
      }
      // Rounding, amplified through the 16-bit regret steps, moves these by
      // about 1e-3 chips; a wrong value or update moves them by 0.1 or more.
      const double tolerance = 5e-5 * Pot;
      EXPECT_NEAR(m.evOop, reference.evOop, tolerance);
      EXPECT_NEAR(m.evIp, reference.evIp, tolerance);
      EXPECT_NEAR(m.mesOop, reference.mesOop, tolerance);
      EXPECT_NEAR(m.mesIp, reference.mesIp, tolerance);
    }
  }
}

// A river root is a river entry in both walks of a pass, and the batched
// entry writes in both: one iteration above level 1 is two update passes
// per player at level 1.
TEST_F(RiverBatchTest, BatchedRiverRootUpdatesInBothWalks) {
  const std::vector<const char*> lines = {"0 0", "0 50 50", "0 50 150 150", "50 50", "50 150 150"};
  SimdLevel = 8;
  Build("Qs Jh 2h", "8d", "3c", lines);
  Iterate(3);
  const std::vector<float> batched = CurrentRows();

  SimdLevel = 1;
  Build("Qs Jh 2h", "8d", "3c", lines);
  SolverContext& c = Context();
  for (int t = 0; t < 3; ++t) {
    c.averageRiverNow = AverageRiverFor(c) ? 1 : 0;
    for (int player : {1, 1, 0, 0}) RunPass(c, player, TraversalMode::Update);
    c.iteration += 1;
    c.flags &= ~NewTreeFlag;
  }
  const std::vector<float> twice = CurrentRows();
  ASSERT_EQ(batched.size(), twice.size());
  for (size_t i = 0; i < batched.size(); ++i) ASSERT_NEAR(batched[i], twice[i], 1e-4) << "row element " << i;

  SimdLevel = 1;
  Build("Qs Jh 2h", "8d", "3c", lines);
  Iterate(3);
  const std::vector<float> once = CurrentRows();
  double difference = 0.0;
  for (size_t i = 0; i < once.size(); ++i) difference += std::fabs(double(once[i]) - double(batched[i]));
  EXPECT_GT(difference, 1e-2) << "a single update per pass gave the same strategies";
}

// A locked river node of the traverser returns the value of its written
// strategy and keeps its rows, in the turn jobs' card-by-card walk (few
// river ends) and in the point-by-point one (many).
TEST_F(RiverBatchTest, LockedRiverNodesKeepTheirRows) {
  for (const std::vector<const char*>* lines : {&FewRiverEnds, &ManyRiverEnds}) {
    // Client suits are the tree's then, and the boards are found directly.
    IsomorphismFlopRoots = false;
    Build("Qs Jh 2h", "", "", *lines);
    const char* path = "r:0:c:c:8d:c:c:3c";
    const NodePath place = ParsePath(path);
    ASSERT_TRUE(place.node) << path;
    TreeNode& node = Context().nodes[size_t(place.node->index)];
    const int turn = Context().boardTree->cardToTurn[size_t(place.turn)];
    const int river = Context().boardTree->turns[size_t(turn)].cardToRiver[size_t(place.river)];
    ASSERT_GE(river, 0);
    const int actions = node.ActionCount();
    ASSERT_GE(actions, 2);
    // Half the hands bet, half check, in the public hand order.
    std::vector<std::string> first = {"set_strategy", path, "0"}, second = {"set_strategy", path, "1"};
    for (int combo = 0; combo < HandCount; ++combo) {
      first.push_back(combo % 2 ? "1" : "0");
      second.push_back(combo % 2 ? "0" : "1");
    }
    ExecuteCommand(first);
    ExecuteCommand(second);
    for (int a = 2; a < actions; ++a) {
      std::vector<std::string> zero = {"set_strategy", path, std::to_string(a)};
      zero.resize(size_t(HandCount) + 3, "0");
      ExecuteCommand(zero);
    }
    ExecuteCommand({"lock_node", path});
    FlushReply();
    const int hands = ListHandCount(Context(), turn, river);
    const FallbackRow raw(actions, -1.0f);
    std::vector<FloatVec> before(static_cast<size_t>(actions)), after(static_cast<size_t>(actions));
    node.store0->GetStrategy(before.data(), turn, river, raw.data());
    Iterate(4);
    node.store0->GetStrategy(after.data(), turn, river, raw.data());
    for (int a = 0; a < actions; ++a)
      for (int h = 0; h < hands; ++h)
        ASSERT_EQ(after[size_t(a)].data[h], before[size_t(a)].data[h]) << "action " << a << " hand " << h;
  }
}

// The call and the fold below a river node that can't raise share one
// reach array; a root without reach lists terminals without reach, gets no
// value and learns nothing.
TEST_F(RiverBatchTest, CollectListsPairsOnceAndNullReachLearnsNothing) {
  Build("Qs Jh 2h", "8d", "3c", {"0 0", "0 50 50", "50 50"});
  SolverContext& c = Context();
  Pass pass = StartPass(c, TraversalMode::Update, 0);
  RiverBatch& batch = ThreadRiverBatch();
  // r:0 is OOP's: check (IP then checks or bets; OOP calls or folds) or bet
  // (IP calls or folds): terminals: check-check, the pair after the bet
  // behind, the pair after OOP's bet.
  for (bool withReach : {true, false}) {
    TraversalFrame frame;
    frame.context = &c;
    frame.pass = &pass;
    frame.node = &c.nodes[0];
    frame.turn = c.rootTurn;
    frame.river = c.rootRiver;
    const int hands = ListHandCount(c, frame.turn, frame.river);
    if (withReach) {
      ResizeVector(frame.reachA, hands);
      for (int h = 0; h < hands; ++h) frame.reachA.data[h] = 1.0f;
    } else {
      frame.reachA.count = hands;
    }
    const FallbackRow raw(2, -1.0f);
    std::vector<FloatVec> before(2), after(2);
    c.nodes[0].store0->GetStrategy(before.data(), frame.turn, frame.river, raw.data());
    PrepareRiverBatch(batch, frame, true);
    CollectNode(frame, true);
    ASSERT_EQ(batch.terminals.size(), 5u);
    // The reach is IP's. Where OOP faces IP's bet, his call and fold share
    // it, showdown first; where IP faces OOP's bet, IP's strategy splits it
    // into two arrays; the check-through has its own: four arrays.
    EXPECT_EQ(batch.reaches.size(), 4u);
    int shared = 0;
    for (size_t t = 0; t + 1 < batch.terminals.size(); ++t) {
      if (batch.terminalReach[t] != batch.terminalReach[t + 1]) continue;
      ++shared;
      EXPECT_EQ(batch.terminals[t].kind, ShowdownEnd);
      EXPECT_EQ(batch.terminals[t + 1].kind, FoldEnd);
    }
    EXPECT_EQ(shared, 1);
    EvaluateBatch(*ListNode(c, frame.turn, frame.river));
    ConsumeNode(frame);
    EXPECT_EQ(batch.cursor, 5);
    c.nodes[0].store0->GetStrategy(after.data(), frame.turn, frame.river, raw.data());
    if (!withReach) {
      EXPECT_EQ(frame.valueA.data, nullptr);
      for (int a = 0; a < 2; ++a)
        for (int h = 0; h < hands; ++h) ASSERT_EQ(after[size_t(a)].data[h], before[size_t(a)].data[h]);
    } else {
      EXPECT_NE(frame.valueA.data, nullptr);
    }
    PrepareRiverBatch(batch, frame, false);
  }
}


// A live mask against its definition, straight from the tie runs: every
// river of a turn, reaches from empty to full, groups of one hand to more
// than sixteen, groups across 64-hand words.
TEST_F(RiverBatchTest, LiveMaskFollowsTheTieGroups) {
  SetRanges([](int, int) { return 1.0; });
  SetBoard("Qs Jh 2h", "8d");
  ExecuteCommand({"set_pot", "0", "0", "100"});
  ExecuteCommand({"clear_lines"});
  ExecuteCommand({"add_line", "0", "0", "0", "0"});
  ExecuteCommand({"build_tree"});
  FlushReply();
  const SolverContext& c = Context();
  uint32_t state = 99;
  bool sawLarge = false;
  for (const BoardNode& river : c.boardTree->turns[size_t(c.rootTurn)].rivers) {
    const int hands = river.HandCount();
    for (int density : {0, 1, 5, 50, 100}) {
      std::vector<float> reach(static_cast<size_t>(hands));
      for (float& r : reach) {
        state = state * 1664525u + 1013904223u;
        r = int((state >> 8) % 100) < density ? 0.5f : 0.0f;
      }
      LiveMask mask;
      MakeLiveMask(mask, river, reach.data());
      ASSERT_EQ(mask.count, int(river.tieRuns.size()));
      int first = 0;
      for (int g = 0; g < mask.count; ++g) {
        const int size = river.tieRuns[size_t(g)];
        uint32_t expected = 0;
        for (int i = 0; i < size; ++i) {
          const bool live = reach[size_t(first + i)] > 0.0f;
          if (size <= 16) expected |= uint32_t(live) << i;
          else expected |= uint32_t(live);
        }
        sawLarge |= size > 16;
        ASSERT_EQ(mask.groups[g], expected) << "group " << g << " of size " << size << ", density " << density;
        first += size;
      }
    }
    LiveMask empty;
    MakeLiveMask(empty, river, nullptr);
    for (int g = 0; g < empty.count; ++g) ASSERT_EQ(empty.groups[g], 0);
  }
  EXPECT_TRUE(sawLarge);
}
