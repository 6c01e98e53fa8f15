// Fixing a player's play at a node: whole-node locks, hand locks and
// written strategy rows.
//
// A fixed strategy is not a separate structure: the wanted frequencies are
// written into the node's regret rows, which regret matching reads back
// like any other, and a lock keeps the passes from changing them. Cards
// are the client's (-1 for none) and vectors are 1326 doubles by
// ComboIndex in the client's suits; everything is mapped to the tree's
// canonical suits and board entries here. Callers hold PassMutex, so flop
// and turn rows never change under a running pass; river rows also take
// the turn's deal mutex through OpenRiverRows.
#pragma once

#include <mutex>

struct SolverContext;
struct TreeNode;

// Rows of a river node readable and writable for one dealt turn. Holds the
// turn's deal mutex (none on a tree without the table: the caller's pass
// mutex guards it there). Does nothing off street 3 or without a turn.
class OpenRiverRows {
 public:
  OpenRiverRows(SolverContext& context, TreeNode& node, int turn);
  ~OpenRiverRows() { Close(false); }
  OpenRiverRows(const OpenRiverRows&) = delete;
  OpenRiverRows& operator=(const OpenRiverRows&) = delete;
  // CloseRiverRows: with write every row goes back to the store, without
  // it the store decides. Later calls do nothing.
  void Close(bool write);

 private:
  SolverContext& context_;
  int turn_;
  std::mutex* mutex_ = nullptr;
  TreeNode* riverTop_ = nullptr;
};

// False (and nothing done) when the cards don't name one board the node
// has rows for.
bool SetNodeLock(int nodeIndex, int turnCard, int riverCard, bool lock);
// Writes values (times 1000) as the regret row of the action; with the
// strategy sums running, that action's sums are wiped so the average too
// shows the written play.
bool SetStrategyRow(int nodeIndex, int action, int turnCard, int riverCard, const double* values);
// Hands with a non-zero value are locked, the others free.
bool SetComboLock(int nodeIndex, int turnCard, int riverCard, const double* values);
