#include "solver/river_blocks_check.h"

#include <atomic>
#include <utility>
#include <vector>

#include "solver/river_chains.h"
#include "storage/codec_failure_note.h"
#include "tree/solver_context.h"

bool CheckRiverBlocks(SolverContext& context) {
  const bool stores[2] = {RiverChainsCompress(context, false), RiverChainsCompress(context, true)};
  if (!stores[0] && !stores[1]) return true;
  std::vector<std::pair<TreeNode*, int>> visits;
  const int turns = int(context.boardTree->turns.size());
  for (TreeNode& node : context.nodes)
    if (node.street == 3 && node.chance && !node.IsEnd())
      for (int turn = 0; turn < turns; ++turn) visits.emplace_back(&node, turn);

  // The loader runs alone: no solver thread reads the hook meanwhile.
  const CodecFailureNote note;
  const bool keep[2] = {false, false};
#pragma omp parallel for schedule(dynamic)
  for (size_t i = 0; i < visits.size(); ++i) {
    if (note.Failed()) continue;
    auto [top, turn] = visits[i];
    for (int second = 0; second < 2; ++second) {
      if (!stores[second]) continue;
      OpenRiverChains(context, *top, turn, RiverChainSet{second != 0, -1});
      CloseRiverChains(context, *top, turn, RiverChainSet{second != 0, -1}, keep);
    }
  }
  return !note.Failed();
}
