// EvaluateBatch: the terminals of a river batch through the lane kernels.
//
// Showdowns and folds go in separate groups, each cut greedily by the SIMD
// level (lane_groups.h). A showdown group sweeps the union of its roots'
// live masks, so a tie group is skipped only when dead for all lanes.
#include <cstring>

#include "solver/kernels/fold_kernel.h"
#include "solver/kernels/lane_groups.h"
#include "solver/kernels/showdown_kernel.h"
#include "solver/river_batch.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"
#include "tree/board_tree.h"
#include "tree/tree_node.h"

namespace {

constexpr int MaxLanes = 8;

// A group's mask: the first root's copied, the others ORed in; the same
// root twice in a row is taken once.
void UnionOfMasks(RiverBatch& batch, const int32_t* group, int width) {
  if (batch.masks.empty()) return;
  LiveMask& mask = batch.activeMask;
  int32_t previous = -1;
  for (int l = 0; l < width; ++l) {
    const int32_t index = batch.terminals[size_t(group[l])].maskIndex;
    if (index == previous) continue;
    const LiveMask& root = batch.masks[size_t(index)];
    if (previous < 0) {
      mask = root;
    } else {
      for (int g = 0; g < root.count; ++g) mask.groups[g] = uint16_t(mask.groups[g] | root.groups[g]);
    }
    previous = index;
  }
}

template <int L>
void Showdowns(float* const* outs, const float* const* reaches, const BoardNode& river, const float* payoffs,
               const uint16_t* mask) {
  ShowdownKernel<L>(outs, reaches, river.HandCount(), river.tieRuns.data(), int(river.tieRuns.size()),
                    river.handCards.data(), payoffs, mask);
}

template <int L>
void Folds(float* const* outs, const float* const* reaches, const BoardNode& river, const float* payoffs) {
  FoldKernel<L>(outs, reaches, river.HandCount(), river.handCards.data(), payoffs);
}

// Runs the terminals listed in `order` in groups of the widths `next`
// chooses.
template <class NextWidth, class Kernel>
void RunGroups(RiverBatch& batch, const std::vector<int32_t>& order, int32_t hands, NextWidth next, Kernel kernel) {
  const int simdLevel = batch.simdLevel;
  size_t at = 0;
  while (at < order.size()) {
    const int width = next(int(order.size() - at), simdLevel);
    float* outs[MaxLanes];
    const float* reaches[MaxLanes];
    float payoffs[MaxLanes];
    for (int l = 0; l < width; ++l) {
      const int32_t t = order[at + size_t(l)];
      vecops::Resize(batch.results[size_t(t)], hands);
      outs[l] = batch.results[size_t(t)].data;
      reaches[l] = batch.reaches[size_t(batch.terminalReach[size_t(t)])].data;
      payoffs[l] = float(batch.terminals[size_t(t)].payoff);
    }
    kernel(width, outs, reaches, payoffs, &order[at]);
    at += size_t(width);
  }
}

}  // namespace

void EvaluateBatch(const BoardNode& river) {
  RiverBatch& batch = ThreadRiverBatch();
  const int32_t hands = river.HandCount();
  const size_t count = batch.terminals.size();
  batch.results.resize(count);
  // Kept between calls like the batch itself.
  thread_local std::vector<int32_t> showdowns, folds;
  showdowns.clear();
  folds.clear();
  for (size_t t = 0; t < count; ++t) {
    vecops::SetNull(batch.results[t], hands);
    if (!batch.reaches[size_t(batch.terminalReach[t])].data) continue;
    (batch.terminals[t].kind == ShowdownEnd ? showdowns : folds).push_back(int32_t(t));
  }

  RunGroups(batch, showdowns, hands, NextShowdownWidth,
            [&](int width, float* const* outs, const float* const* reaches, const float* payoffs, const int32_t* group) {
              UnionOfMasks(batch, group, width);
              const uint16_t* mask = batch.activeMask.groups;
              switch (width) {
                case 8: Showdowns<8>(outs, reaches, river, payoffs, mask); break;
                case 7: Showdowns<7>(outs, reaches, river, payoffs, mask); break;
                case 6: Showdowns<6>(outs, reaches, river, payoffs, mask); break;
                case 4: Showdowns<4>(outs, reaches, river, payoffs, mask); break;
                case 3: Showdowns<3>(outs, reaches, river, payoffs, mask); break;
                case 2: Showdowns<2>(outs, reaches, river, payoffs, mask); break;
                default: Showdowns<1>(outs, reaches, river, payoffs, mask); break;
              }
            });
  RunGroups(batch, folds, hands, NextFoldWidth,
            [&](int width, float* const* outs, const float* const* reaches, const float* payoffs, const int32_t*) {
              switch (width) {
                case 8: Folds<8>(outs, reaches, river, payoffs); break;
                case 7: Folds<7>(outs, reaches, river, payoffs); break;
                case 6: Folds<6>(outs, reaches, river, payoffs); break;
                case 4: Folds<4>(outs, reaches, river, payoffs); break;
                case 3: Folds<3>(outs, reaches, river, payoffs); break;
                case 2: Folds<2>(outs, reaches, river, payoffs); break;
                default: Folds<1>(outs, reaches, river, payoffs); break;
              }
            });
}
