// Forgetting streets and solving their subgames again: a board solved on
// demand must be worth what the whole tree said it was worth, a forgotten
// tree must keep its results, and its file must be small and answer the
// same after a load.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "../setup/setup_test_util.h"
#include "analysis/node_ev.h"
#include "shell/shell_commands.h"
#include "setup/console.h"
#include "shell/shell_state.h"
#include "solver/forget.h"
#include "solver/solver_driver.h"
#include "solver/subgame.h"
#include "solver_test_util.h"
#include "storage/tree_stream.h"
#include "tree/node_board.h"
#include "tree/node_path.h"

namespace {

using Bytes = std::vector<uint8_t>;

class ForgetTest : public SolverFixture {
 protected:
  void TearDown() override {
    std::remove(path_.c_str());
    SolverFixture::TearDown();
  }

  // Solves until calc_results reports at most `target` chips.
  static double SolveTo(double target) {
    Send("set_accuracy " + std::to_string(target));
    Send("go");
    Send("wait_for_solver");
    return CalcResults(Context()).exploitability;
  }

  static void Send(const std::string& line) {
    ExecuteCommand(Tokenize(line));
    DiscardReply();
  }

  // OOP's mean EV at a place, over the hands that reach it, weighted by
  // their matchups: the value of the place to OOP.
  static double PlaceValue(const std::string& path) {
    const NodePath place = ParseBuiltPath(path);
    std::vector<double> ev(HandCount), matchups(HandCount);
    NodeEv(0, place.node->index, place.turn, place.river, ev.data(), matchups.data());
    double sum = 0.0, weight = 0.0;
    for (int c = 0; c < HandCount; ++c) {
      if (std::isnan(ev[size_t(c)]) || std::isnan(matchups[size_t(c)])) continue;
      sum += ev[size_t(c)] * matchups[size_t(c)];
      weight += matchups[size_t(c)];
    }
    EXPECT_GT(weight, 0.0) << path << " is never reached";
    return sum / weight;
  }

  // What explo_partial prints for a place: its subgame solved again.
  static double Resolve(const std::string& path) {
    const NodePath place = ParseBuiltPath(path);
    TreeNode& node = Context().nodes[size_t(place.node->index)];
    const DealIndexes deal = NodeDeal(Context(), node, place.turn, place.river);
    return SolvePartialAt(Context(), node, deal.turn, deal.river);
  }

  static std::vector<double> PlaceValues(const std::vector<std::string>& places) {
    std::vector<double> values;
    for (const std::string& place : places) values.push_back(PlaceValue(place));
    return values;
  }

  // For each place, the value of the full tree and of the forgotten tree
  // after its subgame was solved again must agree within the two
  // exploitabilities. Each value lies in the bracket of its two best
  // responses, [-mesIp, mesOop], twice its exploitability wide, and so
  // does the subgame's game value; so each is within twice its own
  // exploitability of that value.
  static void ExpectSubgamesAgree(const std::vector<std::string>& places, const std::vector<double>& full,
                                  double fullExploitability) {
    for (size_t i = 0; i < places.size(); ++i) {
      const double subgameExploitability = Resolve(places[i]);
      EXPECT_GE(subgameExploitability, -1e-4) << places[i];
      EXPECT_LE(subgameExploitability, 0.01) << places[i];
      EXPECT_NEAR(PlaceValue(places[i]), full[i], 2.0 * (fullExploitability + std::fabs(subgameExploitability)))
          << places[i];
    }
  }

  static void BuildTurnSpot() {
    ExecuteCommand({"load_script", SourcePath("tests/protocol/data/tree_small_ranges.txt")});
    BuildSpot("Qs Jh 2h", "8d", "",
              {"0 0 0 0", "0 0 0 50 50", "0 0 50 50", "0 50 50 50 50", "50 50 50 50",
               "50 50 50 100 100"});
  }

  static void BuildFlopSpot() {
    ExecuteCommand({"load_script", SourcePath("tests/protocol/data/tree_small_ranges.txt")});
    BuildSpot("Qs Jh 2h", "", "",
              {"0 0 0 0 0 0", "0 0 0 0 0 50 50", "0 0 0 50 50 50 50", "0 0 50 50 50 50", "50 50 50 50 50 50"});
  }

