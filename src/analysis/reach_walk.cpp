#include "analysis/reach_walk.h"

#include <algorithm>

#include "solver/pass.h"
#include "solver/strategy_rules.h"
#include "storage/float_vec.h"
#include "tree/board_tree.h"
#include "tree/solver_context.h"

namespace {

void GatherInto(std::vector<float>& reach, const std::vector<uint16_t>& index) {
  std::vector<float> gathered(index.size());
  for (size_t i = 0; i < index.size(); ++i) gathered[i] = reach[index[i]];
  reach.swap(gathered);
}

}  // namespace

LineReach WalkReach(SolverContext& context, const Pass& pass, const std::vector<int>& line, int dealTurn,
                    int dealRiver) {
  const BoardTree& boards = *context.boardTree;
  LineReach walk;
  walk.reach[0] = context.rootWeights[0];
  walk.reach[1] = context.rootWeights[1];
  walk.turn = context.rootTurn;
  walk.river = context.rootRiver;
  std::vector<FloatVec> rows;
  for (size_t k = 0; k < line.size(); ++k) {
    TreeNode& node = context.nodes[size_t(line[k])];
    if (node.street >= 2 && walk.turn < 0 && dealTurn >= 0) {
      walk.turn = dealTurn;
      for (auto& r : walk.reach) GatherInto(r, boards.turns[size_t(walk.turn)].parentIndex[0]);
    }
    if (node.street == 3 && walk.river < 0 && dealRiver >= 0 && walk.turn >= 0) {
      walk.river = dealRiver;
      for (auto& r : walk.reach)
        GatherInto(r, boards.turns[size_t(walk.turn)].rivers[size_t(walk.river)].parentIndex[0]);
    }
    if (k + 1 == line.size()) break;
    if ((node.street >= 2 && walk.turn < 0) || (node.street == 3 && walk.river < 0)) {
      walk.complete = false;
      return walk;
    }
    const auto& children = node.children;
    const int action = int(std::find(children.begin(), children.end(), line[k + 1]) - children.begin());
    const int32_t hands = int32_t(walk.reach[0].size());
    rows.resize(size_t(node.ActionCount()));
    AverageStrategy(context, pass, node, walk.turn, walk.river, hands, rows.data());
    std::vector<float>& acting = walk.reach[size_t(node.player)];
    // A null row is all zeros: none of the player's reach gets past it.
    const float* row = rows[size_t(action)].data;
    if (row)
      for (int32_t h = 0; h < hands; ++h) acting[size_t(h)] *= row[h];
    else
      std::fill(acting.begin(), acting.end(), 0.0f);
  }
  return walk;
}
