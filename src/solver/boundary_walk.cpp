#include "solver/boundary_walk.h"

#include "solver/pass.h"
#include "solver/strategy_rules.h"
#include "solver/traversal_steps.h"
#include "storage/float_vec.h"
#include "tree/solver_context.h"

namespace {

struct Walk {
  SolverContext& context;
  int street;
  std::vector<BoundaryFrame> frames;

  // Both reaches onto the hand list of a dealt card, through the list's map
  // to its parent.
  void Deal(const BoundaryFrame& frame, const BoardNode& list, int turn, int river) {
    BoundaryFrame next;
    next.node = frame.node;
    next.turn = turn;
    next.river = river;
    const std::vector<uint16_t>& parent = list.parentIndex[0];
    for (int p = 0; p < 2; ++p) {
      next.reach[p].resize(size_t(list.HandCount()));
      for (int h = 0; h < list.HandCount(); ++h) next.reach[p][size_t(h)] = frame.reach[p][parent[size_t(h)]];
    }
    Visit(next);
  }

  void Visit(BoundaryFrame& frame) {
    TreeNode& node = *frame.node;
    if (node.street == street) {
      if (!node.IsEnd()) frames.push_back(std::move(frame));
      return;
    }
    const BoardTree& boards = *context.boardTree;
    if (node.street >= 2 && frame.turn < 0) {
      for (int t = 0; t < int(boards.turns.size()); ++t) Deal(frame, boards.turns[size_t(t)], t, -1);
      return;
    }
    if (node.street == 3 && frame.river < 0) {
      const BoardNode& turn = boards.turns[size_t(frame.turn)];
      for (int r = 0; r < int(turn.rivers.size()); ++r) Deal(frame, turn.rivers[size_t(r)], frame.turn, r);
      return;
    }
    if (node.IsEnd()) return;
    const int actions = node.ActionCount();
    const int32_t hands = ListHandCount(context, frame.turn, frame.river);
    const Pass pass = StartPass(context, TraversalMode::NodeQuery, node.player);
    std::vector<FloatVec> rows(static_cast<size_t>(actions));
    AverageStrategy(context, pass, node, frame.turn, frame.river, hands, rows.data());
    for (int a = 0; a < actions; ++a) {
      BoundaryFrame child;
      child.node = &context.nodes[size_t(node.children[size_t(a)])];
      child.turn = frame.turn;
      child.river = frame.river;
      child.reach[0] = frame.reach[0];
      child.reach[1] = frame.reach[1];
      std::vector<float>& own = child.reach[node.player];
      const FloatVec& row = rows[size_t(a)];
      for (int32_t h = 0; h < hands; ++h) own[size_t(h)] *= row.data ? row.data[h] : 0.0f;
      Visit(child);
    }
    for (FloatVec& row : rows) ReleaseVector(row);
  }
};

}  // namespace

std::vector<BoundaryFrame> BoundaryWalk(SolverContext& context, int street) {
  Walk walk{context, street, {}};
  BoundaryFrame root;
  root.node = &context.nodes[0];
  root.turn = context.rootTurn;
  root.river = context.rootRiver;
  for (int p = 0; p < 2; ++p) root.reach[p] = context.rootWeights[size_t(p)];
  walk.Visit(root);
  return std::move(walk.frames);
}

void RecomputeAbsentReachSums(SolverContext& context) {
  const int street = context.forgottenStreet;
  if (street < 2 || street > 3) return;
  bool anyAbsent = false;
  for (const TreeNode& node : context.nodes)
    for (int r = 0; r < node.chanceCount; ++r)
      anyAbsent |= node.chance[size_t(r)].reachSumAbsent[0] || node.chance[size_t(r)].reachSumAbsent[1];
  if (!anyAbsent) return;
  for (BoundaryFrame& frame : BoundaryWalk(context, street)) {
    TreeNode& node = *frame.node;
    const int slot = street == 3 ? frame.turn : 0;
    if (!node.chance || slot < 0 || slot >= node.chanceCount) continue;
    ChanceRecord& record = node.chance[size_t(slot)];
    for (int p = 0; p < 2; ++p) {
      if (!record.reachSumAbsent[p]) continue;
      const std::vector<float>& reach = frame.reach[p];
      ResizeVector(record.reachSum[p], int32_t(reach.size()));
      std::copy(reach.begin(), reach.end(), record.reachSum[p].data);
    }
  }
}
