#include "analysis/line_weight.h"
#include "analysis/tree_walk.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

#include "analysis/deal_indexes.h"
#include "eval/rule_settings.h"
#include "setup/cards.h"
#include "setup/settings.h"
#include "storage/float_vec.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "solver/strategy_rules.h"
#include "solver/traversal.h"
#include "tree/isomorphism.h"

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

// The highest river decision above the target, whose subtree holds every
// river row the walk reads; -1 if the walk reads none.
int FirstRiverDecision(const SolverContext& context, const std::vector<int>& line) {
  for (size_t k = 0; k + 1 < line.size(); ++k)
    if (context.nodes[size_t(line[k])].street == 3) return line[k];
  return -1;
}

// Compressed river rows are unpacked per turn. A query reads them under
// the pass mutex, which keeps every pass out, so no deal mutex is needed,
// and it writes nothing back.
void OpenTurnRows(SolverContext& context, int riverTop, int turn) {
  if (riverTop < 0 || turn < 0) return;
  ForSubtreeStores(context, context.nodes[size_t(riverTop)],
                   [turn](StrategyStore& store) { store.OpenGroup(nullptr, turn, store.EntryCount(turn)); });
}
void CloseTurnRows(SolverContext& context, int riverTop, int turn) {
  if (riverTop < 0 || turn < 0) return;
  ForSubtreeStores(context, context.nodes[size_t(riverTop)],
                   [turn](StrategyStore& store) { store.CloseGroup(nullptr, turn, false); });
}

void GatherInto(std::vector<float>& reach, const std::vector<uint16_t>& index) {
  std::vector<float> gathered(index.size());
  for (size_t i = 0; i < index.size(); ++i) gathered[i] = reach[index[i]];
  reach.swap(gathered);
}

// Steps 2 to 6 with the pass mutex held and the river rows open.
void ComputeLineWeight(SolverContext& context, const Pass& pass, const std::vector<int>& line, int turnCard,
                       int riverCard, double* out) {
  std::fill(out, out + HandCount, NaN);
  const DealIndexes deal = FindDeal(context, turnCard, riverCard);
  if (deal.unknownCard) return;
  const BoardTree& boards = *context.boardTree;

  // The reach walk: root weights as they stand, each decision multiplies
  // its player's reach by the average strategy of the action taken, and
  // the first node of a street takes the reach onto the dealt board.
  std::vector<float> reach[2] = {context.rootWeights[0], context.rootWeights[1]};
  int turn = context.rootTurn, river = context.rootRiver;
  std::vector<FloatVec> rows;
  for (size_t k = 0; k < line.size(); ++k) {
    TreeNode& node = context.nodes[size_t(line[k])];
    if (node.street >= 2 && turn < 0 && deal.turn >= 0) {
      turn = deal.turn;
      for (auto& r : reach) GatherInto(r, boards.turns[size_t(turn)].parentIndex[0]);
    }
    if (node.street == 3 && river < 0 && deal.river >= 0 && turn >= 0) {
      river = deal.river;
      for (auto& r : reach) GatherInto(r, boards.turns[size_t(turn)].rivers[size_t(river)].parentIndex[0]);
    }
    if (k + 1 == line.size()) break;
    // A decision on a street whose card is missing has no row to read.
    if ((node.street >= 2 && turn < 0) || (node.street == 3 && river < 0)) return;
    const auto& children = node.children;
    const int action = int(std::find(children.begin(), children.end(), line[k + 1]) - children.begin());
    const int32_t hands = int32_t(reach[0].size());
    rows.resize(size_t(node.ActionCount()));
    AverageStrategy(context, pass, node, turn, river, hands, rows.data());
    std::vector<float>& acting = reach[size_t(node.player)];
    const float* row = rows[size_t(action)].data;
    for (int32_t h = 0; h < hands; ++h) acting[size_t(h)] *= row[h];
  }

  // Steps 3 and 4 on the list the walk ended on.
  DealIndexes reached;
  reached.turn = turn;
  reached.river = river;
  const BoardNode* list = DealListNode(context, reached);
  const std::vector<uint16_t>& handCards = list ? list->handCards : boards.handCards;
  const int32_t hands = int32_t(handCards.size());
  const std::vector<float>& a = reach[0];
  const std::vector<float>& b = reach[1];
  double total = 0.0;
  double cardSums[64] = {};
  for (int32_t j = 0; j < hands; ++j) {
    total += b[size_t(j)];
    cardSums[handCards[size_t(j)] & 0xFF] += b[size_t(j)];
    cardSums[handCards[size_t(j)] >> 8] += b[size_t(j)];
  }
  const double runouts = RunoutCount(reached, lowCard);
  std::vector<float> weights(HandCount, float(NaN));
  for (int32_t i = 0; i < hands; ++i) {
    const uint16_t cards = handCards[size_t(i)];
    const double compatible = total - cardSums[cards & 0xFF] - cardSums[cards >> 8] + b[size_t(i)];
    weights[size_t(ComboIndexOf(cards >> 8, cards & 0xFF))] = float(runouts * a[size_t(i)] * compatible);
  }

  // Steps 5 and 6.
  if (context.flags & IsomorphismOnFlag)
    UnpermuteValues(context.clientFlop, deal.turnMask, deal.riverMask, out, weights.data());
  else
    std::copy(weights.begin(), weights.end(), out);
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
  const int riverTop = FirstRiverDecision(context, line);
  std::lock_guard<std::mutex> passLock(PassMutex);
  const Pass pass = StartPass(context, TraversalMode::NodeQuery, 0);
  const int turn = FindDeal(context, turnCard, riverCard).turn;
  OpenTurnRows(context, riverTop, turn);
  ComputeLineWeight(context, pass, line, turnCard, riverCard, out);
  CloseTurnRows(context, riverTop, turn);
}

double LineWeightTotal(int nodeIndex, int turnCard, int riverCard) {
  double weights[HandCount];
  LineWeight(nodeIndex, turnCard, riverCard, weights);
  return TotalOf(weights);
}

double LineWeightTotalOverDeals(int nodeIndex, const std::vector<TurnGroup>& groups) {
  SolverContext& context = *GlobalContext;
  const std::vector<int> line = LineFromRoot(context, nodeIndex);
  const int riverTop = FirstRiverDecision(context, line);
  std::lock_guard<std::mutex> passLock(PassMutex);
  const Pass pass = StartPass(context, TraversalMode::NodeQuery, 0);
  const int threads = SolverThreadCount();
  double total = 0.0;
  std::vector<double> slots;
  for (const TurnGroup& group : groups) {
    if (group.rivers.empty()) continue;
    const int turn = FindDeal(context, group.turn, group.rivers.front()).turn;
    OpenTurnRows(context, riverTop, turn);
    const int count = int(group.rivers.size());
    slots.assign(size_t(count), 0.0);
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
    for (int i = 0; i < count; ++i) {
      double weights[HandCount];
      ComputeLineWeight(context, pass, line, group.turn, group.rivers[size_t(i)], weights);
      slots[size_t(i)] = TotalOf(weights);
    }
    CloseTurnRows(context, riverTop, turn);
    for (double slot : slots) total += slot;
  }
  return total;
}
