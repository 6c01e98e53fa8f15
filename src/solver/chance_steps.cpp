// The chance steps: a card is dealt below a node.
//
// Going down, the reach is gathered onto the new board's hand list; coming
// up, each child's values are scatter-added back once per real card that
// its entry stands for (suit isomorphism), and the sum is divided by the
// number of cards that can come for any pair of hands: the deck less the
// board and the four hole cards. At the first deal of a pass the cards
// become parallel jobs; inside a turn job the rivers are dealt inline.
#include <cmath>

#include "eval/runout_counts.h"
#include "solver/jobs.h"
#include "solver/node_query.h"
#include "solver/river_chains.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"
#include "tree/runout_table.h"

namespace {

float TurnFactor() { return 1.0f / float(TurnCardCount()); }

ChanceRecord* RecordOf(TreeNode& node, int slot) {
  if (node.kind != DecisionNode || !node.chance || slot < 0 || slot >= node.chanceCount) return nullptr;
  return &node.chance[size_t(slot)];
}

// reachSum[opponent] += (t + 1)^e * reach, for the subgame re-solves.
void AccumulateReachSum(const SolverContext& context, const Pass& pass, ChanceRecord* record, const FloatVec& reach,
                        int32_t hands) {
  if (!record || record->frozen || pass.mode != TraversalMode::Update) return;
  FloatVec& sum = record->reachSum[pass.traverser ^ 1];
  if (!sum.data || sum.count != hands) ZeroVector(sum, hands);
  if (!reach.data) return;
  const float w = float(std::pow(double(context.iteration + 1), context.strategyWeightExponent));
  float* __restrict s = sum.data;
  const float* __restrict r = reach.data;
  lanes::ForLanes(hands, [&](int i) { s[i] += w * r[i]; });
}

// On a tree whose later streets are forgotten, evaluation takes the values
// that the last complete evaluation stored at the deal point; so does a
// query above the forgotten streets.
bool TakeStoredValues(TraversalFrame& f, ChanceRecord* record, int32_t hands) {
  const SolverContext& context = *f.context;
  const Pass& pass = *f.pass;
  if (!record || !(context.flags & IncompleteTreeFlag)) return false;
  if (pass.mode != TraversalMode::Evaluate && !(pass.mode == TraversalMode::NodeQuery && QueryTakesStoredValues(pass)))
    return false;
  vecops::Copy(f.valueA, record->storedValueA[pass.traverser]);
  vecops::Copy(f.valueB, record->storedValueB[pass.traverser]);
  f.valueA.count = f.valueB.count = hands;
  return true;
}

void StoreValues(TraversalFrame& f, ChanceRecord* record) {
  if (!record || f.pass->mode != TraversalMode::Evaluate) return;
  const int traverser = f.pass->traverser;
  vecops::CopyUnpooled(record->storedValueA[traverser], f.valueA);
  vecops::CopyUnpooled(record->storedValueB[traverser], f.valueB);
}

// The first deal of a pass: jobs in the descend, their sums in the ascend.
void DealByJobs(TraversalFrame& f, ChanceRecord* record, float factor) {
  const int32_t hands = ListHandCount(*f.context, f.turn, f.river);
  if (TakeStoredValues(f, record, hands)) return;
  if (f.pass->phase == PassPhase::Descend) {
    AccumulateReachSum(*f.context, *f.pass, record, f.reachA, hands);
    QueueDeal(f);
    return;
  }
  TakeDealResults(f);
  vecops::Scale(f.valueA, factor);
  vecops::Scale(f.valueB, factor);
  StoreValues(f, record);
}

// An all-in showdown before the river has the same reach and payoff on
// every river card, so the turn's runout table values it in one sweep. A
// query aimed at the node itself still walks the cards, since it may want
// one river's values.
bool RunoutTableServes(const TraversalFrame& f) {
  if (f.node->kind != ShowdownEnd) return false;
  const NodeQuery* query = f.pass->query;
  return !(f.pass->mode == TraversalMode::NodeQuery && query && query->node == f.node);
}

// Both values of the deal, scaled as the card-by-card sum is.
void RunoutValues(TraversalFrame& f) {
  const SolverContext& context = *f.context;
  const BoardNode& turn = context.boardTree->turns[size_t(f.turn)];
  const int32_t hands = turn.HandCount();
  vecops::SetNull(f.valueB, hands);
  if (!f.reachA.data) {
    vecops::SetNull(f.valueA, hands);
    return;
  }
  const RunoutTable& table = context.boardTree->runouts->ForTurn(turn, f.turn);
  vecops::Resize(f.valueA, hands);
  RunoutShowdown(table, f.reachA.data, float(f.node->value), f.valueA.data);
  vecops::Scale(f.valueA, RiverFactor());
  if (f.pass->mode == TraversalMode::Evaluate) vecops::Copy(f.valueB, f.valueA);
}

}  // namespace

