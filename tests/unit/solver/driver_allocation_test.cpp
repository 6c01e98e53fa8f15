// A store that can't get its memory makes go answer "out of memory"; the
// solver stays idle, the memory the attempt took goes back, and the tree
// goes on answering.
#include <gtest/gtest.h>

#include "shell/command_error.h"
#include "shell/shell_state.h"
#include "solver/solver_commands.h"
#include "solver/solver_control.h"
#include "solver/solver_driver.h"
#include "../storage/store_test_util.h"
#include "solver_test_util.h"
#include "shell/tree_lifecycle.h"
#include "tree/tree_build.h"

namespace {

class DriverAllocationTest : public SolverFixture {};

TEST_F(DriverAllocationTest, GoAnswersOutOfMemoryAndTheTreeStaysUsable) {
  SetBoard("Qs Jh 2h", "8d", "3c");
  SetRanges([](int, int combo) { return combo % 3 == 0 ? 1.0 : 0.0; });
  AddLines({"0 0", "0 50 50", "50 50"});
  BuildTreeFromSetUp();
  SolverContext& context = Context();
  // The last decision's regrets can't get memory; everything else can. The
  // root has its memory already, as after set_strategy.
  int starved = -1;
  for (size_t i = 0; i < context.nodes.size(); ++i)
    if (!context.nodes[i].IsEnd()) starved = int(i);
  ASSERT_GT(starved, 1);
  TreeNode& last = context.nodes[size_t(starved)];
  last.store0 = std::make_unique<StandInStore>(last.ActionCount(), int(context.boardTree->turns[0].rivers[0].hands.size()), false);
  ASSERT_TRUE(AllocateNodeStores(context.nodes[0]));

  CurrentCommand = "go";
  try {
    CmdGo({"go", "5", "steps"});
    ADD_FAILURE() << "go started without memory";
  } catch (const CommandError& error) {
    EXPECT_STREQ(error.what(), "ERROR: go out of memory\n");
  }
  EXPECT_FALSE(SolverIsRunning());
  EXPECT_EQ(context.iteration, 0);
  EXPECT_FALSE(context.storesReady);
  for (size_t i = 1; i < context.nodes.size(); ++i) EXPECT_FALSE(context.nodes[i].storesAllocated) << i;
  EXPECT_TRUE(context.nodes[0].storesAllocated);

  // calc_results ignores the failure: the starved node plays its default.
  ResultsRecord record = CalcResults(context);
  EXPECT_NEAR(record.evOop + record.evIp, 0.0, 1e-4);
  EXPECT_GE(record.exploitability, -1e-4);

  // With memory back, the same tree solves.
  BuildTreeFromSetUp();
  CurrentCommand = "go";
  CmdGo({"go", "3", "steps"});
  WaitForSolver();
  EXPECT_EQ(Context().iteration, 3);  // a step limit counts from where the run starts
}

}  // namespace
