#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "reference_river_game.h"
#include "solver_test_util.h"
#include "shell/execute.h"
#include "solver/river_rows_guard.h"
#include "tree/node_path.h"

namespace {

// A command line with 1326 numbers in public hand order.
Tokens HandCommand(std::vector<std::string> head, double value) {
  for (int p = 0; p < HandCount; ++p) head.push_back(value == 0.0 ? "0" : "1");
  return head;
}

}  // namespace

class LocksTest : public SolverFixture {};

// OOP is made to bet every hand at the root, through the commands a client
// sends. IP's best answer to that is fixed whatever IP plays, so the
// brute-force reference gives it exactly before any iteration; after the
// solve IP plays it (its value reaches the best response) and, with OOP
// unable to deviate, nothing is left to exploit.
TEST_F(LocksTest, LockedAlwaysBetIsAnsweredByTheBestResponse) {
  SetRanges(ReferenceGameRanges);
  SetBoard("Qs Jh 2h", "8d", "3c");
  AddLines({"0 0", "0 50 50", "50 50"});
  BuildTreeFromSetUp();
  AllocateStores();
  SolverContext& c = Context();
  const TreeNode& root = c.nodes[0];
  ASSERT_EQ(root.player, 0);
  ASSERT_EQ(root.ActionCount(), 2);
  const int betChild = ParsePath("r:0:b50").node->index;
  const int betAction = root.children[0] == betChild ? 0 : 1;
  ASSERT_EQ(root.children[size_t(betAction)], betChild);

  ExecuteCommand(HandCommand({"set_strategy", "r:0", std::to_string(betAction)}, 1.0));
  ExecuteCommand(HandCommand({"set_strategy", "r:0", std::to_string(1 - betAction)}, 0.0));
  ExecuteCommand({"lock_node", "r:0"});
  FlushReply();
  ASSERT_EQ(root.store0->GetLockRecord(c.rootTurn, c.rootRiver)->flags, LockedFlag);

  const std::vector<double> ranges[2] = {Ranges[0], Ranges[1]};
  const ReferenceRiverGame game(c, ParseCards("Qs Jh 2h 8d 3c"), ranges);
  ReferenceRiverGame::Profile locked = game.Uniform();
  for (size_t i = 0; i < game.Combos(0).size(); ++i) {
    locked[0][i * 2 + size_t(betAction)] = 1.0;
    locked[0][i * 2 + size_t(1 - betAction)] = 0.0;
  }
  const ReferenceRiverGame::Result ref = game.Evaluate(locked);

  Measurement m = Measure();
  EXPECT_NEAR(m.mesIp, ref.mesIp, 1e-4);
  EXPECT_NEAR(m.evOop, ref.evOop, 1e-4);  // IP still uniform, as in the reference profile
  EXPECT_GT(m.mesIp - m.evIp, 1.0);

  Iterate(300);
  m = Measure();
  EXPECT_NEAR(m.mesIp, ref.mesIp, 1e-4);
  EXPECT_NEAR(m.evIp, ref.mesIp, 0.002 * 100.0);
  // OOP's best response keeps to the locked play.
  EXPECT_NEAR(m.mesOop, m.evOop, 1e-4);
  EXPECT_LT(m.Exploitability(), 0.001 * 100.0);
  EXPECT_GE(m.Exploitability(), -1e-4);
}

// Hand locks through the command: only hands with a non-zero number are
// masked, in both stores, and a path that names no decision changes
// nothing. How a whole-node lock replaces a hand lock shows in solver_locks.
TEST_F(LocksTest, ComboLockMasksExactlyTheGivenHands) {
  SetRanges([](int, int combo) { return ClassWeight(combo, {{"AK", 1.0}, {"76", 1.0}}); });
  SetBoard("Qs Jh 2h", "8d", "3c");
  AddLines({"0 0", "50 50"});
  BuildTreeFromSetUp();
  AllocateStores();
  SolverContext& c = Context();
  Tokens command = HandCommand({"combo_lock_node", "r:0"}, 0.0);
  const int ak = ComboOf(ParseCards("Ac Kd"));
  command[size_t(2 + ComboToHandOrder[size_t(ak)])] = "-0.5";
  ExecuteCommand(command);
  ExecuteCommand({"lock_node", "r:0:c:c"});
  FlushReply();

  LockRecord* lock = c.nodes[0].store0->GetLockRecord(c.rootTurn, c.rootRiver);
  const BoardNode& list = c.boardTree->turns[size_t(c.rootTurn)].rivers[size_t(c.rootRiver)];
  ASSERT_EQ(lock->flags, ComboLockedFlag);
  ASSERT_EQ(lock->handMaskSize, list.HandCount());
  const int hand = list.comboToHand[size_t(ak)];
  for (int h = 0; h < lock->handMaskSize; ++h) EXPECT_EQ(lock->handMask[size_t(h)], h == hand ? 1 : 0) << h;
  EXPECT_EQ(c.nodes[0].store1->GetLockRecord(c.rootTurn, c.rootRiver)->flags, ComboLockedFlag);
}

// River rows opened outside a pass hold the dealt turn's deal mutex, so a
// turn job can't write them under the reader, and give it back on close.
TEST_F(LocksTest, RiverRowsGuardHoldsTheTurnsDealMutex) {
  SetRanges([](int, int combo) { return ClassWeight(combo, {{"AK", 1.0}, {"76", 1.0}}); });
  SetBoard("Qs Jh 2h");
  AddLines({"0 0 0 0 0 0"});
  BuildTreeFromSetUp();
  AllocateStores();
  SolverContext& c = Context();
  TreeNode* river = nullptr;
  std::mutex* dealMutexes = nullptr;
  for (TreeNode& node : c.nodes) {
    if (node.dealMutexes) dealMutexes = node.dealMutexes.get();
    if (!river && node.street == 3 && node.kind == DecisionNode) river = &node;
  }
  ASSERT_NE(river, nullptr);
  ASSERT_NE(dealMutexes, nullptr);
  // try_lock from another thread: the guard's own thread may not ask.
  auto isFree = [](std::mutex& m) {
    bool free = false;
    std::thread([&] {
      free = m.try_lock();
      if (free) m.unlock();
    }).join();
    return free;
  };
  const int turn = 3;
  RiverRowsGuard rows(c, *river, turn);
  EXPECT_FALSE(isFree(dealMutexes[turn]));
  EXPECT_TRUE(isFree(dealMutexes[turn + 1]));
  rows.Close(false);
  EXPECT_TRUE(isFree(dealMutexes[turn]));
}
