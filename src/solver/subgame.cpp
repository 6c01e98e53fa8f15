#include "solver/subgame.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>
#include <vector>

#include "setup/compatible_weight.h"
#include "setup/console.h"
#include "setup/failure.h"
#include "setup/settings.h"
#include "solver/boundary_walk.h"
#include "solver/forget.h"
#include "solver/river_batch.h"
#include "solver/river_rows_guard.h"
#include "solver/solver_control.h"
#include "solver/solver_driver.h"
#include "solver/strategy_rules.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"
#include "storage/thread_scratch.h"
#include "tree/solver_context.h"

int SubgameRoundLimit = SubgameRoundCap;

namespace {

constexpr int FirstAccuracyTest = 50;
constexpr int AccuracyTestPeriod = 25;

bool CardOfStreetGiven(const TreeNode& node, int turn, int river) {
  if (node.street == 3) return turn >= 0 && river >= 0;
  if (node.street == 2) return turn >= 0;
  return false;
}

bool Forgotten(const SolverContext& context) {
  return context.forgottenStreet >= 2 && context.forgottenStreet <= 3;
}

// The record of the place where the subgame begins: the turn deal's only
// one, or the river deal's of the dealt turn.
ChanceRecord* RecordOf(TreeNode& top, int turn) {
  const int slot = top.street == 3 ? turn : 0;
  if (top.IsEnd() || !top.chance || slot < 0 || slot >= top.chanceCount) return nullptr;
  return &top.chance[size_t(slot)];
}

void CopyInto(FloatVec& out, const std::vector<float>& in, int32_t hands) {
  if (in.empty()) {
    vecops::SetNull(out, hands);
    return;
  }
  vecops::Resize(out, hands);
  std::copy(in.begin(), in.end(), out.data);
}

// One subgame on one board: the arriving ranges on the board's hand list,
// and the walks of its rounds.
struct Subgame {
  SolverContext& context;
  TreeNode& top;
  int turn;
  int river;
  int32_t hands = 0;
  std::vector<float> reach[2];  // empty: no one arrives

  // The arriving reach lies on the list of the board before the deal, but
  // at a top without parent that is already the board in force.
  void Gather(const ChanceRecord& record) {
    const BoardTree& boards = *context.boardTree;
    const BoardNode* dealt = nullptr;
    if (top.parentNode) dealt = top.street == 3 ? &boards.turns[size_t(turn)].rivers[size_t(river)] : &boards.turns[size_t(turn)];
    for (int p = 0; p < 2; ++p) {
      const FloatVec& sum = record.reachSum[p];
      if (!sum.data) continue;
      reach[p].assign(size_t(hands), 0.0f);
      for (int32_t h = 0; h < hands; ++h) {
        const int32_t from = dealt ? dealt->parentIndex[0][size_t(h)] : h;
        if (from < sum.count) reach[p][size_t(h)] = sum.data[from];
      }
    }
  }

  // One walk for `traverser`; in evaluate mode the sum of its best-response
  // values against its own reach.
  double Walk(TraversalMode mode, int traverser) {
    Pass pass = StartPass(context, mode, traverser);
    PoolScope pool(OwnPool());
    auto fill = [&](TraversalFrame& frame) {
      frame.context = &context;
      frame.pass = &pass;
      frame.node = &top;
      frame.turn = turn;
      frame.river = river;
      CopyInto(frame.reachA, reach[traverser ^ 1], hands);
      frame.reachB.count = hands;
    };
    TraversalFrame result;
    if (context.rootStreet == 2 && top.street == 2) {
      // On a tree rooted on the turn the river deals are jobs, which need
      // the three phases of a pass.
      RunThreePhases(context, pass, true, fill, result);
    } else {
      pass.phase = PassPhase::Jobs;
      fill(result);
      const bool batched = BatchTurnJobs && mode == TraversalMode::Update && context.rootStreet == 1 && top.street == 2;
      if (batched)
        TurnJobRoot(result);
      else
        Traverse(result);
    }
    double best = 0.0;
    if (mode == TraversalMode::Evaluate && result.valueB.data && !reach[traverser].empty())
      for (int32_t h = 0; h < hands; ++h) best += double(result.valueB.data[h]) * double(reach[traverser][size_t(h)]);
    return best;
  }

  // The weight of all pairs of hands that can meet, one from each range.
  double MatchedMass() const {
    if (reach[0].empty() || reach[1].empty()) return 0.0;
    const uint16_t* cards = ListHandCards(context, turn, river);
    CompatibleWeight other;
    for (int32_t h = 0; h < hands; ++h) other.Add(cards[h], double(reach[1][size_t(h)]));
    double mass = 0.0;
    for (int32_t h = 0; h < hands; ++h)
      mass += double(reach[0][size_t(h)]) * other.Of(cards[h], double(reach[1][size_t(h)]));
    return mass;
  }

