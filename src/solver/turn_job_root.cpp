// TurnJobRoot: a turn job of a flop tree in an update or evaluate pass,
// with the river work below it scheduled card by card or point by point.
//
// Card-outer runs, for each river card, the subtrees of every point where
// the turn ends at once: terminals of different points share kernel sweeps,
// which pays when each point has few of them. Every point's river rows are
// open for the whole turn then; compressed ones are decoded before the
// first card and encoded after the last, as a point's own deal would.
// Node-outer runs each point through the plain river deal, every card with
// its own batch. An all-in showdown among the points needs no river walk
// at all: the plain deal values it from the turn's runout table, whichever
// way the rest goes.
#include "setup/settings.h"
#include "solver/river_batch.h"
#include "solver/river_chains.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"

namespace {

// On compressed river rows, fewer terminals than this per river root on
// average: card-outer. Card-outer holds every point's decoded rows for the
// whole turn, about 15% more memory at the highest level on the deep bench
// spot for 2% of time, so points with many terminals, whose kernels fill
// their lanes alone, go node-outer there. Rows in memory go card-outer
// always: on the deep spot that is 5% faster than with the same limit.
constexpr float CardOuterLimit = 7.0f;

// A point where the river is still to come and decisions follow it.
bool RiverRoot(const TreeNode& point) { return point.street == 3 && point.kind == DecisionNode; }

// End nodes on river nodes from this node down, each node once.
int32_t RiverEndNodes(const SolverContext& context, const TreeNode& node) {
  if (node.kind != DecisionNode) return 1;
  int32_t count = 0;
  for (int32_t child : node.children) count += RiverEndNodes(context, context.nodes[size_t(child)]);
  return count;
}

// Per-thread arrays of a card-outer pass, kept for their capacity.
struct CardPassScratch {
  std::vector<FloatVec> gathered;    // each entry's reach on the river's list
  std::vector<FloatVec> values;      // each entry's value on the river's list
  std::vector<FloatVec> bestValues;  // and its best response, when evaluating
  std::vector<uint8_t> collected;  // whether the entry went through the walks
};
thread_local CardPassScratch cardScratch;

TraversalFrame EntryFrame(const TraversalFrame& root, TreeNode* node, int river) {
  TraversalFrame frame(root, node);
  frame.river = river;
  return frame;
}

// values[i][parentIndex[k][j]] += value[j] for one to three entries at once,
// so that one read of the index serves them all.
// Only the suit-swapped maps (k >= 1) have hands without a place.
template <int Count, bool MayMiss>
void ScatterRound(float* const* acc, const float* const* value, const uint16_t* index, int32_t hands) {
  for (int32_t j = 0; j < hands; ++j) {
    const uint16_t k = index[j];
    if (MayMiss && k == NoHand) continue;
    for (int e = 0; e < Count; ++e) acc[e][k] += value[e][j];
  }
}

template <int Count>
void ScatterRound(float* const* acc, const float* const* value, const uint16_t* index, int32_t hands, bool first) {
  if (first)
    ScatterRound<Count, false>(acc, value, index, hands);
  else
    ScatterRound<Count, true>(acc, value, index, hands);
}

void ScatterEntries(std::vector<FloatVec>& values, std::vector<FloatVec>& riverValues, const BoardNode& river) {
  float* acc[3];
  const float* value[3];
  int pending = 0;
  auto flush = [&] {
    for (int32_t k = 0; k < river.weight; ++k) {
      const uint16_t* index = river.parentIndex[size_t(k)].data();
      if (pending == 3)
        ScatterRound<3>(acc, value, index, river.HandCount(), k == 0);
      else if (pending == 2)
        ScatterRound<2>(acc, value, index, river.HandCount(), k == 0);
      else if (pending == 1)
        ScatterRound<1>(acc, value, index, river.HandCount(), k == 0);
    }
    pending = 0;
  };
  for (size_t i = 0; i < riverValues.size(); ++i) {
    if (!riverValues[i].data) continue;
    acc[pending] = values[i].data;
    value[pending] = riverValues[i].data;
    if (++pending == 3) flush();
  }
  flush();
}

// All river subtrees of the turn job on one river card.
void RiverCardPass(TraversalFrame& root, int r) {
  SolverContext& context = *root.context;
  TurnBatch& turnBatch = ThreadTurnBatch();
  RiverBatch& batch = ThreadRiverBatch();
  const BoardNode& river = context.boardTree->turns[size_t(root.turn)].rivers[size_t(r)];
  const int32_t riverHands = river.HandCount();
  const size_t entries = turnBatch.entries.size();
  PrepareRiverBatch(batch, EntryFrame(root, root.node, r), false);
  CardPassScratch& scratch = cardScratch;
  const bool evaluate = root.pass->mode == TraversalMode::Evaluate;
  scratch.gathered.resize(entries);
  scratch.values.resize(entries);
  scratch.bestValues.resize(entries);
  scratch.collected.assign(entries, 0);

  for (size_t i = 0; i < entries; ++i) {
    batch.masks.emplace_back();
    vecops::SetNull(scratch.gathered[i], riverHands);
    vecops::SetNull(scratch.values[i], riverHands);
    vecops::SetNull(scratch.bestValues[i], riverHands);
    TreeNode& node = *turnBatch.entries[i];
    if (!RiverRoot(node)) continue;
    if (r == 0) {
      if (turnBatch.reach[i].data) vecops::Zero(turnBatch.values[i], turnBatch.values[i].count);
      if (turnBatch.reach[i].data && evaluate) vecops::Zero(turnBatch.bestValues[i], turnBatch.bestValues[i].count);
      AccumulateRiverReachSum(root, node, turnBatch.reach[i]);
    }
    vecops::GatherReach(scratch.gathered[i], turnBatch.reach[i], river.parentIndex[0].data(), riverHands);
    MakeLiveMask(batch.masks.back(), river, scratch.gathered[i].data);
  }
  // An entry without reach on this river adds nothing and learns nothing:
  // it is left out of both walks alike.
  for (size_t i = 0; i < entries; ++i) {
    if (!scratch.gathered[i].data) continue;
    scratch.collected[i] = 1;
    batch.currentRoot = int32_t(i);
    TraversalFrame frame = EntryFrame(root, turnBatch.entries[i], r);
    frame.reachA = static_cast<FloatVec&&>(scratch.gathered[i]);
    CollectNode(frame, true);
  }
  EvaluateBatch(river);
  for (size_t i = 0; i < entries; ++i) {
    if (!scratch.collected[i]) continue;
    TraversalFrame frame = EntryFrame(root, turnBatch.entries[i], r);
    ConsumeNode(frame);
    scratch.values[i] = static_cast<FloatVec&&>(frame.valueA);
    if (evaluate) scratch.bestValues[i] = static_cast<FloatVec&&>(frame.valueB);
  }
  ScatterEntries(turnBatch.values, scratch.values, river);
  if (evaluate) ScatterEntries(turnBatch.bestValues, scratch.bestValues, river);
  for (FloatVec& v : scratch.values) ReleaseVector(v);
  for (FloatVec& v : scratch.bestValues) ReleaseVector(v);
  PrepareRiverBatch(batch, root, false);
}

}  // namespace