  Bytes Dump() {
    Send("dump_tree " + path_);
    std::ifstream file(path_, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
  }

  static void Load(const Bytes& bytes) {
    TreeReader in(bytes.data(), bytes.size());
    LoadTreeFrom(in);
  }

  // The river subgame's accuracy: a hundredth of a chip in a pot of 100.
  ScopedValue<std::array<double, 3>> accuracy_{RecalcAccuracy, {0.01, 0.01, 0.01}};
  ScopedValue<bool> suppressOk_{SuppressOk, true};
  ScopedValue<RelaxedSetting<int>> oneThread_{ThreadCount, 1};
  std::string path_ = testing::TempDir() + "forget_test_" + std::to_string(getpid()) + ".tree";
};

TEST_F(ForgetTest, RiverSubgamesOfATurnTreeAreWorthWhatTheWholeTreeSaid) {
  BuildTurnSpot();
  const double exploitability = SolveTo(0.02);
  const std::vector<std::string> rivers = {"r:0:c:c:3s", "r:0:b50:c:Ah", "r:0:c:b50:c:7d"};
  const std::vector<double> full = PlaceValues(rivers);
  Send("forget rivers");
  ExpectSubgamesAgree(rivers, full, exploitability);
}

// Forgetting the turns after the rivers walks the flop only.
TEST_F(ForgetTest, RiverAndTurnSubgamesOfAFlopTreeAreWorthWhatTheWholeTreeSaid) {
  BuildFlopSpot();
  const double exploitability = SolveTo(0.02);
  const std::vector<std::string> rivers = {"r:0:c:c:8d:c:c:3s", "r:0:b50:c:Ah:b50:c:Kd"};
  const std::vector<std::string> turns = {"r:0:c:c:8d", "r:0:b50:c:Ah"};
  const std::vector<double> fullRivers = PlaceValues(rivers), fullTurns = PlaceValues(turns);
  Send("forget rivers");
  ExpectSubgamesAgree(rivers, fullRivers, exploitability);
  Send("forget turns");
  ExpectSubgamesAgree(turns, fullTurns, exploitability);
}

// Forgetting keeps the results of the time of the forget and, where each
// river begins, the arriving ranges at a total of 200; it drops every river
// store. A rebuild brings them back empty and the solver goes on.
TEST_F(ForgetTest, ForgetKeepsTheResultsAndTheArrivingRanges) {
  BuildFlopSpot();
  SolveTo(0.5);
  const ResultsRecord before = CalcResults(Context());
  Send("forget rivers");
  SolverContext& context = Context();
  EXPECT_EQ(context.forgottenStreet, 3);
  EXPECT_TRUE(context.flags & IncompleteTreeFlag);
  const ResultsRecord after = CalcResults(context);
  EXPECT_EQ(after.evOop, before.evOop);
  EXPECT_EQ(after.mesIp, before.mesIp);
  EXPECT_EQ(after.exploitability, before.exploitability);

  int records = 0;
  for (const TreeNode& node : context.nodes) {
    if (node.street == 3 && !node.IsEnd()) {
      EXPECT_EQ(node.store0, nullptr);
    }
    if (node.street != 3 || !node.chance) continue;
    for (int t = 0; t < int(context.boardTree->turns.size()); ++t) {
      const ChanceRecord& record = node.chance[size_t(t)];
      EXPECT_EQ(record.frozen, 1);
      for (int p = 0; p < 2; ++p) {
        if (!record.reachSumAbsent[p]) continue;
        double total = 0.0;
        for (int32_t h = 0; h < record.reachSum[p].count; ++h) total += record.reachSum[p].data[h];
        EXPECT_NEAR(total, 200.0, 1e-3);
        ++records;
      }
    }
  }
  EXPECT_GT(records, 0);

  // Again, and for the turn: the rivers stay forgotten below it.
  Send("forget rivers");
  EXPECT_EQ(context.forgottenStreet, 3);
  Send("forget turns");
  EXPECT_EQ(context.forgottenStreet, 2);
  Send("forget rivers");
  EXPECT_EQ(context.forgottenStreet, 2);
  EXPECT_EQ(CalcResults(context).exploitability, before.exploitability);

  const int iteration = context.iteration;
  Send("rebuild_forgotten_streets");
  EXPECT_FALSE(context.flags & IncompleteTreeFlag);
  for (const TreeNode& node : context.nodes)
    if (!node.IsEnd()) {
      EXPECT_NE(node.store0, nullptr);
    }
  Send("go 3 steps");
  Send("wait_for_solver");
  EXPECT_EQ(context.iteration, iteration + 3);
}

TEST_F(ForgetTest, SolvingAllSplitsLeavesNothingForgottenAndTheTreeAsGood) {
  BuildTurnSpot();
  const double exploitability = SolveTo(0.05);
  const int iteration = Context().iteration;
  Send("forget rivers");
  Send("solve_all_splits rivers");
  SolverContext& context = Context();
  EXPECT_EQ(context.forgottenStreet, -1);
  EXPECT_FALSE(context.flags & IncompleteTreeFlag);
  EXPECT_EQ(context.iteration, iteration);
  // Every river solved again as long as the tree was, against the ranges
  // that arrived: the whole game is within the accuracy it was solved to.
  EXPECT_LE(CalcResults(context).exploitability, exploitability + 0.05);
}

// The file of a forgotten tree holds no river rows; loaded, it answers a
// river query as the tree it came from did, and dumped again it is the same
// file.
TEST_F(ForgetTest, AForgottenTreeFileIsSmallAndAnswersAfterALoad) {
  BuildFlopSpot();
  SolveTo(0.1);
  const size_t fullSize = Dump().size();
  Send("forget rivers");
  const Bytes forgotten = Dump();
  EXPECT_LT(forgotten.size() * 5, fullSize);
  const std::string river = "r:0:c:c:8d:c:c:3s";
  const double explo = Resolve(river);
  const double value = PlaceValue(river);

  Load(forgotten);
  EXPECT_EQ(Context().forgottenStreet, 3);
  EXPECT_TRUE(Context().flags & IncompleteTreeFlag);
  // The first query solves the board, and says so in whole milliseconds
  // when asked to; a board solved before answers from its rows.
  ScopedValue<int> verbose(Verbosity, 1);
  testing::internal::CaptureStdout();
  PlaceValue(river);
  EXPECT_TRUE(std::regex_search(testing::internal::GetCapturedStdout(), std::regex(R"(\[SolveSubgame: [0-9]+ms\]\n)")));
  testing::internal::CaptureStdout();
  PlaceValue(river);
  EXPECT_EQ(testing::internal::GetCapturedStdout().find("SolveSubgame"), std::string::npos);
  // The file keeps the turn strategy in thousandths, so the arriving ranges
  // differ a little from those in memory.
  const double loadedExplo = Resolve(river);
  EXPECT_NEAR(PlaceValue(river), value, explo + loadedExplo + 0.02);
  EXPECT_EQ(Dump(), forgotten);
}

}  // namespace
