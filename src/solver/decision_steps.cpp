// The two steps at a decision node: the traverser's own node, where values
// are mixed by his strategy and regrets written, and the opponent's node,
// where his reach is split by the opponent's strategy and strategy sums
// written.
#include <cstring>

#include "solver/kernels/pair_kernel.h"
#include "solver/river_batch.h"
#include "solver/strategy_rules.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"

namespace {

constexpr float MinNormal = 1.1754944e-38f;

}  // namespace

bool HasEndPair(const SolverContext& context, const TreeNode& node) {
  const int n = node.ActionCount();
  if (node.street != 3 || n < 2) return false;
  return context.nodes[size_t(node.children[size_t(n - 2)])].kind == ShowdownEnd &&
         context.nodes[size_t(node.children[size_t(n - 1)])].kind == FoldEnd;
}

void ApplyEvBoost(FloatVec& v, const TreeNode& child, const TreeNode& node) {
  const float f = child.evBoost;
  if (f == 0.0f || !v.data) return;
  float* __restrict x = v.data;
  if (child.kind == FoldEnd) {
    const float factor = 1.0f - f;
    lanes::ForLanes(v.count, [&](int i) { x[i] *= factor; });
  } else if (child.kind == ShowdownEnd || child.street > node.street) {
    const float up = 1.0f + f;
    const float down = float(1.0 / (1.0 + double(f)));
    lanes::ForLanes(v.count, [&](int i) { x[i] *= x[i] >= 0.0f ? up : down; });
  } else {
    const float up = 1.0f + f;
    lanes::ForLanes(v.count, [&](int i) { x[i] *= x[i] > 0.0f ? up : 1.0f; });
  }
}

namespace {

// valueB at a node with locked hands: a locked hand follows its strategy,
// any other takes its best action. The first child starts the sum.
void CombineComboLocked(FloatVec& out, const FloatVec& sigma, const FloatVec& b, const uint8_t* mask, bool first,
                        int32_t hands) {
  if (!out.data) vecops::Zero(out, hands);
  float* __restrict o = out.data;
  const float* __restrict s = sigma.data;
  if (!b.data) {
    if (first)
      std::memset(o, 0, size_t(hands) * sizeof(float));
    else
      lanes::ForLanes(hands, [&](int i) { o[i] = mask[i] ? o[i] : (o[i] > 0.0f ? o[i] : 0.0f); });
    return;
  }
  const float* __restrict x = b.data;
  if (first) {
    lanes::ForLanes(hands, [&](int i) { o[i] = mask[i] ? s[i] * x[i] : x[i]; });
  } else {
    lanes::ForLanes(hands, [&](int i) {
      const float best = o[i] > x[i] ? o[i] : x[i];
      const float follow = o[i] + s[i] * x[i];
      o[i] = mask[i] ? follow : best;
    });
  }
}

double RegretScale(const SolverContext& context, const TreeNode& node) {
  double scale = context.regretScale;
  if (node.street == 3) scale /= context.maxWeight[node.player ^ 1];
  return scale;
}

// Values of the call and the fold below a river node in one sweep; one
// reach for both, or each its own.
void EndPairValues(const TraversalFrame& f, const FloatVec& reachCall, const FloatVec& reachFold, FloatVec& callValue,
                   FloatVec& foldValue);

}  // namespace

void DecisionOwn(TraversalFrame& f) {
  SolverContext& context = *f.context;
  TreeNode& node = *f.node;
  const int n = node.ActionCount();
  const int32_t hands = ListHandCount(context, f.turn, f.river);
  const Pass& pass = *f.pass;
  const bool update = pass.mode == TraversalMode::Update;
  const bool evaluate = pass.mode == TraversalMode::Evaluate;
  const bool ascend = pass.phase != PassPhase::Descend;

  const LockRecord* lock = node.store0->GetLockRecord(f.turn, f.river);
  const uint32_t lockFlags = lock ? lock->flags : 0;

  // Evaluation and queries play the average strategy; an update pass ends
  // in OwnNodeUpdate, which reads the current one.
  ActionRows sigma(n);
  bool haveSigma = false;
  auto readSigma = [&] {
    if (haveSigma) return;
    AverageStrategy(context, pass, node, f.turn, f.river, hands, sigma.data());
    haveSigma = true;
  };

  ActionRows v(n);
  ActionRows b(evaluate ? n : 0);
  const bool pair = update && ascend && f.reachA.data && HasEndPair(context, node);
  if (pair) EndPairValues(f, f.reachA, f.reachA, v[n - 2], v[n - 1]);
  if (f.reachB.data) readSigma();

  bool anyValue = false;
  for (int i = 0; i < n; ++i) {
    TreeNode& childNode = context.nodes[size_t(node.children[size_t(i)])];
    if (!(pair && i >= n - 2)) {
      TraversalFrame child(f, &childNode);
      child.reachA = static_cast<FloatVec&&>(f.reachA);
      if (f.reachB.data) {
        vecops::Multiply(child.reachB, f.reachB, sigma[i]);
        if (!(vecops::Sum(child.reachB.data, hands) >= MinNormal)) vecops::SetNull(child.reachB, hands);
      } else {
        child.reachB.count = hands;
      }
      Traverse(child);
      f.reachA = static_cast<FloatVec&&>(child.reachA);
      v[i] = static_cast<FloatVec&&>(child.valueA);
      if (evaluate) b[i] = static_cast<FloatVec&&>(child.valueB);
    }
    if (update) ApplyEvBoost(v[i], childNode, node);
    anyValue |= v[i].data != nullptr || (evaluate && b[i].data != nullptr);
  }

  vecops::SetNull(f.valueA, hands);
  if (evaluate) vecops::SetNull(f.valueB, hands);
  // The descend only queues jobs: its values are dropped.
  if (!ascend || !anyValue) return;
  if (update) {
    OwnNodeUpdate(f, v.data(), !(lockFlags & LockedFlag));
    return;
  }

  readSigma();
  for (int i = 0; i < n; ++i) vecops::MultiplyAdd(f.valueA, sigma[i], v[i]);
  if (evaluate) OwnBestResponse(f, sigma.data(), b.data(), lock);
}

