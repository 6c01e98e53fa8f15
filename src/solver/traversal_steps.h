// The steps of the traversal and the frame they hand down.
//
// A frame is one (node, dealt turn, dealt river) with the arrays of that
// board's hand list: the opponent's reach going down, the traverser's
// counterfactual value (and in evaluate mode the best-response value)
// coming up. All state of a walk is in its frames, their Pass, the rows
// they address and the thread's scratch, so the steps are reentrant and
// jobs run them on any thread. Internal to the solver; RunPass
// (traversal.h) is the entry.
//
// The steps call one another in a circle, as any recursion over a tree
// does, so every step is declared here, once, grouped by the file that
// defines it: Traverse dispatches to the decision, chance and end steps,
// which come back through Traverse for each child; the first deal queues
// jobs (jobs.cpp), which start again at Traverse or TurnJobRoot; the river
// entry takes the batched walk, which ends in the kernels. Below this
// header stand the Pass and its job list (pass.h, jobs.h), the tree record
// and the per-thread river lists (river_batch.h); none of them includes it.
#pragma once

#include <cstdint>
#include <memory>

#include "storage/float_vec.h"
#include "solver/jobs.h"
#include "solver/pass.h"
#include "tree/solver_context.h"
#include "solver/traversal.h"

struct TraversalFrame {
  TraversalFrame() = default;
  // The frame of a child (or of any node of the same walk): context, pass,
  // deal and mask carried over, arrays empty. Made at every node visit, so
  // it sets each field once rather than clearing the frame first.
  TraversalFrame(const TraversalFrame& parent, TreeNode* child)
      : context(parent.context),
        pass(parent.pass),
        node(child),
        liveMask(parent.liveMask),
        turn(parent.turn),
        river(parent.river) {}

  SolverContext* context = nullptr;
  Pass* pass = nullptr;
  TreeNode* node = nullptr;
  // The LiveMask groups of the river root this frame lies under, while a
  // plain (unbatched) river walk runs below it; null elsewhere. Each job
  // walks its own river roots, so the mask goes with the frame, not the
  // pass.
  const uint16_t* liveMask = nullptr;
  int32_t turn = -1;
  int32_t river = -1;
  FloatVec reachA;  // opponent's reach
  FloatVec valueA;  // traverser's counterfactual value
  FloatVec reachB;  // traverser's own reach: node queries only
  FloatVec valueB;  // best-response value: evaluate mode only
};

// One array per action, on the stack up to six actions.
class ActionRows {
 public:
  explicit ActionRows(int actions) : count_(actions) {
    if (actions > InlineRows) heap_ = std::make_unique<FloatVec[]>(size_t(actions));
  }
  FloatVec* data() { return heap_ ? heap_.get() : inline_; }
  FloatVec& operator[](int i) { return data()[i]; }
  int size() const { return count_; }

 private:
  static constexpr int InlineRows = 6;
  FloatVec inline_[InlineRows];
  std::unique_ptr<FloatVec[]> heap_;
  int count_;
};

// Hands of the list in force: the root board's, a dealt turn's or a dealt
// river's.
const BoardNode* ListNode(const SolverContext& context, int turn, int river);
int32_t ListHandCount(const SolverContext& context, int turn, int river);
const uint16_t* ListHandCards(const SolverContext& context, int turn, int river);

// traversal.cpp: the dispatch and the end nodes.
void Traverse(TraversalFrame& frame);
// Traverse's dispatch without the river entry: the plain steps.
void TraverseSteps(TraversalFrame& frame);
void EndNode(TraversalFrame& frame);
// Terminal values of one end node with the frame's reach; the showdown on
// the frame's river list, under the frame's live mask.
void EndValue(const TraversalFrame& frame, const TreeNode& end, FloatVec& out);

// decision_steps.cpp: the two sides of a decision, and what the plain and
// the batched steps share there.
void DecisionOwn(TraversalFrame& frame);
void DecisionOpponent(TraversalFrame& frame);
// Whether the last two children of a river node are the call (a showdown)
// and the fold: both then come out of one kernel sweep.
bool HasEndPair(const SolverContext& context, const TreeNode& node);
// Biases the node's player towards (f > 0) or away from a child, in update
// passes only: reported values stay the game's.
void ApplyEvBoost(FloatVec& v, const TreeNode& child, const TreeNode& node);
// The traverser's node in an update pass, once the children's values are
// in (values[i], null for zeros): the node's value into frame.valueA and,
// with writes, the regret update; fused where the store offers it.
void OwnNodeUpdate(TraversalFrame& frame, FloatVec* values, bool writes);
// The same node in an evaluate pass: valueA under the average strategy
// from the children's values v, valueB the best response from their b (a
// locked node, or locked hands, follow the strategy instead).
void OwnNodeEvaluate(TraversalFrame& frame, FloatVec* v, FloatVec* b);
// valueB alone, once the average strategy sigma is known.
void OwnBestResponse(TraversalFrame& frame, FloatVec* sigma, FloatVec* b, const LockRecord* lock);
// The opponent's reach through each action into r[actions] (null rows for
// no reach), and with addSums the strategy sums of an update pass where
// they are due and the node isn't locked.
void OpponentChildReaches(TraversalFrame& frame, FloatVec* r, bool addSums);

// chance_steps.cpp: the deals.
void TurnChance(TraversalFrame& frame);
// A river deal on a tree rooted on the turn: one job per river card.
void RiverChance(TraversalFrame& frame);
// A river deal inside a turn job of a flop tree: all rivers on this thread.
void RiverChanceInline(TraversalFrame& frame);
// The chance reach sum of a deal point, for the subgame re-solves; the
// record of the river deal below node for the frame's turn.
void AccumulateRiverReachSum(const TraversalFrame& frame, TreeNode& node, const FloatVec& reach);
// 1 / the river cards that can come for any pair of hands.
float RiverFactor();

// river_batch.cpp, batch_steps.cpp, evaluate_batch.cpp, turn_job_root.cpp:
// the batched river walk (river_batch.h explains it).
//
// A first river node reached by Traverse. Batched in update passes above
// SIMD level 1; otherwise the plain steps run with the root's mask in
// their frames.
void RiverEntry(TraversalFrame& frame);
// The two walks. moveReach: the frame's reach may be taken, not copied.
void CollectNode(TraversalFrame& frame, bool moveReach);
void ConsumeNode(TraversalFrame& frame);
// The kernels over every terminal listed on this thread, grouped by the
// SIMD level.
void EvaluateBatch(const BoardNode& river);
// The root of a turn job of a flop tree in an update pass.
void TurnJobRoot(TraversalFrame& frame);

// The three phases of a pass or a query from one start frame, which `fill`
// makes afresh for the descend and for the ascend (the ascend's frame ends
// up in `ascend`, with its values). Without a deal below the start there is
// nothing to queue, and the descend is skipped.
template <class Fill>
void RunThreePhases(SolverContext& context, Pass& pass, bool deals, Fill fill, TraversalFrame& ascend) {
  // Phase 1: descend, queueing the cards of the first deal as jobs.
  if (deals) {
    pass.phase = PassPhase::Descend;
    TraversalFrame descend;
    fill(descend);
    Traverse(descend);
  }
  // Phase 2: the jobs, in parallel.
  pass.phase = PassPhase::Jobs;
  RunJobs(context, pass);
  // Phase 3: ascend, taking the jobs' sums at the deal points.
  pass.phase = PassPhase::Ascend;
  StartJobResults(pass);
  fill(ascend);
  Traverse(ascend);
  ClearJobs(pass);
  pass.phase = PassPhase::Descend;
}
