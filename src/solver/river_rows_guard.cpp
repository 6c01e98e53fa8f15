#include "solver/river_rows_guard.h"

#include "storage/strategy_store.h"
#include "tree/solver_context.h"
#include "tree/tree_walk.h"

RiverRowsGuard::RiverRowsGuard(SolverContext& context, TreeNode& node, int turn) : context_(context), turn_(turn) {
  if (node.street != 3 || turn < 0) return;
  // The deal mutexes sit on the first node of the turn subtree.
  TreeNode* turnTop = &node;
  while (turnTop->parent >= 0 && context.nodes[size_t(turnTop->parent)].street >= 2)
    turnTop = &context.nodes[size_t(turnTop->parent)];
  if (turnTop->dealMutexes) {
    mutex_ = &turnTop->dealMutexes[size_t(turn)];
    mutex_->lock();
  }
  // Every river row below the turn's deal is in the subtree of the first
  // river node.
  riverTop_ = &node;
  while (riverTop_->parent >= 0 && context.nodes[size_t(riverTop_->parent)].street == 3)
    riverTop_ = &context.nodes[size_t(riverTop_->parent)];
  ForSubtreeStores(context, *riverTop_,
                   [turn](StrategyStore& store) { store.OpenGroup(nullptr, turn, store.EntryCount(turn)); });
}

void RiverRowsGuard::Close(bool write) {
  if (riverTop_) {
    const int turn = turn_;
    ForSubtreeStores(context_, *riverTop_,
                     [turn, write](StrategyStore& store) { store.CloseGroup(nullptr, turn, write); });
    riverTop_ = nullptr;
  }
  if (mutex_) mutex_->unlock();
  mutex_ = nullptr;
}
