// Collect and Consume: the two walks of the batched river path.
//
// Both walk children in the same order by construction, so Consume finds
// the values of the end nodes and of the turn's end points in the lists at
// the place where Collect put them; the cursors only go forward.
#include "setup/settings.h"
#include "solver/river_batch.h"
#include "solver/strategy_rules.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"

namespace {

// Where a turn subtree ends: a fold on the turn, or a node below which the
// river is still to come (a river decision or an all-in call on the turn).
bool EndsTurnSubtree(const TraversalFrame& f) {
  const TreeNode& node = *f.node;
  return (node.street == 2 && node.kind != DecisionNode) || (node.street > 2 && f.river < 0);
}

TreeNode& ChildNode(const TraversalFrame& f, int i) { return f.context->nodes[size_t(f.node->children[size_t(i)])]; }

TraversalFrame ChildFrame(const TraversalFrame& f, int i) { return TraversalFrame(f, &ChildNode(f, i)); }

void TakeReach(FloatVec& out, FloatVec& reach, bool moveReach) {
  if (moveReach)
    out = static_cast<FloatVec&&>(reach);
  else
    vecops::Copy(out, reach);
}

double TerminalPayoff(const Pass& pass, const TreeNode& end) {
  return end.kind == FoldEnd && end.player == pass.traverser ? -end.value : end.value;
}

// One terminal with a reach of its own.
void AppendTerminal(RiverBatch& batch, const Pass& pass, const TreeNode& end, int32_t reachIndex) {
  TerminalEntry entry;
  entry.payoff = TerminalPayoff(pass, end);
  entry.maskIndex = batch.currentRoot;
  entry.kind = end.kind;
  batch.terminals.push_back(entry);
  batch.terminalReach.push_back(reachIndex);
}

int32_t AppendReach(RiverBatch& batch, FloatVec& reach, bool moveReach) {
  batch.reaches.emplace_back();
  TakeReach(batch.reaches.back(), reach, moveReach);
  return int32_t(batch.reaches.size() - 1);
}

void AppendTurnEntry(TraversalFrame& f, bool moveReach) {
  TurnBatch& batch = ThreadTurnBatch();
  const SolverContext& context = *f.context;
  batch.entries.push_back(f.node);
  batch.reach.emplace_back();
  batch.values.emplace_back();
  batch.bestValues.emplace_back();
  FloatVec& reach = batch.reach.back();
  FloatVec& value = batch.values.back();
  FloatVec& best = batch.bestValues.back();
  const int32_t hands = ListHandCount(context, f.turn, -1);
  best.count = hands;
  if (f.node->kind == FoldEnd) {
    // Nothing below a turn fold: its value is known now.
    EndValue(f, *f.node, value);
    if (f.pass->mode == TraversalMode::Evaluate) vecops::Copy(best, value);
    reach.count = hands;
  } else {
    TakeReach(reach, f.reachA, moveReach);
    value.count = hands;
  }
}

void CollectOwn(TraversalFrame& f) {
  const SolverContext& context = *f.context;
  const int n = f.node->ActionCount();
  // The traverser's own reach isn't tracked: every child sees the
  // opponent's reach of this node.
  if (f.river >= 0 && HasEndPair(context, *f.node)) {
    for (int i = 0; i < n - 2; ++i) {
      TraversalFrame child = ChildFrame(f, i);
      vecops::Copy(child.reachA, f.reachA);
      CollectNode(child, true);
    }
    // The call and the fold share one reach array.
    RiverBatch& batch = ThreadRiverBatch();
    const int32_t reach = AppendReach(batch, f.reachA, true);
    AppendTerminal(batch, *f.pass, ChildNode(f, n - 2), reach);
    AppendTerminal(batch, *f.pass, ChildNode(f, n - 1), reach);
    return;
  }
  for (int i = 0; i < n; ++i) {
    TraversalFrame child = ChildFrame(f, i);
    TakeReach(child.reachA, f.reachA, i == n - 1);
    CollectNode(child, true);
  }
}

void CollectOpponent(TraversalFrame& f) {
  const int n = f.node->ActionCount();
  ActionRows r(n);
  OpponentChildReaches(f, r.data(), f.pass->mode == TraversalMode::Update);
  for (int i = 0; i < n; ++i) {
    TraversalFrame child = ChildFrame(f, i);
    child.reachA = static_cast<FloatVec&&>(r[i]);
    CollectNode(child, true);
  }
}

// An evaluate pass: the values of the average strategy and of the best
// response, as the plain step makes them.
void ConsumeOwnEvaluate(TraversalFrame& f) {
  const int n = f.node->ActionCount();
  ActionRows v(n), b(n);
  for (int i = 0; i < n; ++i) {
    TraversalFrame child = ChildFrame(f, i);
    ConsumeNode(child);
    v[i] = static_cast<FloatVec&&>(child.valueA);
    b[i] = static_cast<FloatVec&&>(child.valueB);
  }
  OwnNodeEvaluate(f, v.data(), b.data());
}

void ConsumeOwn(TraversalFrame& f) {
  if (f.pass->mode == TraversalMode::Evaluate) return ConsumeOwnEvaluate(f);
  SolverContext& context = *f.context;
  TreeNode& node = *f.node;
  const int n = node.ActionCount();
  ActionRows v(n);
  bool anyValue = false;
  for (int i = 0; i < n; ++i) {
    TraversalFrame child = ChildFrame(f, i);
    ConsumeNode(child);
    v[i] = static_cast<FloatVec&&>(child.valueA);
    ApplyEvBoost(v[i], *child.node, node);
    anyValue |= v[i].data != nullptr;
  }
  // No reach came down to any end node below: nothing to value or learn.
  if (!anyValue) {
    vecops::SetNull(f.valueA, ListHandCount(context, f.turn, f.river));
    return;
  }
  const LockRecord* lock = node.store0->GetLockRecord(f.turn, f.river);
  OwnNodeUpdate(f, v.data(), !(lock && (lock->flags & LockedFlag)));
}

void ConsumeOpponent(TraversalFrame& f) {
  const bool evaluate = f.pass->mode == TraversalMode::Evaluate;
  const int32_t hands = ListHandCount(*f.context, f.turn, f.river);
  vecops::SetNull(f.valueA, hands);
  if (evaluate) vecops::SetNull(f.valueB, hands);
  for (int i = 0; i < f.node->ActionCount(); ++i) {
    TraversalFrame child = ChildFrame(f, i);
    ConsumeNode(child);
    vecops::Add(f.valueA, static_cast<FloatVec&&>(child.valueA));
    if (evaluate) vecops::Add(f.valueB, static_cast<FloatVec&&>(child.valueB));
  }
}

}  // namespace