void OwnNodeEvaluate(TraversalFrame& f, FloatVec* v, FloatVec* b) {
  SolverContext& context = *f.context;
  TreeNode& node = *f.node;
  const int n = node.ActionCount();
  const int32_t hands = ListHandCount(context, f.turn, f.river);
  bool anyValue = false;
  for (int i = 0; i < n; ++i) anyValue |= v[i].data != nullptr || b[i].data != nullptr;
  vecops::SetNull(f.valueA, hands);
  vecops::SetNull(f.valueB, hands);
  if (!anyValue) return;
  ActionRows sigma(n);
  AverageStrategy(context, *f.pass, node, f.turn, f.river, hands, sigma.data());
  for (int i = 0; i < n; ++i) vecops::MultiplyAdd(f.valueA, sigma[i], v[i]);
  OwnBestResponse(f, sigma.data(), b, node.store0->GetLockRecord(f.turn, f.river));
}

void OwnBestResponse(TraversalFrame& f, FloatVec* sigma, FloatVec* b, const LockRecord* lock) {
  const int n = f.node->ActionCount();
  const int32_t hands = ListHandCount(*f.context, f.turn, f.river);
  const uint32_t lockFlags = lock ? lock->flags : 0;
  const uint8_t* handMask = (lockFlags & ComboLockedFlag) && lock->handMask ? lock->handMask.get() : nullptr;
  if (lockFlags & LockedFlag) {
    for (int i = 0; i < n; ++i) vecops::MultiplyAdd(f.valueB, sigma[i], b[i]);
  } else if (handMask) {
    for (int i = 0; i < n; ++i) CombineComboLocked(f.valueB, sigma[i], b[i], handMask, i == 0, hands);
  } else {
    f.valueB = static_cast<FloatVec&&>(b[0]);
    f.valueB.count = hands;
    for (int i = 1; i < n; ++i) vecops::Max(f.valueB, b[i]);
  }
}

void OwnNodeUpdate(TraversalFrame& f, FloatVec* v, bool writes) {
  SolverContext& context = *f.context;
  TreeNode& node = *f.node;
  const int n = node.ActionCount();
  const int32_t hands = ListHandCount(context, f.turn, f.river);
  const FallbackRow fallback(n, true);
  vecops::SetNull(f.valueA, hands);
  const TieGroups* tieGroups = nullptr;
  if (writes && node.street == 3 && context.iteration <= context.tieAveragingLimit)
    tieGroups = &ListNode(context, f.turn, f.river)->tieRuns;
  const double scale = RegretScale(context, node);
  if (writes) {
    vecops::Resize(f.valueA, hands);
    if (node.store0->UpdateFused(f.turn, f.river, f.valueA, v, tieGroups, scale, fallback.data(),
                                 f.pass->storeIteration)) {
      if (!f.valueA.data) f.valueA.count = hands;
      return;
    }
    vecops::SetNull(f.valueA, hands);
  }
  ActionRows sigma(n);
  CurrentStrategy(node, f.turn, f.river, hands, fallback.data(), sigma.data());
  for (int i = 0; i < n; ++i) vecops::MultiplyAdd(f.valueA, sigma[i], v[i]);
  if (writes && f.valueA.data)
    node.store0->UpdateRegrets(f.turn, f.river, f.valueA, v, tieGroups, scale, f.pass->storeIteration);
}