  // Rounds until the accuracy of the top's street or the cap; the last
  // exploitability measured.
  double Run() {
    const double target = RecalcAccuracy[size_t(top.street - 1)];
    double exploitability = 0.0;
    for (int round = 0; round < SubgameRoundLimit; ++round) {
      context.averageRiverNow = AverageRiverFor(context) ? 1 : 0;
      Walk(TraversalMode::Update, 1);
      Walk(TraversalMode::Update, 0);
      context.iteration += 1;
      if (context.iteration < FirstAccuracyTest || context.iteration % AccuracyTestPeriod != 0) continue;
      const double bestIp = Walk(TraversalMode::Evaluate, 1);
      const double bestOop = Walk(TraversalMode::Evaluate, 0);
      // With no one arriving on a side nothing can be won or lost here.
      const double mass = MatchedMass();
      exploitability = mass > 0.0 ? 0.5 * (bestOop + bestIp) / mass : 0.0;
      if (exploitability <= target) break;
    }
    return exploitability;
  }
};

}  // namespace

TreeNode& SubgameTop(SolverContext& context, TreeNode& node) {
  TreeNode* top = &node;
  while (top->parentNode && top->parentNode->street >= context.forgottenStreet) top = top->parentNode;
  return *top;
}

double SolveSubgame(SolverContext& context, TreeNode& top, int turn, int river, bool force) {
  ChanceRecord* record = RecordOf(top, turn);
  if (!record || turn < 0 || (top.street == 3 && river < 0)) return 0.0;
  const int bit = top.street == 3 ? river : turn;
  if (!force && (record->resolvedCards >> bit & 1)) return 0.0;
  const auto start = std::chrono::steady_clock::now();

  double exploitability = 0.0;
  {
    std::lock_guard<std::mutex> passLock(PassMutex);
    // The subgame runs on the schedule of a fresh tree, and its deals walk
    // their subtrees instead of reading the stored values.
    const int32_t keptIteration = context.iteration;
    const uint8_t keptAverageRiver = context.averageRiverNow;
    const uint32_t keptIncomplete = context.flags & IncompleteTreeFlag;
    context.iteration = 0;
    context.flags &= ~IncompleteTreeFlag;
    EnsureThreadScratch(context.boardTree->hands.size());

    Subgame game{context, top, turn, top.street == 3 ? river : -1, 0, {}};
    game.hands = ListHandCount(context, game.turn, game.river);
    game.Gather(*record);
    {
      // A river board's compressed rows stay decoded for the whole solve
      // and all go back at its end.
      RiverRowsGuard rows(context, top, top.street == 3 ? turn : -1);
      exploitability = game.Run();
      rows.Close(true);
    }
    record->resolvedCards |= uint64_t(1) << bit;
    // A solver that goes on between its passes finds its iteration as it
    // left it.
    context.iteration = keptIteration;
    context.averageRiverNow = keptAverageRiver;
    context.flags |= keptIncomplete;
  }

  if (Verbosity > 0) {
    const auto elapsed = std::chrono::steady_clock::now() - start;
    PrintNow("[%s: %gms]\n", "SolveSubgame",
             double(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()));
  }
  return exploitability;
}

bool BringBackSubgame(SolverContext& context, TreeNode& node, int turn, int river, bool solve) {
  if (!(context.flags & IncompleteTreeFlag) || !Forgotten(context)) return true;
  if (node.street < context.forgottenStreet || !CardOfStreetGiven(node, turn, river)) return true;
  TreeNode& top = SubgameTop(context, node);
  if (top.IsEnd()) return true;
  {
    std::lock_guard<std::mutex> passLock(PassMutex);
    // Without memory for its rows the subgame can't be walked.
    if (!RebuildSubtreeStores(context, top, false)) return false;
  }
  if (solve) SolveSubgame(context, top, turn, river, false);
  return true;
}

bool BringBackRiversBelow(SolverContext& context, TreeNode& node, int turn, int river) {
  if (!(context.flags & IncompleteTreeFlag) || context.forgottenStreet != 3 || turn < 0 || node.IsEnd()) return true;
  bool ready = true;
  if (node.street == 3) {
    if (river >= 0) return true;
    const int rivers = int(context.boardTree->turns[size_t(turn)].rivers.size());
    for (int r = 0; r < rivers; ++r) ready &= BringBackSubgame(context, node, turn, r, true);
    return ready;
  }
  if (node.street != 2) return true;
  for (int32_t child : node.children) ready &= BringBackRiversBelow(context, context.nodes[size_t(child)], turn, river);
  return ready;
}

double SolvePartialAt(SolverContext& context, TreeNode& node, int turn, int river) {
  if (!Forgotten(context) || node.street < context.forgottenStreet || !CardOfStreetGiven(node, turn, river)) return 0.0;
  TreeNode& top = SubgameTop(context, node);
  if (top.IsEnd()) return 0.0;
  {
    std::lock_guard<std::mutex> passLock(PassMutex);
    if (!context.storesReady) AllocateStores(context);
    if (!RebuildSubtreeStores(context, top, false)) FailCommand("out of memory");
  }
  return SolveSubgame(context, top, turn, river, true);
}

