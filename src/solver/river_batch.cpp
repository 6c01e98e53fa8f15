// The per-thread batches, live masks and the river entry.
#include "solver/river_batch.h"

#include <cstring>

#include "setup/settings.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "tree/showdown_tables.h"

bool BatchTurnJobs = true;

namespace {

thread_local RiverBatch riverBatch;
thread_local TurnBatch turnBatch;

// Clears on the way out, so that a walk that ends early leaves no stale
// mask in force.
class MaskInForce {
 public:
  explicit MaskInForce(RiverBatch& batch) : batch_(batch) { batch_.maskInForce = true; }
  ~MaskInForce() { batch_.maskInForce = false; }
  MaskInForce(const MaskInForce&) = delete;
  MaskInForce& operator=(const MaskInForce&) = delete;

 private:
  RiverBatch& batch_;
};

}  // namespace

RiverBatch& ThreadRiverBatch() { return riverBatch; }
TurnBatch& ThreadTurnBatch() { return turnBatch; }

const uint16_t* ActiveMaskInForce() { return riverBatch.maskInForce ? riverBatch.activeMask.groups : nullptr; }

void MakeLiveMask(LiveMask& mask, const BoardNode& river, const float* reach) {
  const int32_t groups = int32_t(river.tieRuns.size());
  mask.count = groups;
  std::memset(mask.groups, 0, sizeof mask.groups);
  if (!reach) return;
  for (const SmallTieGroup& group : river.smallGroups) {
    const float* r = reach + group.firstHand;
    uint32_t bits = 0;
    for (int i = 0; i < group.size; ++i) bits |= uint32_t(r[i] > 0.0f) << i;
    mask.groups[group.group] = uint16_t(bits);
  }
  for (const LargeTieGroup& group : river.largeGroups) {
    const float* r = reach + group.firstHand;
    uint32_t any = 0;
    for (int i = 0; i < group.size; ++i) any |= uint32_t(r[i] > 0.0f);
    mask.groups[group.group] = uint16_t(any);
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
  if (withMask) MakeLiveMask(batch.activeMask, *ListNode(*frame.context, frame.turn, frame.river), frame.reachA.data);
}

void RiverEntry(TraversalFrame& f) {
  RiverBatch& batch = riverBatch;
  PrepareRiverBatch(batch, f, true);
  if (f.context->mode == UpdateMode && SimdLevel > 1) {
    CollectNode(f, true);
    EvaluateBatch(*ListNode(*f.context, f.turn, f.river));
    ConsumeNode(f);
    PrepareRiverBatch(batch, f, false);
    return;
  }
  MaskInForce scope(batch);
  TraverseSteps(f);
}