void OpponentChildReaches(TraversalFrame& f, FloatVec* r, bool addSums) {
  SolverContext& context = *f.context;
  TreeNode& node = *f.node;
  const int n = node.ActionCount();
  const int32_t hands = ListHandCount(context, f.turn, f.river);
  const Pass& pass = *f.pass;
  const bool update = pass.mode == TraversalMode::Update;
  for (int i = 0; i < n; ++i) vecops::SetNull(r[i], hands);
  if (!f.reachA.data) return;
  const FallbackRow fallback(n, update);
  bool done = false;
  if (update || AverageIsCurrent(context, pass, node)) {
    for (int i = 0; i < n; ++i) vecops::Resize(r[i], hands);
    done = node.store0->GetStrategyTimesReach(r, f.reachA, f.turn, f.river, fallback.data());
  }
  if (!done) {
    ActionRows sigma(n);
    if (update)
      CurrentStrategy(node, f.turn, f.river, hands, fallback.data(), sigma.data());
    else
      AverageStrategy(context, pass, node, f.turn, f.river, hands, sigma.data());
    for (int i = 0; i < n; ++i) {
      vecops::Multiply(r[i], sigma[i], f.reachA);
      if (!vecops::AnyPositive(r[i].data, hands)) vecops::SetNull(r[i], hands);
    }
  }
  if (addSums && node.store1 && StrategySumsDue(context, pass, node.street)) {
    const LockRecord* lock = node.store0->GetLockRecord(f.turn, f.river);
    if (!(lock && (lock->flags & LockedFlag)))
      node.store1->AccumulateStrategy(f.turn, f.river, r, StrategySumWeight(context));
  }
}

void DecisionOpponent(TraversalFrame& f) {
  SolverContext& context = *f.context;
  TreeNode& node = *f.node;
  const int n = node.ActionCount();
  const int32_t hands = ListHandCount(context, f.turn, f.river);
  const Pass& pass = *f.pass;
  const bool update = pass.mode == TraversalMode::Update;
  const bool evaluate = pass.mode == TraversalMode::Evaluate;
  const bool ascend = pass.phase != PassPhase::Descend;

  // r[i]: the opponent's reach through action i.
  ActionRows r(n);
  OpponentChildReaches(f, r.data(), update && ascend);

  ActionRows pairValues(2);
  const bool pair = update && ascend && n >= 2 && r[n - 1].data && r[n - 2].data && HasEndPair(context, node);
  if (pair) EndPairValues(f, r[n - 2], r[n - 1], pairValues[0], pairValues[1]);

  vecops::SetNull(f.valueA, hands);
  if (evaluate) vecops::SetNull(f.valueB, hands);
  for (int i = 0; i < n; ++i) {
    if (pair && i >= n - 2) {
      vecops::Add(f.valueA, static_cast<FloatVec&&>(pairValues[i - (n - 2)]));
      continue;
    }
    TraversalFrame child(f, &context.nodes[size_t(node.children[size_t(i)])]);
    child.reachA = static_cast<FloatVec&&>(r[i]);
    child.reachB = static_cast<FloatVec&&>(f.reachB);
    Traverse(child);
    f.reachB = static_cast<FloatVec&&>(child.reachB);
    vecops::Add(f.valueA, static_cast<FloatVec&&>(child.valueA));
    if (evaluate) vecops::Add(f.valueB, static_cast<FloatVec&&>(child.valueB));
  }
}

namespace {

void EndPairValues(const TraversalFrame& f, const FloatVec& reachCall, const FloatVec& reachFold, FloatVec& callValue,
                   FloatVec& foldValue) {
  const SolverContext& context = *f.context;
  const TreeNode& node = *f.node;
  const TreeNode& call = context.nodes[size_t(node.children[size_t(node.ActionCount() - 2)])];
  const TreeNode& fold = context.nodes[size_t(node.children[size_t(node.ActionCount() - 1)])];
  const BoardNode& board = *ListNode(context, f.turn, f.river);
  const int32_t hands = board.HandCount();
  const float showdownPayoff = float(call.value);
  const float foldPayoff = float(fold.player == f.pass->traverser ? -fold.value : fold.value);
  vecops::Resize(callValue, hands);
  vecops::Resize(foldValue, hands);
  if (&reachCall == &reachFold)
    PairKernel(callValue.data, foldValue.data, reachCall.data, hands, board.tieRuns.data(), int(board.tieRuns.size()),
               board.handCards.data(), showdownPayoff, foldPayoff, f.liveMask);
  else
    PairKernel2(callValue.data, foldValue.data, reachCall.data, reachFold.data, hands, board.tieRuns.data(),
                int(board.tieRuns.size()), board.handCards.data(), showdownPayoff, foldPayoff, f.liveMask);
}

}  // namespace
