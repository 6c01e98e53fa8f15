// The parallel phase of a pass: one job per dealt card at the first deal.
//
// A pass does not fork at nodes. Its descend phase walks the streets above
// the first deal on one thread and queues a job per dealt card at every
// deal point it reaches; the jobs then run on the OpenMP team, longest
// first, and merge their values into the deal point's accumulators; the
// ascend phase walks the same way again and, with one cursor, picks the
// sums up in the order they were queued. Jobs of one pass address
// different (node, card) pairs, so the rows they write never meet; what
// they share, the accumulators, is guarded by the job merge mutex.
//
// The job list belongs to its Pass and goes with it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "storage/float_vec.h"

struct Pass;
struct SolverContext;
struct TraversalFrame;
struct TreeNode;

// What all jobs of one deal point share, on the deal point's hand list.
struct DealShared {
  FloatVec reachA;
  FloatVec reachB;
  FloatVec accumulatorA;
  FloatVec accumulatorB;
  bool hasB = false;
  int jobCount = 0;
};

struct SolveJob {
  TreeNode* node = nullptr;
  int32_t turn = -1;
  int32_t river = -1;
  bool riverJob = false;
  DealShared* shared = nullptr;
};

struct PassJobs {
  std::vector<SolveJob> list;
  std::vector<std::unique_ptr<DealShared>> deals;
  size_t cursor = 0;  // the next job whose deal point the ascend reaches
};

// Descend: queues one job per card of the deal below frame.node (a turn
// deal when frame.turn < 0, else a river deal under frame.turn), copying
// the frame's reaches; frame's values are left as zeros.
void QueueDeal(TraversalFrame& frame);
// Jobs: runs the queued jobs.
void RunJobs(SolverContext& context, Pass& pass);
// Ascend: rewinds the cursor, then hands each deal point the summed values
// of its jobs, on the deal point's hand list, in queueing order.
void StartJobResults(Pass& pass);
void TakeDealResults(TraversalFrame& frame);
// End of a pass: frees the jobs and what they hold while the pass's pool
// is still in scope.
void ClearJobs(Pass& pass);
