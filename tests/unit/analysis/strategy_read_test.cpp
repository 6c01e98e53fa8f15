// Strategy and range queries on a flop tree: the rows are distributions
// over each hand in range, ranges after actions are the set range times
// the player's own rows, and a tree built with suit isomorphism answers in
// the client's suits what a tree without it answers.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "../solver/solver_test_util.h"
#include "reply_parsing.h"
#include "analysis/analysis_commands.h"
#include "analysis/strategy_read.h"
#include "tree/node_path.h"

namespace {

// Whole hand classes that miss the flop Qs Jh 2h, so that the isomorphism
// accepts them and no weight is blocked; some weights above 1.
double SpotWeight(int player, int combo) {
  const CardMask hand = ComboMask[size_t(combo)];
  const int a = RankOf(std::countr_zero(hand)), b = RankOf(63 - std::countl_zero(hand));
  const int lo = std::min(a, b), hi = std::max(a, b);
  if (lo == hi) return (lo == 0 || lo == 9 || lo == 10) ? 0.0 : (player == 0 ? 1.0 : 0.5 + 0.1 * lo);
  if (hi == 12 && (lo == 11 || lo == 8)) return player == 0 ? 1.5 : 1.0;
  if (hi == 11 && lo == 8) return 0.7;
  return 0.0;
}

}  // namespace

class StrategyQueries : public SolverFixture {
 protected:
  void Build(bool isomorphism, int iterations) {
    SetRanges(SpotWeight);
    SetBoard("Qs Jh 2h");
    IsomorphismFlopRoots = isomorphism;
    AddLines({"0 0 0 0 0 0", "50 50 50 50 50 50", "0 50 50 50 50 50 50", "0 0 0 0 50 50"});
    RunHandler(CmdBuildTree, Tokens{"build_tree"});
    ASSERT_EQ(bool(Context().flags & IsomorphismOnFlag), isomorphism);
    AllocateStores();
    Iterate(iterations);
  }
  static std::vector<std::vector<double>> Strategy(const std::string& path) {
    const std::vector<std::string> lines = Lines(RunHandler(CmdShowStrategy, Tokens{"show_strategy", path}));
    EXPECT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "END");
    std::vector<std::vector<double>> rows;
    for (size_t i = 0; i + 1 < lines.size(); ++i) rows.push_back(ByCombo(lines[i]));
    return rows;
  }
  static std::vector<double> Range(const char* player, const std::string& path) {
    Tokens tokens{"show_range", player};
    if (!path.empty()) tokens.push_back(path);
    return ByCombo(RunHandler(CmdShowRange, tokens));
  }
};

// Decisions on every street, the river ones with their cards.
const char* const DecisionPaths[] = {"r:0", "r:0:c", "r:0:b50", "r:0:c:b50", "r:0:c:c:8d", "r:0:c:c:Ts:c",
                                     "r:0:c:c:3h:c:c:As", "r:0:c:c:3h:c:c:Kh:b50"};

TEST_F(StrategyQueries, RowsAreDistributionsOverTheRange) {
  ThreadCount = 1;
  // Before the average has begun the rows are the regret-matched ones;
  // from iteration 63 on they are the average.
  for (int iterations : {4, 64}) {
    Build(true, iterations);
    const CardMask flop = ParseCards("Qs Jh 2h");
    for (const char* path : DecisionPaths) {
      SCOPED_TRACE(std::string(path) + " after " + std::to_string(iterations));
      const NodePath place = ParsePath(path);
      CardMask board = flop;
      if (place.turn >= 0) board |= CardBit(place.turn);
      if (place.river >= 0) board |= CardBit(place.river);
      const std::vector<std::vector<double>> rows = Strategy(path);
      ASSERT_EQ(rows.size(), place.node->children.size());
      for (int c = 0; c < HandCount; ++c) {
        double sum = 0.0;
        for (const auto& row : rows) {
          EXPECT_GE(row[size_t(c)], 0.0);
          sum += row[size_t(c)];
        }
        const bool inRange = SpotWeight(place.node->player, c) != 0.0 && !(ComboMask[size_t(c)] & board);
        EXPECT_NEAR(sum, inRange ? 1.0 : 0.0, 1e-5) << c;
      }
    }
    FreeTree();
    ClearLines();
  }
}

