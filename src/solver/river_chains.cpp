#include "solver/river_chains.h"

#include <cstdint>

#include "solver/pass.h"
#include "solver/strategy_rules.h"
#include "storage/memory_arena.h"
#include "storage/strategy_store.h"
#include "tree/solver_context.h"

namespace {

template <class Fn>
void ForChainStores(SolverContext& context, TreeNode& node, RiverChainSet set, Fn fn) {
  if (node.kind != DecisionNode) return;
  StrategyStore* store = set.second ? node.store1.get() : node.store0.get();
  // A river node without a strategy sum store is passed over.
  if (store && (set.player < 0 || node.player == set.player)) fn(*store, node.player & 1);
  for (int32_t child : node.children) ForChainStores(context, context.nodes[size_t(child)], set, fn);
}

// Sums take part where the pass reads the average strategy, and in an
// update pass only in the iterations that add river sums.
bool SumsTouched(const SolverContext& context, const Pass& pass, const TreeNode& top) {
  const bool update = pass.mode == TraversalMode::Update;
  return !AverageIsCurrent(context, pass, top) && (!update || context.averageRiverNow);
}

RiverChainSet SumSet(const Pass& pass) {
  return {true, pass.mode == TraversalMode::Update ? pass.traverser ^ 1 : -1};
}

}  // namespace

bool RiverChainsCompress(const SolverContext& context, bool second) {
  const int level = context.storeLevels[second ? 1 : 0];
  return level == 1 || level == 2;
}

void OpenRiverChains(SolverContext& context, TreeNode& top, int turn, RiverChainSet set) {
  if (!RiverChainsCompress(context, set.second)) return;
  int64_t total[2] = {0, 0};
  ForChainStores(context, top, set, [&](StrategyStore& store, int p) { total[p] += store.EntryCount(turn); });
  MemoryArena* chain[2] = {nullptr, nullptr};
  ForChainStores(context, top, set,
                 [&](StrategyStore& store, int p) { chain[p] = store.OpenGroup(chain[p], turn, total[p]); });
  for (MemoryArena* arena : chain)
    if (arena) arena->EndRead();
}

void CloseRiverChains(SolverContext& context, TreeNode& top, int turn, RiverChainSet set, const bool write[2]) {
  if (!RiverChainsCompress(context, set.second)) return;
  MemoryArena* chain[2] = {nullptr, nullptr};
  ForChainStores(context, top, set,
                 [&](StrategyStore& store, int p) { chain[p] = store.CloseGroup(chain[p], turn, write[p]); });
  for (MemoryArena* arena : chain)
    if (arena) arena->EndWrite();
}

void OpenPassRiverRows(SolverContext& context, const Pass& pass, TreeNode& top, int turn) {
  OpenRiverChains(context, top, turn, {false, -1});
  if (SumsTouched(context, pass, top)) OpenRiverChains(context, top, turn, SumSet(pass));
}

void ClosePassRiverRows(SolverContext& context, const Pass& pass, TreeNode& top, int turn) {
  const bool update = pass.mode == TraversalMode::Update;
  const int traverser = pass.traverser;
  const bool writeRegrets[2] = {update && traverser == 0, update && traverser == 1};
  const bool writeSums[2] = {update && traverser == 1, update && traverser == 0};
  CloseRiverChains(context, top, turn, {false, -1}, writeRegrets);
  if (SumsTouched(context, pass, top)) CloseRiverChains(context, top, turn, SumSet(pass), writeSums);
}

void SetRiverChainElements(SolverContext& context) {
  const int turns = int(context.boardTree->turns.size());
  for (int second = 0; second < 2; ++second) {
    if (!RiverChainsCompress(context, second != 0)) continue;
    const RiverChainSet set{second != 0, -1};
    for (TreeNode& top : context.nodes) {
      if (top.street != 3 || !top.chance || top.IsEnd()) continue;
      for (int turn = 0; turn < turns; ++turn) {
        int64_t total[2] = {0, 0};
        ForChainStores(context, top, set, [&](StrategyStore& store, int p) { total[p] += store.EntryCount(turn); });
        StrategyStore* first[2] = {nullptr, nullptr};
        ForChainStores(context, top, set, [&](StrategyStore& store, int p) {
          if (!first[p]) first[p] = &store;
        });
        for (int p = 0; p < 2; ++p)
          if (first[p]) first[p]->SetChainElements(turn, total[p]);
      }
    }
  }
}