void TurnJobRoot(TraversalFrame& f) {
  SolverContext& context = *f.context;
  TurnBatch& turnBatch = ThreadTurnBatch();
  turnBatch.entries.clear();
  turnBatch.reach.clear();
  turnBatch.values.clear();
  turnBatch.bestValues.clear();
  turnBatch.cursor = 0;

  CollectNode(f, true);

  int32_t roots = 0;
  int32_t terminals = 0;
  for (const TreeNode* entry : turnBatch.entries) {
    if (!RiverRoot(*entry)) continue;
    ++roots;
    terminals += RiverEndNodes(context, *entry);
  }
  const bool cardOuter = roots > 0 && (!RiverChainsCompress(context, false) ||
                                       float(terminals) / float(roots) < CardOuterLimit);
  // The points the plain deal takes: all of them node-outer, the all-in
  // showdowns card-outer.
  const auto plainDeal = [&](size_t i) {
    TraversalFrame frame = EntryFrame(f, turnBatch.entries[i], -1);
    frame.reachA = static_cast<FloatVec&&>(turnBatch.reach[i]);
    RiverChanceInline(frame);
    turnBatch.values[i] = static_cast<FloatVec&&>(frame.valueA);
    turnBatch.bestValues[i] = static_cast<FloatVec&&>(frame.valueB);
  };
  if (cardOuter) {
    // A point without reach is walked by no card: its rows stay closed.
    const auto forOpenPoints = [&](auto fn) {
      for (size_t i = 0; i < turnBatch.entries.size(); ++i)
        if (RiverRoot(*turnBatch.entries[i]) && turnBatch.reach[i].data) fn(*turnBatch.entries[i]);
    };
    forOpenPoints([&](TreeNode& point) { OpenPassRiverRows(context, *f.pass, point, f.turn); });
    const int rivers = int(context.boardTree->turns[size_t(f.turn)].rivers.size());
    for (int r = 0; r < rivers; ++r) RiverCardPass(f, r);
    forOpenPoints([&](TreeNode& point) { ClosePassRiverRows(context, *f.pass, point, f.turn); });
    for (size_t i = 0; i < turnBatch.entries.size(); ++i) {
      if (RiverRoot(*turnBatch.entries[i])) {
        vecops::Scale(turnBatch.values[i], RiverFactor());
        vecops::Scale(turnBatch.bestValues[i], RiverFactor());
      } else if (turnBatch.entries[i]->street == 3) {
        plainDeal(i);
      }
    }
  } else {
    for (size_t i = 0; i < turnBatch.entries.size(); ++i)
      if (turnBatch.entries[i]->street == 3) plainDeal(i);
  }
  ConsumeNode(f);
  turnBatch.entries.clear();
  turnBatch.reach.clear();
  turnBatch.values.clear();
  turnBatch.bestValues.clear();
  turnBatch.cursor = 0;
}
