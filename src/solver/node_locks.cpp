#include "solver/node_locks.h"

#include <algorithm>
#include <vector>

#include "setup/cards.h"
#include "solver/river_rows_guard.h"
#include "solver/solver_control.h"
#include "tree/client_combos.h"
#include "tree/node_board.h"
#include "tree/solver_context.h"

namespace {

void ClearComboLock(LockRecord& record) {
  record.flags &= ~ComboLockedFlag;
  record.handMask.reset();
  record.handMaskSize = 0;
}

}  // namespace

bool SetNodeLock(int nodeIndex, int turnCard, int riverCard, bool lock) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(nodeIndex)];
  const DealIndexes deal = NodeDeal(context, node, turnCard, riverCard);
  if (!NodeDealComplete(node, deal) || !node.store0) return false;
  RiverRowsGuard rows(context, node, deal.turn);
  for (StrategyStore* store : {node.store0.get(), node.store1.get()}) {
    if (!store) continue;
    LockRecord* record = store->GetLockRecord(deal.turn, deal.river);
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
  const DealIndexes deal = NodeDeal(context, node, turnCard, riverCard);
  if (!NodeDealComplete(node, deal) || !node.store0 || action < 0 || action >= node.ActionCount()) return false;
  std::vector<float> row = ListRowFromClient(context, deal, values);
  for (float& v : row) v *= 1000.0f;
  const bool sumsActive = context.averaging != 0 && (context.averaging != 1 || context.iteration > 60);
  RiverRowsGuard rows(context, node, deal.turn);
  node.store0->SetRow(deal.turn, deal.river, action, row.data());
  if (sumsActive && node.store1) {
    std::fill(row.begin(), row.end(), 0.0f);
    node.store1->SetRow(deal.turn, deal.river, action, row.data());
  }
  // Always written back: a compressed store left to its own rule could
  // drop the rows just set.
  rows.Close(true);
  return true;
}

bool SetComboLock(int nodeIndex, int turnCard, int riverCard, const double* values) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(nodeIndex)];
  const DealIndexes deal = NodeDeal(context, node, turnCard, riverCard);
  if (!NodeDealComplete(node, deal) || !node.store0) return false;
  const std::vector<float> row = ListRowFromClient(context, deal, values);
  RiverRowsGuard rows(context, node, deal.turn);
  for (StrategyStore* store : {node.store0.get(), node.store1.get()}) {
    if (!store) continue;
    LockRecord* record = store->GetLockRecord(deal.turn, deal.river);
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
