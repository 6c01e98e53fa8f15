#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "setup/settings.h"
#include "shell/execute.h"
#include "solver/strategy_rules.h"
#include "solver_test_util.h"

namespace {

double AllCombos(int, int) { return 1.0; }

}  // namespace

class PrecisionSettingsTest : public SolverFixture {
 protected:
  static void Build(const char* turn, const char* river, const std::vector<const char*>& lines) {
    SetRanges(AllCombos);
    BuildSpot("Qs Jh 2h", turn, river, lines);
  }

 private:
  ScopedValue<RelaxedSetting<double>> precision_{PrecisionExponent};
  ScopedValue<RelaxedSetting<bool>> riverStrategy_{RiverStrategyOn};
};

// The regret scale is 2^p * 125 / the largest payoff, fixed when the
// stores are made: a later set_precision waits for the next build. With a
// 100 pot and a 50 bet the largest payoff is the called bet's 100.
TEST_F(PrecisionSettingsTest, PrecisionTakesEffectAtTheNextBuild) {
  ExecuteCommand({"set_precision", "0"});
  Build("8d", "3c", {"0 0", "50 50"});
  EXPECT_DOUBLE_EQ(Context().maxPayoff, 100.0);
  EXPECT_DOUBLE_EQ(Context().regretScale, 1.25);
  ExecuteCommand({"set_precision", "2"});
  FlushReply();
  EXPECT_DOUBLE_EQ(Context().regretScale, 1.25);
  Build("8d", "3c", {"0 0", "50 50"});
  EXPECT_DOUBLE_EQ(Context().regretScale, 5.0);
}

// Without river strategy sums the river nodes get no second store, flop
// and turn nodes keep theirs, and the average play on the river, which
// the queries show, is the current one.
TEST_F(PrecisionSettingsTest, RiverStrategyOffKeepsNoRiverSums) {
  ExecuteCommand({"enable_river_strategy", "0"});
  FlushReply();
  Build("8d", "", {"0 0 0 0", "0 0 50 50", "50 50 0 0", "50 50 50 50"});
  AllocateStores();
  int riverNodes = 0;
  for (const TreeNode& node : Context().nodes) {
    if (node.IsEnd()) continue;
    EXPECT_EQ(node.store1 == nullptr, node.street == 3) << "street " << node.street;
    riverNodes += node.street == 3;
  }
  ASSERT_GT(riverNodes, 0);
  // Past the start of averaging (iteration 61), where a river sum would
  // make the average differ from the current play.
  Iterate(66);
  SolverContext& c = Context();
  const BoardNode& turn = c.boardTree->turns[size_t(c.rootTurn)];
  const Pass pass = StartPass(c, TraversalMode::NodeQuery, 0);
  for (TreeNode& node : c.nodes) {
    if (node.IsEnd() || node.street != 3) continue;
    const int actions = node.ActionCount();
    const FallbackRow uniform(actions, false);
    for (int r = 0; r < int(turn.rivers.size()); r += 7) {
      const int hands = turn.rivers[size_t(r)].HandCount();
      std::vector<FloatVec> average(static_cast<size_t>(actions)), current(static_cast<size_t>(actions));
      AverageStrategy(c, pass, node, c.rootTurn, r, hands, average.data());
      CurrentStrategy(node, c.rootTurn, r, hands, uniform.data(), current.data());
      for (int a = 0; a < actions; ++a)
        for (int h = 0; h < hands; ++h)
          ASSERT_EQ(average[size_t(a)].data[h], current[size_t(a)].data[h]) << "river " << r << " action " << a;
    }
  }
}
