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
// The job list is one process-wide list: only the holder of the pass mutex
// runs a pass.
#pragma once

#include <cstdint>

#include "storage/float_vec.h"

struct SolverContext;
struct TraversalFrame;

// Phase 0: queues one job per card of the deal below frame.node (a turn
// deal when frame.turn < 0, else a river deal under frame.turn), copying
// the frame's reaches; frame's values are left as zeros.
void QueueDeal(TraversalFrame& frame);
// Phase 1: runs the queued jobs.
void RunJobs(SolverContext& context);
// Phase 2: rewinds the cursor, then hands each deal point the summed values
// of its jobs, on the deal point's hand list, in queueing order.
void StartJobResults();
void TakeDealResults(TraversalFrame& frame);
// End of a pass: frees the jobs and what they hold.
void ClearJobs();
// Jobs queued in this pass so far.
int QueuedJobCount();
