#include "analysis/line_weight.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <optional>

#include "analysis/reach_walk.h"
#include "eval/runout_counts.h"
#include "setup/cards.h"
#include "setup/compatible_weight.h"
#include "setup/settings.h"
#include "solver/river_rows_guard.h"
#include "solver/solver_control.h"
#include "solver/strategy_rules.h"
#include "solver/pass.h"
#include "solver/subgame.h"
#include "solver/traversal.h"
#include "tree/client_combos.h"
#include "tree/deal_indexes.h"
#include "tree/node_board.h"
#include "tree/solver_context.h"
#include "tree/tree_walk.h"

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

// The deepest node whose rows the walk reads, the target's parent (the
// target's own rows are not read): on the river, its guard opens every
// river row the walk reads.
TreeNode* LastDecisionRead(SolverContext& context, const std::vector<int>& line) {
  return line.size() >= 2 ? &context.nodes[size_t(line[line.size() - 2])] : nullptr;
}

// The weight of each hand, with the pass mutex held and the river rows
// open.
void ComputeLineWeight(SolverContext& context, const Pass& pass, const std::vector<int>& line, int turnCard,
                       int riverCard, double* out) {
  std::fill(out, out + HandCount, NaN);
  const DealIndexes deal = FindDeal(context, turnCard, riverCard);
  if (deal.unknownCard) return;
  const LineReach walk = WalkReach(context, pass, line, deal.turn, deal.river);
  if (!walk.complete) return;

  // The first player's reach times the second's weight it can meet, times
  // the runouts to come, on the list the walk ended on.
  DealIndexes reached = deal;
  reached.turn = walk.turn;
  reached.river = walk.river;
  const BoardNode* list = DealListNode(context, reached);
  const std::vector<uint16_t>& handCards = list ? list->handCards : context.boardTree->handCards;
  const int32_t hands = int32_t(handCards.size());
  const std::vector<float>& a = walk.reach[0];
  const std::vector<float>& b = walk.reach[1];
  CompatibleWeight second;
  for (int32_t j = 0; j < hands; ++j) second.Add(handCards[size_t(j)], double(b[size_t(j)]));
  const double runouts = RunoutCount(walk.turn, walk.river);
  std::vector<float> weights(size_t(hands), 0.0f);
  for (int32_t i = 0; i < hands; ++i) {
    const double compatible = second.Of(handCards[size_t(i)], double(b[size_t(i)]));
    weights[size_t(i)] = float(runouts * a[size_t(i)] * compatible);
  }

  ListRowToClient(context, reached, weights.data(), out);
  const std::vector<double>& setRange = context.comboWeights[0];
  if (!setRange.empty())
    for (int c = 0; c < HandCount; ++c)
      if (setRange[size_t(c)] == 0.0) out[c] = NaN;
}

double TotalOf(const double* weights) {
  double total = 0.0;
  for (int c = 0; c < HandCount; ++c)
    if (!std::isnan(weights[c])) total += weights[c];
  return total;
}

}  // namespace

void LineWeight(int nodeIndex, int turnCard, int riverCard, double* out) {
  SolverContext& context = *GlobalContext;
  const std::vector<int> line = LineFromRoot(context, nodeIndex);
  TreeNode* read = LastDecisionRead(context, line);
  if (read) {
    // The last strategy read on the way may lie on a forgotten board.
    const DealIndexes deal = NodeDeal(context, *read, turnCard, riverCard);
    if (NodeDealComplete(*read, deal) && !BringBackSubgame(context, *read, deal.turn, deal.river, true)) {
      std::fill(out, out + HandCount, NaN);
      return;
    }
  }
  std::lock_guard<std::mutex> passLock(PassMutex);
  const Pass pass = StartPass(context, TraversalMode::NodeQuery, 0);
  std::optional<RiverRowsGuard> rows;
  if (read) rows.emplace(context, *read, FindDeal(context, turnCard, riverCard).turn);
  ComputeLineWeight(context, pass, line, turnCard, riverCard, out);
}

double LineWeightTotal(int nodeIndex, int turnCard, int riverCard) {
  double weights[HandCount];
  LineWeight(nodeIndex, turnCard, riverCard, weights);
  return TotalOf(weights);
}

double LineWeightTotalOverDeals(int nodeIndex, const std::vector<TurnGroup>& groups) {
  SolverContext& context = *GlobalContext;
  const std::vector<int> line = LineFromRoot(context, nodeIndex);
  TreeNode* read = LastDecisionRead(context, line);
  std::lock_guard<std::mutex> passLock(PassMutex);
  const Pass pass = StartPass(context, TraversalMode::NodeQuery, 0);
  const int threads = SolverThreadCount();
  double total = 0.0;
  std::vector<double> slots;
  for (const TurnGroup& group : groups) {
    if (group.rivers.empty()) continue;
    std::optional<RiverRowsGuard> rows;
    if (read) rows.emplace(context, *read, FindDeal(context, group.turn, group.rivers.front()).turn);
    const int count = int(group.rivers.size());
    slots.assign(size_t(count), 0.0);
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
    for (int i = 0; i < count; ++i) {
      double weights[HandCount];
      ComputeLineWeight(context, pass, line, group.turn, group.rivers[size_t(i)], weights);
      slots[size_t(i)] = TotalOf(weights);
    }
    rows.reset();
    for (double slot : slots) total += slot;
  }
  return total;
}
