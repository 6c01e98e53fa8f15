#include "solver/river_rows_guard.h"

#include "solver/river_chains.h"
#include "tree/solver_context.h"

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
  // The rows of this line's rivers are those of the subtree of its first
  // river node; other lines of the turn have blocks of their own.
  riverTop_ = &node;
  while (riverTop_->parent >= 0 && context.nodes[size_t(riverTop_->parent)].street == 3)
    riverTop_ = &context.nodes[size_t(riverTop_->parent)];
  OpenRiverChains(context, *riverTop_, turn, {false, -1});
  OpenRiverChains(context, *riverTop_, turn, {true, -1});
}

void RiverRowsGuard::Close(bool write) {
  if (riverTop_) {
    const bool writes[2] = {write, write};
    CloseRiverChains(context_, *riverTop_, turn_, {false, -1}, writes);
    CloseRiverChains(context_, *riverTop_, turn_, {true, -1}, writes);
    riverTop_ = nullptr;
  }
  if (mutex_) mutex_->unlock();
  mutex_ = nullptr;
}
