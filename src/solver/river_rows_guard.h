// RiverRowsGuard: the river rows of one dealt turn, readable and writable
// outside a pass.
//
// A flop tree's river stores may keep their rows in compressed blocks; a
// pass decodes a turn's rows when it deals that turn and encodes them
// again when it leaves. A command that reads or writes river rows outside
// a pass (a query, a lock, a written strategy) does the same here, and
// nowhere else: both stores of every node of the river subtree are open
// while the guard lives. The guard also holds the turn's deal mutex,
// second in the lock order of solver_locks.h: the caller holds the pass
// mutex already, and on a tree without deal mutexes (a river tree) that
// pass mutex is the only guard there is.
#pragma once

#include <mutex>

struct SolverContext;
struct TreeNode;

class RiverRowsGuard {
 public:
  // node is any node of the river subtree wanted, turn a tree turn index.
  // Does nothing off street 3 or without a turn.
  RiverRowsGuard(SolverContext& context, TreeNode& node, int turn);
  ~RiverRowsGuard() { Close(false); }
  RiverRowsGuard(const RiverRowsGuard&) = delete;
  RiverRowsGuard& operator=(const RiverRowsGuard&) = delete;
  // With write every row goes back to the store; without it the store
  // decides, as after a read. Releases the deal mutex; later calls do
  // nothing.
  void Close(bool write);

 private:
  SolverContext& context_;
  int turn_;
  std::mutex* mutex_ = nullptr;
  TreeNode* riverTop_ = nullptr;
};
