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
#include "solver/river_batch.h"
#include "storage/thread_scratch.h"
#include "solver/traversal.h"
#include "solver/traversal_steps.h"
#include "solver/vector_ops.h"

std::mutex JobMergeMutex;

namespace {

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
  SolverContext* context = nullptr;
  TreeNode* node = nullptr;
  int32_t turn = -1;
  int32_t river = -1;
  bool riverJob = false;
  DealShared* shared = nullptr;
};

std::vector<SolveJob> jobs;
std::vector<std::unique_ptr<DealShared>> deals;
size_t cursor = 0;

const BoardNode& EntryOf(const SolverContext& context, const SolveJob& job) {
  const BoardNode& turnEntry = context.boardTree->turns[size_t(job.turn)];
  return job.riverJob ? turnEntry.rivers[size_t(job.river)] : turnEntry;
}

void RunJob(SolveJob& job) {
  const auto start = std::chrono::steady_clock::now();
  SolverContext& context = *job.context;
  EnsureThreadScratch(context.boardTree->hands.size());
  PoolScope pool(OwnPool());
  DealShared& shared = *job.shared;
  const BoardNode& entry = EntryOf(context, job);
  const int32_t hands = entry.HandCount();
  {
    TraversalFrame frame;
    frame.context = &context;
    frame.node = job.node;
    frame.turn = job.turn;
    frame.river = job.river;
    vecops::GatherReach(frame.reachA, shared.reachA, entry.parentIndex[0].data(), hands);
    vecops::GatherReach(frame.reachB, shared.reachB, entry.parentIndex[0].data(), hands);
    // With no reach on either side every value below is zero.
    if (frame.reachA.data || frame.reachB.data || context.mode == QueryMode) {
      // Update passes of a flop tree batch the river work of a whole turn.
      const bool batched = BatchTurnJobs && !job.riverJob && context.rootStreet == 1 && context.mode == UpdateMode;
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
  if (context.mode == UpdateMode) {
    const auto micros =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count();
    std::atomic_ref<int32_t>(job.node->timeEstimate[context.traverser]).store(int32_t(micros), std::memory_order_relaxed);
  }
}

}  // namespace

void QueueDeal(TraversalFrame& frame) {
  SolverContext& context = *frame.context;
  const int32_t hands = ListHandCount(context, frame.turn, frame.river);
  const bool riverDeal = frame.turn >= 0;
  auto shared = std::make_unique<DealShared>();
  vecops::Copy(shared->reachA, frame.reachA);
  vecops::Copy(shared->reachB, frame.reachB);
  shared->reachA.count = shared->reachB.count = hands;
  vecops::Zero(shared->accumulatorA, hands);
  shared->hasB = context.mode == EvaluateMode || frame.reachB.data;
  if (shared->hasB)
    vecops::Zero(shared->accumulatorB, hands);
  else
    shared->accumulatorB.count = hands;

  const int cards = riverDeal ? int(context.boardTree->turns[size_t(frame.turn)].rivers.size())
                              : int(context.boardTree->turns.size());
  shared->jobCount = cards;
  for (int card = 0; card < cards; ++card) {
    SolveJob job;
    job.context = &context;
    job.node = frame.node;
    job.turn = riverDeal ? frame.turn : card;
    job.river = riverDeal ? card : -1;
    job.riverJob = riverDeal;
    job.shared = shared.get();
    jobs.push_back(job);
  }
  deals.push_back(std::move(shared));
  vecops::SetNull(frame.valueA, hands);
  vecops::SetNull(frame.valueB, hands);
}

void RunJobs(SolverContext& context) {
  if (jobs.empty()) return;
  std::vector<SolveJob*> order(jobs.size());
  for (size_t i = 0; i < jobs.size(); ++i) order[i] = &jobs[i];
  // Longest first, by the time the node's jobs took last time for this
  // traverser; new nodes (-1) keep the order they were queued in.
  if (context.mode == UpdateMode) {
    const int traverser = context.traverser;
    std::stable_sort(order.begin(), order.end(), [traverser](const SolveJob* a, const SolveJob* b) {
      return a->node->timeEstimate[traverser] > b->node->timeEstimate[traverser];
    });
  }
  const int count = int(order.size());
  const int threads = SolverThreadCount();
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (int i = 0; i < count; ++i) RunJob(*order[size_t(i)]);
}

void StartJobResults() { cursor = 0; }

void TakeDealResults(TraversalFrame& frame) {
  const int32_t hands = ListHandCount(*frame.context, frame.turn, frame.river);
  // Phase 2 walks exactly as phase 0 did; a mismatch is a broken walk.
  if (cursor >= jobs.size() || jobs[cursor].node != frame.node) FatalError("job results out of step");
  DealShared& shared = *jobs[cursor].shared;
  frame.valueA = std::move(shared.accumulatorA);
  frame.valueB = std::move(shared.accumulatorB);
  frame.valueA.count = frame.valueB.count = hands;
  cursor += size_t(shared.jobCount);
}

void ClearJobs() {
  jobs.clear();
  deals.clear();
  cursor = 0;
}

int QueuedJobCount() { return int(jobs.size()); }