void CollectNode(TraversalFrame& f, bool moveReach) {
  const TreeNode& node = *f.node;
  if (EndsTurnSubtree(f)) {
    AppendTurnEntry(f, moveReach);
  } else if (node.kind == DecisionNode) {
    if (node.player == f.pass->traverser)
      CollectOwn(f);
    else
      CollectOpponent(f);
  } else {
    RiverBatch& batch = ThreadRiverBatch();
    AppendTerminal(batch, *f.pass, node, AppendReach(batch, f.reachA, moveReach));
  }
}

void ConsumeNode(TraversalFrame& f) {
  const TreeNode& node = *f.node;
  if (EndsTurnSubtree(f)) {
    TurnBatch& batch = ThreadTurnBatch();
    const size_t at = size_t(batch.cursor++);
    f.valueA = static_cast<FloatVec&&>(batch.values[at]);
    if (f.pass->mode == TraversalMode::Evaluate) f.valueB = static_cast<FloatVec&&>(batch.bestValues[at]);
  } else if (node.kind == DecisionNode) {
    if (node.player == f.pass->traverser)
      ConsumeOwn(f);
    else
      ConsumeOpponent(f);
  } else {
    RiverBatch& batch = ThreadRiverBatch();
    f.valueA = static_cast<FloatVec&&>(batch.results[size_t(batch.cursor++)]);
    if (f.pass->mode == TraversalMode::Evaluate) vecops::Copy(f.valueB, f.valueA);
  }
}
