// RunPass, RunIteration, the dispatcher and the end nodes.
#include "solver/traversal.h"

#include "setup/settings.h"
#include "solver/jobs.h"
#include "solver/kernels/fold_kernel.h"
#include "solver/kernels/showdown_kernel.h"
#include "solver/node_query.h"
#include "solver/river_batch.h"
#include "solver/strategy_rules.h"
#include "storage/thread_scratch.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"

std::mutex PassMutex;

const BoardNode* ListNode(const SolverContext& context, int turn, int river) {
  if (turn < 0) return nullptr;
  const BoardNode& turnEntry = context.boardTree->turns[size_t(turn)];
  return river < 0 ? &turnEntry : &turnEntry.rivers[size_t(river)];
}

int32_t ListHandCount(const SolverContext& context, int turn, int river) {
  const BoardNode* list = ListNode(context, turn, river);
  return list ? list->HandCount() : int32_t(context.boardTree->hands.size());
}

const uint16_t* ListHandCards(const SolverContext& context, int turn, int river) {
  const BoardNode* list = ListNode(context, turn, river);
  return list ? list->handCards.data() : context.boardTree->handCards.data();
}

void EndValue(const TraversalFrame& f, const TreeNode& end, FloatVec& out) {
  const SolverContext& context = *f.context;
  const int32_t hands = ListHandCount(context, f.turn, f.river);
  if (!f.reachA.data) {
    vecops::SetNull(out, hands);
    return;
  }
  const float payoff = float(end.kind == FoldEnd && end.player == f.pass->traverser ? -end.value : end.value);
  vecops::Resize(out, hands);
  float* outs[1] = {out.data};
  const float* reaches[1] = {f.reachA.data};
  if (end.kind == ShowdownEnd) {
    const BoardNode& board = *ListNode(context, f.turn, f.river);
    ShowdownKernel<1>(outs, reaches, hands, board.tieRuns.data(), int(board.tieRuns.size()), board.handCards.data(),
                      &payoff, f.liveMask);
  } else {
    FoldKernel<1>(outs, reaches, hands, ListHandCards(context, f.turn, f.river), &payoff);
  }
}

void EndNode(TraversalFrame& f) {
  // The descend only queues jobs: its values are dropped.
  if (f.pass->phase == PassPhase::Descend) {
    const int32_t hands = ListHandCount(*f.context, f.turn, f.river);
    vecops::SetNull(f.valueA, hands);
    vecops::SetNull(f.valueB, hands);
    return;
  }
  EndValue(f, *f.node, f.valueA);
  if (f.pass->mode == TraversalMode::Evaluate) vecops::Copy(f.valueB, f.valueA);
}

void Traverse(TraversalFrame& f) {
  const Pass& pass = *f.pass;
  TreeNode& node = *f.node;
  // An opponent who never gets here makes every value below zero, and an
  // update writes nothing where values are zero: skip the subtree.
  if (!f.reachA.data && !f.reachB.data && pass.mode == TraversalMode::Update) {
    vecops::SetNull(f.valueA, ListHandCount(*f.context, f.turn, f.river));
    return;
  }
  // The first node of a river subtree, once its card is dealt.
  if (node.street == 3 && f.river >= 0 && (!node.parentNode || node.parentNode->street < 3))
    RiverEntry(f);
  else
    TraverseSteps(f);
  if (pass.mode == TraversalMode::NodeQuery && pass.query && pass.phase != PassPhase::Descend) CaptureQuery(f);
}

void TraverseSteps(TraversalFrame& f) {
  SolverContext& context = *f.context;
  TreeNode& node = *f.node;
  if (node.street >= 2 && f.turn < 0) {
    TurnChance(f);
  } else if (node.street == 3 && f.river < 0) {
    if (context.rootStreet == 1)
      RiverChanceInline(f);
    else
      RiverChance(f);
  } else if (node.kind != DecisionNode) {
    EndNode(f);
  } else if (node.player == f.pass->traverser) {
    DecisionOwn(f);
  } else {
    DecisionOpponent(f);
  }
}

PassValues RunPass(SolverContext& context, int player, TraversalMode mode) {
  std::lock_guard<std::mutex> passLock(PassMutex);
  Pass pass = StartPass(context, mode, player);
  EnsureThreadScratch(context.boardTree->hands.size());
  PoolScope pool(OwnPool());

  const std::vector<float>& weights = context.rootWeights[size_t(player ^ 1)];
  auto rootFrame = [&](TraversalFrame& frame) {
    frame.context = &context;
    frame.pass = &pass;
    frame.node = &context.nodes[0];
    frame.turn = context.rootTurn;
    frame.river = context.rootRiver;
    vecops::Resize(frame.reachA, int32_t(weights.size()));
    std::copy(weights.begin(), weights.end(), frame.reachA.data);
    frame.reachB.count = frame.reachA.count;
  };

  // A river tree deals nothing, so there is nothing to queue: its one walk
  // is the ascend. But its root is a river entry, and a batched entry
  // writes in whatever phase it runs; the descend of an update pass above
  // SIMD level 1 is therefore walked too, which gives such a tree a second
  // update per pass. At level 1 that walk would write nothing.
  const bool descend = context.rootStreet != 3 || (mode == TraversalMode::Update && pass.simdLevel > 1);
  TraversalFrame ascend;
  RunThreePhases(context, pass, descend, rootFrame, ascend);

  PassValues values;
  const float* norm = context.normWeights[size_t(player)].data();
  values.value = vecops::Dot(ascend.valueA, norm);
  if (mode == TraversalMode::Evaluate) values.bestResponse = vecops::Dot(ascend.valueB, norm);
  return values;
}

IterationValues RunIteration(SolverContext& context) {
  // The counters change between the passes, under the pass mutex, since
  // commands read them beside a running solver.
  {
    std::lock_guard<std::mutex> passLock(PassMutex);
    context.averageRiverNow = AverageRiverFor(context) ? 1 : 0;
  }
  const PassValues ip = RunPass(context, 1, TraversalMode::Update);
  const PassValues oop = RunPass(context, 0, TraversalMode::Update);
  {
    std::lock_guard<std::mutex> passLock(PassMutex);
    context.iteration += 1;
    context.flags &= ~NewTreeFlag;
  }
  IterationValues values;
  values.ip = ip.value;
  values.oop = oop.value;
  values.mean = (oop.value + ip.value) * 0.5;
  return values;
}
