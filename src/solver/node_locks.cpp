#include "solver/node_locks.h"

#include <algorithm>
#include <vector>

#include "analysis/deal_indexes.h"
#include "analysis/tree_walk.h"
#include "setup/cards.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "tree/board_tree.h"
#include "tree/isomorphism.h"

namespace {

struct NodeBoard {
  DealIndexes deal;
  bool valid = false;
};

// A flop node has the root list whatever cards follow; a node below the
// root street's fixed cards uses them.
NodeBoard FindNodeBoard(const SolverContext& context, const TreeNode& node, int turnCard, int riverCard) {
  NodeBoard board;
  board.deal = FindDeal(context, node.street >= 2 ? turnCard : -1, node.street >= 3 ? riverCard : -1);
  if (context.rootTurn >= 0) board.deal.turn = context.rootTurn;
  if (context.rootRiver >= 0) board.deal.river = context.rootRiver;
  board.valid = !board.deal.unknownCard && !(node.street >= 2 && board.deal.turn < 0) &&
                !(node.street >= 3 && board.deal.river < 0) && node.store0 != nullptr;
  return board;
}

// row[hand] := value of the hand's combo, in the tree's suits.
std::vector<float> GatherRow(const SolverContext& context, const DealIndexes& deal, const double* values) {
  std::vector<double> canonical(values, values + HandCount);
  if (context.flags & IsomorphismOnFlag)
    PermuteRange(context.clientFlop, deal.turnMask, deal.riverMask, canonical.data(), values);
  const BoardNode* list = DealListNode(context, deal);
  const std::vector<uint16_t>& comboToHand = list ? list->comboToHand : context.boardTree->comboToHand;
  const size_t hands = list ? list->handCards.size() : context.boardTree->handCards.size();
  std::vector<float> row(hands, 0.0f);
  for (int c = 0; c < HandCount; ++c) {
    const size_t h = comboToHand[size_t(c)];
    if (h < hands) row[h] = float(canonical[size_t(c)]);
  }
  return row;
}

void ClearComboLock(LockRecord& record) {
  record.flags &= ~ComboLockedFlag;
  record.handMask.reset();
  record.handMaskSize = 0;
}

}  // namespace

OpenRiverRows::OpenRiverRows(SolverContext& context, TreeNode& node, int turn) : context_(context), turn_(turn) {
  if (node.street != 3 || turn < 0) return;
  TreeNode* top = &node;
  while (top->parent >= 0 && context.nodes[size_t(top->parent)].street >= 2) top = &context.nodes[size_t(top->parent)];
  if (top->dealMutexes) {
    mutex_ = &top->dealMutexes[size_t(turn)];
    mutex_->lock();
  }
  riverTop_ = &node;
  while (riverTop_->parent >= 0 && context.nodes[size_t(riverTop_->parent)].street == 3)
    riverTop_ = &context.nodes[size_t(riverTop_->parent)];
  ForSubtreeStores(context, *riverTop_,
                   [turn](StrategyStore& store) { store.OpenGroup(nullptr, turn, store.EntryCount(turn)); });
}

void OpenRiverRows::Close(bool write) {
  if (riverTop_) {
    const int turn = turn_;
    ForSubtreeStores(context_, *riverTop_,
                     [turn, write](StrategyStore& store) { store.CloseGroup(nullptr, turn, write); });
    riverTop_ = nullptr;
  }
  if (mutex_) mutex_->unlock();
  mutex_ = nullptr;
}

bool SetNodeLock(int nodeIndex, int turnCard, int riverCard, bool lock) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(nodeIndex)];
  const NodeBoard board = FindNodeBoard(context, node, turnCard, riverCard);
  if (!board.valid) return false;
  OpenRiverRows rows(context, node, board.deal.turn);
  for (StrategyStore* store : {node.store0.get(), node.store1.get()}) {
    if (!store) continue;
    LockRecord* record = store->GetLockRecord(board.deal.turn, board.deal.river);
    if (!record) continue;
    if (record->flags & ComboLockedFlag) ClearComboLock(*record);
    if (lock)
      record->flags |= LockedFlag;
    else
      record->flags &= ~LockedFlag;
  }
  return true;
}

bool SetStrategyRow(int nodeIndex, int action, int turnCard, int riverCard, const double* values) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(nodeIndex)];
  const NodeBoard board = FindNodeBoard(context, node, turnCard, riverCard);
  if (!board.valid || action < 0 || action >= node.ActionCount()) return false;
  std::vector<float> row = GatherRow(context, board.deal, values);
  for (float& v : row) v *= 1000.0f;
  const bool sumsActive = context.averaging != 0 && (context.averaging != 1 || context.iteration > 60);
  OpenRiverRows rows(context, node, board.deal.turn);
  node.store0->SetRow(board.deal.turn, board.deal.river, action, row.data());
  if (sumsActive && node.store1) {
    std::fill(row.begin(), row.end(), 0.0f);
    node.store1->SetRow(board.deal.turn, board.deal.river, action, row.data());
  }
  // Always written back: a compressed store left to its own rule could
  // drop the rows just set.
  rows.Close(true);
  return true;
}

bool SetComboLock(int nodeIndex, int turnCard, int riverCard, const double* values) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(nodeIndex)];
  const NodeBoard board = FindNodeBoard(context, node, turnCard, riverCard);
  if (!board.valid) return false;
  const std::vector<float> row = GatherRow(context, board.deal, values);
  OpenRiverRows rows(context, node, board.deal.turn);
  for (StrategyStore* store : {node.store0.get(), node.store1.get()}) {
    if (!store) continue;
    LockRecord* record = store->GetLockRecord(board.deal.turn, board.deal.river);
    if (!record) continue;
    record->flags &= ~LockedFlag;
    record->flags |= ComboLockedFlag;
    if (!record->handMask || record->handMaskSize != int32_t(row.size()))
      record->handMask = std::make_unique<uint8_t[]>(row.size());
    record->handMaskSize = int32_t(row.size());
    for (size_t i = 0; i < row.size(); ++i) record->handMask[i] = row[i] != 0.0f ? 1 : 0;
  }
  rows.Close(false);
  return true;
}
