#include "analysis/strategy_read.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

#include "analysis/equity_pass.h"
#include "analysis/strategy_rows.h"
#include "setup/cards.h"
#include "setup/failure.h"
#include "storage/float_vec.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "solver/river_rows_guard.h"
#include "solver/strategy_rules.h"
#include "solver/subgame.h"
#include "solver/traversal.h"
#include "tree/client_combos.h"
#include "tree/node_board.h"
#include "tree/node_path.h"

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

void ReadAllStrategyRows(int nodeIndex, int turnCard, int riverCard, std::vector<std::vector<double>>& rows) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(nodeIndex)];
  const int actions = node.ActionCount();
  rows.assign(size_t(actions), std::vector<double>(HandCount, NaN));
  const DealIndexes deal = NodeDeal(context, node, turnCard, riverCard);
  if (!NodeDealComplete(node, deal) || actions == 0) return;
  if (!BringBackSubgame(context, node, deal.turn, deal.river, true) || !node.store0) return;

  std::lock_guard<std::mutex> passLock(PassMutex);
  const Pass pass = StartPass(context, TraversalMode::NodeQuery, node.player);
  const int32_t hands = int32_t(ListSize(context, deal));
  std::vector<FloatVec> read(static_cast<size_t>(actions));
  {
    RiverRowsGuard guard(context, node, deal.turn);
    // The average starts late; before it has anything, the regret-matched
    // strategy is the better answer.
    if (context.iteration < 63) {
      const FallbackRow fallback(actions, false);
      CurrentStrategy(node, deal.turn, deal.river, hands, fallback.data(), read.data());
    } else {
      AverageStrategy(context, pass, node, deal.turn, deal.river, hands, read.data());
    }
  }
  const std::vector<double>& setRange = context.comboWeights[size_t(node.player)];
  for (int a = 0; a < actions; ++a) {
    ListRowToClient(context, deal, read[size_t(a)].data, rows[size_t(a)].data());
    if (setRange.size() == size_t(HandCount))
      for (int c = 0; c < HandCount; ++c)
        if (setRange[size_t(c)] == 0.0) rows[size_t(a)][size_t(c)] = 0.0;
  }
  for (FloatVec& v : read) ReleaseVector(v);
}

void ReadStrategy(int nodeIndex, int action, int turnCard, int riverCard, double* out) {
  std::vector<std::vector<double>> rows;
  ReadAllStrategyRows(nodeIndex, turnCard, riverCard, rows);
  if (action < 0 || size_t(action) >= rows.size()) {
    std::fill(out, out + HandCount, NaN);
    return;
  }
  std::copy(rows[size_t(action)].begin(), rows[size_t(action)].end(), out);
}

void ReadLockVector(int nodeIndex, int turnCard, int riverCard, double* out) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(nodeIndex)];
  std::fill(out, out + HandCount, NaN);
  const DealIndexes deal = NodeDeal(context, node, turnCard, riverCard);
  if (!NodeDealComplete(node, deal)) return;
  if (!BringBackSubgame(context, node, deal.turn, deal.river, false) || !node.store0) return;
  std::lock_guard<std::mutex> passLock(PassMutex);
  const size_t hands = ListSize(context, deal);
  std::vector<float> row(hands, 0.0f);
  {
    RiverRowsGuard guard(context, node, deal.turn);
    const LockRecord* lock = node.store0->GetLockRecord(deal.turn, deal.river);
    if (lock && lock->handMask) {
      const size_t n = std::min(hands, size_t(std::max(lock->handMaskSize, 0)));
      for (size_t i = 0; i < n; ++i) row[i] = lock->handMask[i] ? 1.0f : 0.0f;
    }
  }
  ListRowToClient(context, deal, row.data(), out);
}

void RangeAtPath(int player, const std::string& pathText, double* out) {
  if (!TreeIsPresent()) FailCommand("missing/incorrect tree");
  const SolverContext& context = *GlobalContext;
  const std::vector<double>& built = context.comboWeights[size_t(player)];
  for (int c = 0; c < HandCount; ++c) out[c] = built.size() == size_t(HandCount) ? built[size_t(c)] : 0.0;
  if (pathText.empty()) return;
  const NodePath path = ParseBuiltPath(pathText);
  if (!PathHasItsBoard(path)) FailCommand("incorrect path");
  std::vector<double> row(HandCount);
  for (NodePath place = path; place.node;) {
    const NodePath parent = ParentPath(place);
    SchematicNode* above = parent.node;
    if (above && !above->IsEnd() && above->player == player && above != place.node) {
      int position = 0;
      bool found = false;
      for (const auto& [key, child] : above->children) {
        if (child.get() == place.node) {
          found = true;
          break;
        }
        ++position;
      }
      if (found) {
        ReadStrategy(above->index, position, parent.turn, parent.river, row.data());
        for (int c = 0; c < HandCount; ++c) out[c] *= row[size_t(c)];
      }
    }
    place = parent;
  }
  // A weight set above 1 stands for certainty, not more.
  for (int c = 0; c < HandCount; ++c) out[c] = std::min(out[c], 1.0);
}

double ReachShare(int player, const std::string& pathText) {
  std::vector<double> range(HandCount);
  RangeAtPath(player, pathText, range.data());
  const std::vector<double>& built = GlobalContext->comboWeights[size_t(player)];
  double reached = 0.0, whole = 0.0;
  for (int c = 0; c < HandCount; ++c) {
    if (std::isnan(range[size_t(c)])) continue;
    reached += range[size_t(c)];
    whole += built.size() == size_t(HandCount) ? built[size_t(c)] : 0.0;
  }
  return reached / whole;
}

std::vector<int> HandRanking(const NodePath& path) {
  const int player = path.node ? path.node->player : 0;
  std::vector<double> ones(HandCount, 1.0), equity(HandCount), matchups(HandCount);
  EquityPass(*GlobalContext, player, path.turn, path.river, ones.data(), ones.data(), equity.data(),
             matchups.data());
  std::vector<int> positions;
  for (int p = 0; p < HandCount; ++p)
    if (!std::isnan(equity[HandOrderToCombo[size_t(p)]])) positions.push_back(p);
  std::stable_sort(positions.begin(), positions.end(), [&](int a, int b) {
    return equity[HandOrderToCombo[size_t(a)]] > equity[HandOrderToCombo[size_t(b)]];
  });
  return positions;
}
