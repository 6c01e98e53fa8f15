#include "solver/jobs.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "setup/settings.h"
#include "setup/failure.h"
#include "solver/solver_locks.h"
#include "solver/pass.h"
#include "solver/river_batch.h"
#include "storage/thread_scratch.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"

std::mutex JobMergeMutex;

namespace {

const BoardNode& EntryOf(const SolverContext& context, const SolveJob& job) {
  const BoardNode& turnEntry = context.boardTree->turns[size_t(job.turn)];
  return job.riverJob ? turnEntry.rivers[size_t(job.river)] : turnEntry;
}

void RunJob(SolverContext& context, Pass& pass, SolveJob& job) {
  const auto start = std::chrono::steady_clock::now();
  EnsureThreadScratch(context.boardTree->hands.size());
  PoolScope pool(OwnPool());
  DealShared& shared = *job.shared;
  const BoardNode& entry = EntryOf(context, job);
  const int32_t hands = entry.HandCount();
  {
    TraversalFrame frame;
    frame.context = &context;
    frame.pass = &pass;
    frame.node = job.node;
    frame.turn = job.turn;
    frame.river = job.river;
    vecops::GatherReach(frame.reachA, shared.reachA, entry.parentIndex[0].data(), hands);
    vecops::GatherReach(frame.reachB, shared.reachB, entry.parentIndex[0].data(), hands);
    // With no reach on either side every value below is zero.
    if (frame.reachA.data || frame.reachB.data || pass.mode == TraversalMode::NodeQuery) {
      // Update and evaluate passes of a flop tree batch the river work of a
      // whole turn; not an evaluation of a tree with forgotten streets,
      // which takes stored values at the deal points instead.
      const bool walks = pass.mode == TraversalMode::Update ||
                         (pass.mode == TraversalMode::Evaluate && !(context.flags & IncompleteTreeFlag));
      const bool batched = BatchTurnJobs && !job.riverJob && context.rootStreet == 1 && walks;
      auto walk = [&] { batched ? TurnJobRoot(frame) : Traverse(frame); };
      if (!job.riverJob && job.node->dealMutexes) {
        std::lock_guard<std::mutex> deal(job.node->dealMutexes[size_t(job.turn)]);
        walk();
      } else {
        walk();
      }
    }
    if (frame.valueA.data || frame.valueB.data) {
      std::lock_guard<std::mutex> merge(JobMergeMutex);
      for (int32_t k = 0; k < entry.weight; ++k) {
        const uint16_t* index = entry.parentIndex[size_t(k)].data();
        if (frame.valueA.data) vecops::ScatterAdd(shared.accumulatorA.data, frame.valueA.data, index, hands);
        if (frame.valueB.data && shared.accumulatorB.data)
          vecops::ScatterAdd(shared.accumulatorB.data, frame.valueB.data, index, hands);
      }
    }
  }
  if (pass.mode == TraversalMode::Update) {
    const auto micros =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count();
    std::atomic_ref<int32_t>(job.node->timeEstimate[pass.traverser]).store(int32_t(micros), std::memory_order_relaxed);
  }
}

}  // namespace

void QueueDeal(TraversalFrame& frame) {
  const SolverContext& context = *frame.context;
  PassJobs& jobs = frame.pass->jobs;
  const int32_t hands = ListHandCount(context, frame.turn, frame.river);
  const bool riverDeal = frame.turn >= 0;
  auto shared = std::make_unique<DealShared>();
  vecops::Copy(shared->reachA, frame.reachA);
  vecops::Copy(shared->reachB, frame.reachB);
  shared->reachA.count = shared->reachB.count = hands;
  vecops::Zero(shared->accumulatorA, hands);
  shared->hasB = frame.pass->mode == TraversalMode::Evaluate || frame.reachB.data;
  if (shared->hasB)
    vecops::Zero(shared->accumulatorB, hands);
  else
    shared->accumulatorB.count = hands;

  const int cards = riverDeal ? int(context.boardTree->turns[size_t(frame.turn)].rivers.size())
                              : int(context.boardTree->turns.size());
  shared->jobCount = cards;
  for (int card = 0; card < cards; ++card) {
    SolveJob job;
    job.node = frame.node;
    job.turn = riverDeal ? frame.turn : card;
    job.river = riverDeal ? card : -1;
    job.riverJob = riverDeal;
    job.shared = shared.get();
    jobs.list.push_back(job);
  }
  jobs.deals.push_back(std::move(shared));
  vecops::SetNull(frame.valueA, hands);
  vecops::SetNull(frame.valueB, hands);
}

void RunJobs(SolverContext& context, Pass& pass) {
  std::vector<SolveJob>& jobs = pass.jobs.list;
  if (jobs.empty()) return;
  std::vector<SolveJob*> order(jobs.size());
  for (size_t i = 0; i < jobs.size(); ++i) order[i] = &jobs[i];
  // Longest first, by the time the node's jobs took last time for this
  // traverser; new nodes (-1) keep the order they were queued in.
  if (pass.mode == TraversalMode::Update) {
    const int traverser = pass.traverser;
    std::stable_sort(order.begin(), order.end(), [traverser](const SolveJob* a, const SolveJob* b) {
      return a->node->timeEstimate[traverser] > b->node->timeEstimate[traverser];
    });
  }
  const int count = int(order.size());
  const int threads = SolverThreadCount();
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (int i = 0; i < count; ++i) RunJob(context, pass, *order[size_t(i)]);
}

void StartJobResults(Pass& pass) { pass.jobs.cursor = 0; }

void TakeDealResults(TraversalFrame& frame) {
  const int32_t hands = ListHandCount(*frame.context, frame.turn, frame.river);
  PassJobs& jobs = frame.pass->jobs;
  // The ascend walks exactly as the descend did; a mismatch is a broken walk.
  if (jobs.cursor >= jobs.list.size() || jobs.list[jobs.cursor].node != frame.node) FatalError("job results out of step");
  DealShared& shared = *jobs.list[jobs.cursor].shared;
  frame.valueA = std::move(shared.accumulatorA);
  frame.valueB = std::move(shared.accumulatorB);
  frame.valueA.count = frame.valueB.count = hands;
  jobs.cursor += size_t(shared.jobCount);
}

void ClearJobs(Pass& pass) {
  pass.jobs.list.clear();
  pass.jobs.deals.clear();
  pass.jobs.cursor = 0;
}
