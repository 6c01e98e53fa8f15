// The batched river walk: its per-thread lists and the steps that fill and
// drain them.
//
// Terminal values are where a pass spends its time, and the lane kernels
// evaluate up to eight end nodes in one sweep over a river's hand list. To
// feed them, a river subtree (or, in a turn job, every river subtree of one
// river card at once) is walked twice. Collect goes down: it splits the
// opponent's reach, adds strategy sums and lists every end node with its
// reach. EvaluateBatch then runs the kernels over the whole list. Consume
// walks up in the same order, takes the values off the list and writes the
// regrets. This is the plain recursion reordered; nothing is approximated.
//
// A turn job of a flop tree goes one level further: its Collect stops where
// the turn street ends (turn folds, river deals) and lists those points in
// the thread's TurnBatch, so that the river work below them can run card by
// card across all of them (card-outer) or point by point (node-outer).
//
// Both batches belong to one thread and live as long as it; between uses
// their lists are empty but keep their capacity, so a warm batch allocates
// nothing but pooled arrays. The steps of the batched walk are declared
// with all the others, in traversal_steps.h.
#pragma once

#include <cstdint>
#include <vector>

#include "storage/float_vec.h"
#include "tree/tree_node.h"

struct BoardNode;
struct TraversalFrame;

// A river board has at most this many tie groups.
inline constexpr int MaxTieGroups = 136;

// Which hands of a river root can have reach: per tie group of up to 16
// hands a bit per hand, for a larger group 1 if any hand can. The showdown
// kernels skip groups that are 0 and, in small groups, hands off the mask.
struct LiveMask {
  int32_t count = 0;
  uint16_t groups[MaxTieGroups] = {};
};

struct TerminalEntry {
  double payoff = 0.0;    // from the traverser's side
  int32_t maskIndex = 0;  // the LiveMask of the root this end node lies under
  NodeKind kind = ShowdownEnd;
};

struct RiverBatch {
  LiveMask activeMask;
  std::vector<TerminalEntry> terminals;
  std::vector<FloatVec> results;
  std::vector<FloatVec> reaches;
  // Index into reaches of each terminal's reach; the call and the fold of
  // one river node share one. (Indices, not pointers: reaches grows.)
  std::vector<int32_t> terminalReach;
  std::vector<LiveMask> masks;  // one per root of a card-outer pass, else empty
  int32_t currentRoot = 0;
  int32_t cursor = 0;
  // Widest kernel group: the pass's SimdLevel, taken by PrepareRiverBatch.
  int32_t simdLevel = 8;
};

struct TurnBatch {
  std::vector<TreeNode*> entries;
  std::vector<FloatVec> reach;
  std::vector<FloatVec> values;
  std::vector<FloatVec> bestValues;  // evaluate passes: the best responses
  int32_t cursor = 0;
};

RiverBatch& ThreadRiverBatch();
TurnBatch& ThreadTurnBatch();

// The LiveMask of a reach on a river's hand list; a null reach gives all
// zeros.
void MakeLiveMask(LiveMask& mask, const BoardNode& river, const float* reach);

// Empties the lists (their arrays go back to the pool) and, with withMask,
// makes activeMask from the frame's reach on the frame's river.
void PrepareRiverBatch(RiverBatch& batch, const TraversalFrame& frame, bool withMask);

// Whether turn jobs take TurnJobRoot. Always on in the program; tests turn
// it off, together with SIMD level 1, to hold the batched walks against the
// plain recursion.
extern bool BatchTurnJobs;