TEST_F(StrategyQueries, RangeAfterActionsIsSetRangeTimesOwnRows) {
  ThreadCount = 1;
  Build(true, 4);
  struct Step {
    const char* decision;  // the place of the decision
    int action;            // the child taken
  };
  struct Case {
    const char* path;
    std::vector<Step> oop, ip;
  };
  // r:0 children are b50 then c; after a bet, c then f.
  const Case cases[] = {
      {"r:0:b50:c", {{"r:0", 0}}, {{"r:0:b50", 0}}},
      {"r:0:c:b50", {{"r:0", 1}}, {{"r:0:c", 0}}},
      {"r:0:c:c:8d:c:c:3h:b50", {{"r:0", 1}, {"r:0:c:c:8d", 0}, {"r:0:c:c:8d:c:c:3h", 0}}, {{"r:0:c", 1}, {"r:0:c:c:8d:c", 0}}},
  };
  for (const Case& c : cases) {
    for (int player = 0; player < 2; ++player) {
      SCOPED_TRACE(std::string(c.path) + (player ? " IP" : " OOP"));
      const NodePath place = ParsePath(c.path);
      CardMask dead = ParseCards("Qs Jh 2h");
      if (place.turn >= 0) dead |= CardBit(place.turn);
      if (place.river >= 0) dead |= CardBit(place.river);
      std::vector<double> expected(HandCount);
      for (int h = 0; h < HandCount; ++h) expected[size_t(h)] = SpotWeight(player, h);
      for (const Step& step : player == 0 ? c.oop : c.ip) {
        const NodePath decision = ParsePath(step.decision);
        std::vector<double> row(HandCount);
        ReadStrategy(decision.node->index, step.action, decision.turn, decision.river, row.data());
        for (int h = 0; h < HandCount; ++h) expected[size_t(h)] *= row[size_t(h)];
      }
      const std::vector<double> shown = Range(player == 0 ? "OOP" : "IP", c.path);
      for (int h = 0; h < HandCount; ++h) {
        double want = ComboMask[size_t(h)] & dead ? 0.0 : std::min(expected[size_t(h)], 1.0);
        if (std::isnan(want)) want = 0.0;
        EXPECT_NEAR(shown[size_t(h)], want, 1e-9) << h;
      }
    }
  }
  // Without a path it is the set range as it stands; at the root the
  // same, clamped at 1.
  for (const char* path : {"", "r", "r:0"}) {
    const std::vector<double> shown = Range("OOP", path);
    for (int h = 0; h < HandCount; ++h) {
      const double weight = SpotWeight(0, h);
      EXPECT_EQ(shown[size_t(h)], *path ? std::min(weight, 1.0) : weight) << path << " " << h;
    }
  }
}

TEST_F(StrategyQueries, ProbsShareTheNodeOut) {
  ThreadCount = 1;
  Build(true, 4);
  // Above the root each share is the clamped set range over the set range.
  double clamped[2] = {0.0, 0.0}, whole[2] = {0.0, 0.0};
  for (int p = 0; p < 2; ++p)
    for (int h = 0; h < HandCount; ++h) {
      clamped[p] += std::min(SpotWeight(p, h), 1.0);
      whole[p] += SpotWeight(p, h);
    }
  char expected[128];
  std::snprintf(expected, sizeof expected, "OOP %.12g IP %.12g \n", clamped[0] / whole[0], clamped[1] / whole[1]);
  EXPECT_EQ(RunHandler(CmdShowProbs, Tokens{"show_probs", "r"}), expected);
  for (const char* path : {"r:0", "r:0:c", "r:0:b50", "r:0:c:c:8d", "r:0:c:c:3h:c:c:Kh:b50"}) {
    SCOPED_TRACE(path);
    const SchematicNode& node = *ParsePath(path).node;
    const std::string reply = RunHandler(CmdShowProbs, Tokens{"show_probs", path});
    std::istringstream in(reply);
    std::string word;
    double reach[2] = {0.0, 0.0};
    in >> word >> reach[0] >> word >> reach[1];
    for (double r : reach) {
      EXPECT_GE(r, 0.0);
      EXPECT_LE(r, 1.0 + 1e-12);
    }
    double sum = 0.0;
    int children = 0;
    for (double share; in >> word >> share; ++children) {
      EXPECT_EQ(word, ChildToken(node, children));
      sum += share;
    }
    if (reach[node.player] > 0.0) {
      EXPECT_EQ(children, int(node.children.size()));
      EXPECT_NEAR(sum, 1.0, 1e-9);
    } else {
      EXPECT_EQ(children, 0) << reply;
    }
  }
}

TEST_F(StrategyQueries, IsomorphismAnswersInClientSuits) {
  ThreadCount = 1;
  // Iteration 0: both trees are uniform, so everything must agree exactly;
  // after a few iterations the regrets of the two trees differ only by
  // rounding, while a wrong suit mapping would swap unlike hands.
  for (int iterations : {0, 3}) {
    std::vector<std::vector<std::vector<double>>> builds[2];
    std::vector<std::vector<double>> ranges[2];
    for (int iso = 0; iso < 2; ++iso) {
      Build(iso == 1, iterations);
      for (const char* path : DecisionPaths) builds[iso].push_back(Strategy(path));
      ranges[iso].push_back(Range("IP", "r:0:c:c:Th:c:c:9h:b50"));
      ranges[iso].push_back(Range("OOP", "r:0:c:c:3h:c:c:Kh:b50"));
      FreeTree();
      ClearLines();
    }
    const double tolerance = iterations == 0 ? 0.0 : 1e-4;
    for (size_t p = 0; p < builds[0].size(); ++p) {
      ASSERT_EQ(builds[0][p].size(), builds[1][p].size());
      for (size_t a = 0; a < builds[0][p].size(); ++a)
        for (int c = 0; c < HandCount; ++c)
          EXPECT_NEAR(builds[0][p][a][size_t(c)], builds[1][p][a][size_t(c)], tolerance)
              << DecisionPaths[p] << " action " << a << " combo " << c << " iterations " << iterations;
    }
    for (size_t r = 0; r < ranges[0].size(); ++r)
      for (int c = 0; c < HandCount; ++c)
        EXPECT_NEAR(ranges[0][r][size_t(c)], ranges[1][r][size_t(c)], tolerance) << r << " " << c;
  }
}
