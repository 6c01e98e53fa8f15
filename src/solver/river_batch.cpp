// The per-thread batches, live masks and the river entry.
#include "solver/river_batch.h"

#include <immintrin.h>

#include <algorithm>
#include <cstring>

#include "setup/cards.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "tree/showdown_tables.h"

bool BatchTurnJobs = true;

namespace {

thread_local RiverBatch riverBatch;
thread_local TurnBatch turnBatch;

}  // namespace

RiverBatch& ThreadRiverBatch() { return riverBatch; }
TurnBatch& ThreadTurnBatch() { return turnBatch; }

void MakeLiveMask(LiveMask& mask, const BoardNode& river, const float* reach) {
  const int32_t groups = int32_t(river.tieRuns.size());
  mask.count = groups;
  if (!reach) {
    std::memset(mask.groups, 0, sizeof(uint16_t) * size_t(groups));
    return;
  }
  // One bit per hand, eight compares at a time; the groups then cut their
  // bits out of this.
  const int32_t hands = river.HandCount();
  uint64_t live[(HandCount + 63) / 64];
  int32_t i = 0;
  for (; i + 8 <= hands; i += 8) {
    const __m256 r = _mm256_loadu_ps(reach + i);
    const uint64_t bits = uint64_t(_mm256_movemask_ps(_mm256_cmp_ps(r, _mm256_setzero_ps(), _CMP_GT_OQ)));
    if (i % 64 == 0) live[i / 64] = 0;
    live[i / 64] |= bits << (i % 64);
  }
  for (; i < hands; ++i) {
    if (i % 64 == 0) live[i / 64] = 0;
    live[i / 64] |= uint64_t(reach[i] > 0.0f) << (i % 64);
  }
  // Bits first .. first + size - 1 (size <= 16), across a word boundary too.
  auto bitsAt = [&](int first, int size) {
    const int word = first / 64, shift = first % 64;
    uint64_t bits = live[word] >> shift;
    if (shift + size > 64) bits |= live[word + 1] << (64 - shift);
    return uint32_t(bits) & ((uint32_t(1) << size) - 1);
  };
  // The tie runs rather than the group tables: two bytes a group, and
  // already in cache for the kernels that follow.
  int first = 0;
  for (int32_t g = 0; g < groups; ++g) {
    const int size = river.tieRuns[size_t(g)];
    if (size <= SmallTieGroupLimit) {
      mask.groups[g] = uint16_t(bitsAt(first, size));
    } else {
      uint32_t any = 0;
      for (int at = first, end = first + size; at < end && !any; at += 16) any = bitsAt(at, std::min(16, end - at));
      mask.groups[g] = uint16_t(any != 0);
    }
    first += size;
  }
}

void PrepareRiverBatch(RiverBatch& batch, const TraversalFrame& frame, bool withMask) {
  batch.terminals.clear();
  batch.results.clear();
  batch.reaches.clear();
  batch.terminalReach.clear();
  batch.masks.clear();
  batch.currentRoot = 0;
  batch.cursor = 0;
  batch.simdLevel = frame.pass->simdLevel;
  if (withMask) MakeLiveMask(batch.activeMask, *ListNode(*frame.context, frame.turn, frame.river), frame.reachA.data);
}

void RiverEntry(TraversalFrame& f) {
  RiverBatch& batch = riverBatch;
  PrepareRiverBatch(batch, f, true);
  const TraversalMode mode = f.pass->mode;
  if ((mode == TraversalMode::Update || mode == TraversalMode::Evaluate) && f.pass->simdLevel > 1) {
    CollectNode(f, true);
    EvaluateBatch(*ListNode(*f.context, f.turn, f.river));
    ConsumeNode(f);
    PrepareRiverBatch(batch, f, false);
    return;
  }
  // The plain steps below carry the mask down in their frames; nothing in
  // a river subtree remakes the batch's mask while they run.
  f.liveMask = batch.activeMask.groups;
  TraverseSteps(f);
}