float RiverFactor() { return 1.0f / float(RiverCardCount()); }

void AccumulateRiverReachSum(const TraversalFrame& f, TreeNode& node, const FloatVec& reach) {
  AccumulateReachSum(*f.context, *f.pass, RecordOf(node, f.turn), reach, ListHandCount(*f.context, f.turn, -1));
}

void TurnChance(TraversalFrame& f) { DealByJobs(f, RecordOf(*f.node, 0), TurnFactor()); }

void RiverChance(TraversalFrame& f) {
  if (RunoutTableServes(f)) {
    // The descend has no jobs to queue here, and its values are dropped.
    if (f.pass->phase == PassPhase::Descend) {
      const int32_t hands = ListHandCount(*f.context, f.turn, -1);
      vecops::SetNull(f.valueA, hands);
      vecops::SetNull(f.valueB, hands);
    } else {
      RunoutValues(f);
    }
    return;
  }
  DealByJobs(f, RecordOf(*f.node, f.turn), RiverFactor());
}

void RiverChanceInline(TraversalFrame& f) {
  SolverContext& context = *f.context;
  const BoardNode& turnEntry = context.boardTree->turns[size_t(f.turn)];
  const int32_t hands = turnEntry.HandCount();
  const Pass& pass = *f.pass;
  const bool evaluate = pass.mode == TraversalMode::Evaluate;
  if (RunoutTableServes(f)) return RunoutValues(f);
  AccumulateRiverReachSum(f, *f.node, f.reachA);
  vecops::SetNull(f.valueA, hands);
  vecops::SetNull(f.valueB, hands);
  if (!f.reachA.data && !f.reachB.data) return;

  // Compressed river rows are decoded for this turn while its rivers run.
  OpenPassRiverRows(context, pass, *f.node, f.turn);

  vecops::Zero(f.valueA, hands);
  if (evaluate) vecops::Zero(f.valueB, hands);
  const int rivers = int(turnEntry.rivers.size());
  for (int r = 0; r < rivers; ++r) {
    const BoardNode& riverEntry = turnEntry.rivers[size_t(r)];
    const int32_t riverHands = riverEntry.HandCount();
    TraversalFrame child(f, f.node);
    child.river = r;
    vecops::GatherReach(child.reachA, f.reachA, riverEntry.parentIndex[0].data(), riverHands);
    vecops::GatherReach(child.reachB, f.reachB, riverEntry.parentIndex[0].data(), riverHands);
    Traverse(child);
    for (int32_t k = 0; k < riverEntry.weight; ++k) {
      const uint16_t* index = riverEntry.parentIndex[size_t(k)].data();
      if (child.valueA.data) vecops::ScatterAdd(f.valueA.data, child.valueA.data, index, riverHands);
      if (evaluate && child.valueB.data) vecops::ScatterAdd(f.valueB.data, child.valueB.data, index, riverHands);
    }
  }

  ClosePassRiverRows(context, pass, *f.node, f.turn);
  vecops::Scale(f.valueA, RiverFactor());
  vecops::Scale(f.valueB, RiverFactor());
}