namespace {

// One update pass of every frame for `traverser`; the frames' values are
// dropped, since nothing above them is solved.
void ResolvePass(SolverContext& context, std::vector<BoundaryFrame>& frames, int street, int traverser) {
  Pass pass = StartPass(context, TraversalMode::Update, traverser);
  auto fill = [&](TraversalFrame& frame, const BoundaryFrame& from) {
    frame.context = &context;
    frame.pass = &pass;
    frame.node = from.node;
    frame.turn = from.turn;
    frame.river = from.river;
    const int32_t hands = ListHandCount(context, from.turn, from.river);
    CopyInto(frame.reachA, from.reach[traverser ^ 1], hands);
    frame.reachB.count = hands;
  };
  PoolScope pool(OwnPool());
  if (context.rootStreet == 3) {
    // A river tree's one frame is its root, whose board is dealt already.
    pass.phase = PassPhase::Jobs;
    for (const BoundaryFrame& from : frames) {
      TraversalFrame frame;
      fill(frame, from);
      Traverse(frame);
    }
  } else if (context.rootStreet == 2) {
    // A turn tree deals its rivers as jobs: each frame is a pass of its
    // own.
    for (const BoundaryFrame& from : frames) {
      TraversalFrame result;
      RunThreePhases(context, pass, true, [&](TraversalFrame& frame) { fill(frame, from); }, result);
    }
  } else if (street == 2) {
    // Every frame deals its turns as jobs, and the jobs of all frames run
    // together.
    pass.phase = PassPhase::Descend;
    for (const BoundaryFrame& from : frames) {
      TraversalFrame frame;
      fill(frame, from);
      Traverse(frame);
    }
    pass.phase = PassPhase::Jobs;
    RunJobs(context, pass);
    ClearJobs(pass);
  } else {
    // A frame is one river subtree under one dealt turn: frames touch
    // separate rows and run in parallel.
    pass.phase = PassPhase::Jobs;
    const int count = int(frames.size());
    const size_t longest = context.boardTree->hands.size();
#pragma omp parallel for schedule(guided, 1) num_threads(SolverThreadCount())
    for (int i = 0; i < count; ++i) {
      EnsureThreadScratch(longest);
      PoolScope own(OwnPool());
      TraversalFrame frame;
      fill(frame, frames[size_t(i)]);
      Traverse(frame);
    }
  }
}

}  // namespace

void ResolveStreet(SolverContext& context, int street) {
  // A river tree has no turns; after forget turns the rivers have no turn
  // strategy to arrive by, so the turns are solved with them.
  street = std::max(street, int(context.rootStreet));
  if (Forgotten(context) && (context.flags & IncompleteTreeFlag)) street = std::min(street, int(context.forgottenStreet));
  RebuildForgottenStreets(context);
  if (!context.storesReady) AllocateStores(context);
  // Every subgame is walked: its rows must all have their memory.
  for (const TreeNode& node : context.nodes)
    if (node.street >= street && node.store0 && !node.storesAllocated) FailCommand("out of memory");
  std::vector<BoundaryFrame> frames = BoundaryWalk(context, street);

  std::lock_guard<std::mutex> passLock(PassMutex);
  EnsureThreadScratch(context.boardTree->hands.size());
  for (BoundaryFrame& frame : frames) {
    ChanceRecord* record = RecordOf(*frame.node, frame.turn);
    for (int p = 0; p < 2; ++p) {
      frame.reach[p].clear();
      if (record && record->reachSum[p].data)
        frame.reach[p].assign(record->reachSum[p].data, record->reachSum[p].data + record->reachSum[p].count);
    }
  }
  // As many rounds as the tree had, which a run never takes past its cap.
  const int32_t rounds = std::clamp(context.iteration, 1, std::max(context.iterationCap, 1));
  const int32_t keptIteration = context.iteration;
  const uint8_t keptAverageRiver = context.averageRiverNow;
  context.iteration = 0;
  for (int32_t r = 1; r <= rounds; ++r) {
    if (Verbosity > 0) PrintNow("[resolve %s iteration %d/%d]\n", street == 2 ? "turn" : "river", r, rounds);
    context.averageRiverNow = AverageRiverFor(context) ? 1 : 0;
    ResolvePass(context, frames, street, 1);
    ResolvePass(context, frames, street, 0);
    context.iteration += 1;
  }
  // Nothing is forgotten now: every deal point sums its reach again.
  for (TreeNode& node : context.nodes)
    for (int k = 0; k < node.chanceCount; ++k) node.chance[size_t(k)].frozen = 0;
  context.iteration = keptIteration;
  context.averageRiverNow = keptAverageRiver;
  context.forgottenStreet = -1;
}
