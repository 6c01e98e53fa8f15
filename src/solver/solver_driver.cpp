#include "solver/solver_driver.h"

#include <omp.h>
#include <sys/resource.h>
#include <time.h>

#include <atomic>
#include <cstdio>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "setup/console.h"
#include "setup/settings.h"
#include "solver/solver_control.h"
#include "solver/traversal.h"
#include "storage/physical_memory.h"
#include "tree/global_context.h"
#include "tree/solver_context.h"
#include "tree/store_setup.h"

namespace {

std::mutex HistoryMutex;
std::vector<ResultsRecord> History;
size_t PrintedCount = 0;
int32_t PrintedIteration = -1;
// Written by the solver thread before each report; read by the printer,
// which may run on another thread in principle.
std::atomic<double> PublishedCpuSeconds{0.0};

// Set by StartSolver before the thread exists, read by the thread only.
uint32_t RunLimit = 0;
bool LimitInSteps = false;
ResultsReporter Reporter = nullptr;

int64_t NowNanoseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// Kernel plus user time of the whole process, every thread of it.
double ProcessCpuSeconds() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

void SolverMain(SolverContext* context) {
  PrintNow("SOLVER: started\n");
  const int32_t startIteration = context->iteration;
  const double cpuStart = ProcessCpuSeconds();
  PublishedCpuSeconds = 0.0;
  const int64_t startTime = NowNanoseconds();
  int64_t lastMeasure = startTime;
  int64_t minGapMs = 0;
  const char* reason = "requested";

  while (!SolverStopRequested()) {
    // The cap stops a run as a stop request would, and says so.
    if (context->iteration >= context->iterationCap) break;
    // Takes effect at the next parallel region, so set_threads works
    // during a run.
    omp_set_num_threads(SolverThreadCount());
    RunIteration(*context);
    if (UiNotifications) PrintNow("#iterations %d\n", context->iteration);

    const int period = MeasurementPeriod;
    const int64_t now = NowNanoseconds();
    if (period > 0 && context->iteration % period == 0 && (now - lastMeasure) / 1000000 >= minGapMs) {
      lastMeasure = now;
      ResultsRecord record = MeasureResults(*context);
      record.seconds = double((lastMeasure - startTime) / 1000000) / 1000.0;
      {
        std::lock_guard<std::mutex> lock(HistoryMutex);
        History.push_back(record);
      }
      PublishedCpuSeconds = ProcessCpuSeconds() - cpuStart;
      PrintLatestResults();
      if (SolverAccuracy >= record.exploitability) {
        reason = "required accuracy reached";
        break;
      }
      minGapMs = context->iteration < 4 * period ? 250 : 500;
    }
    if (LimitInSteps) {
      if (int64_t(context->iteration) >= int64_t(RunLimit) + startIteration) {
        reason = "required number of steps done";
        break;
      }
    } else if (RunLimit > 0 && (now - startTime) / 1000000000 >= int64_t(RunLimit)) {
      reason = "timeout reached";
      break;
    }
  }
  MarkSolverFinished(reason);
}

}  // namespace

void PrintLatestResults() {
  ResultsRecord latest;
  {
    std::lock_guard<std::mutex> lock(HistoryMutex);
    if (History.size() <= PrintedCount) return;
    PrintedCount = History.size();
    latest = History.back();
    PrintedIteration = latest.iteration;
  }
  if (Reporter) Reporter(latest, PublishedCpuSeconds);
}

void ClearSolverHistory() {
  std::lock_guard<std::mutex> lock(HistoryMutex);
  History.clear();
  PrintedCount = 0;
}

void ResetPrintedResults() {
  std::lock_guard<std::mutex> lock(HistoryMutex);
  PrintedCount = 0;
  PrintedIteration = -1;
}

bool AllocateNodeStores(TreeNode& node) {
  if (!node.store0 || node.storesAllocated) return true;
  if (!node.store0->Allocate() || (node.store1 && !node.store1->Allocate())) return false;
  node.storesAllocated = 1;
  return true;
}

namespace {

void ReleaseNodeStores(TreeNode& node) {
  node.store0->Release();
  if (node.store1) node.store1->Release();
  node.storesAllocated = 0;
}

}  // namespace

bool AllocateStores(SolverContext& context) {
  if (context.storesReady) return true;
  // Compressed blocks take their memory only as the run writes them, and
  // the kernel hands out pages only when touched; a tree that can't fit is
  // refused here, by the estimate, rather than stopped halfway through a
  // run. Only before any store has taken memory: after that the figures
  // count part of the tree twice.
  bool anyTaken = false;
  for (const TreeNode& node : context.nodes) anyTaken |= node.storesAllocated != 0;
  const uint64_t available = ReadPhysicalMemory().available;
  if (!anyTaken && available > 0 && uint64_t(StoreBytesNeeded(context)) > available) return false;
  std::vector<TreeNode*> taken;
  for (TreeNode& node : context.nodes) {
    if (!node.store0 || node.storesAllocated) continue;
    if (AllocateNodeStores(node)) {
      taken.push_back(&node);
      continue;
    }
    // The first store may have its memory while the second could not.
    ReleaseNodeStores(node);
    for (TreeNode* done : taken) ReleaseNodeStores(*done);
    return false;
  }
  context.storesReady = 1;
  return true;
}

SolverStart StartSolver(uint32_t limit, bool inSteps, ResultsReporter reporter) {
  SolverContext* context = GlobalContext;
  if (!context || SolverIsRunning() || (context->flags & IncompleteTreeFlag)) return SolverStart::Refused;
  RunLimit = limit;
  LimitInSteps = inSteps;
  Reporter = reporter;
  ClearSolverHistory();
  if (!AllocateStores(*context)) return SolverStart::OutOfMemory;
  MarkSolverStarted();
  try {
    std::thread(SolverMain, context).detach();
  } catch (const std::system_error&) {
    // Out of threads or address space: the run never began, so a
    // wait_for_solver must not wait for its end.
    MarkSolverNotStarted();
    return SolverStart::NoThread;
  }
  return SolverStart::Started;
}

namespace {

// The iteration counter and flags, read beside a running solver, which
// changes them between passes under the pass mutex.
struct Counters {
  int32_t iteration;
  uint32_t flags;
};
Counters ReadCounters(const SolverContext& context) {
  std::lock_guard<std::mutex> passLock(PassMutex);
  return {context.iteration, context.flags};
}

}  // namespace

ResultsRecord MeasureResults(SolverContext& context) {
  ResultsRecord record;
  const PassValues oop = RunPass(context, 0, TraversalMode::Evaluate);
  const PassValues ip = RunPass(context, 1, TraversalMode::Evaluate);
  record.iteration = ReadCounters(context).iteration;
  record.evOop = oop.value;
  record.mesOop = oop.bestResponse;
  record.evIp = ip.value;
  record.mesIp = ip.bestResponse;
  record.exploitability = (record.mesOop - record.evOop - record.evIp + record.mesIp) * 0.5;
  return record;
}

ResultsRecord CalcResults(SolverContext& context) {
  // A store without memory reads as the fallback strategy, so a failure
  // here still gives an answer: that of the unsolved tree.
  AllocateStores(context);
  const Counters counters = ReadCounters(context);
  // Only a tree with forgotten streets keeps its results: evaluating it
  // again would see only part of the game.
  if (!(counters.flags & IncompleteTreeFlag)) context.resultsIteration = -1;
  ResultsRecord record;
  if (counters.iteration == context.resultsIteration) {
    record.evOop = context.evOop;
    record.evIp = context.evIp;
    record.mesOop = context.mesOop;
    record.mesIp = context.mesIp;
    record.exploitability = context.exploitability;
  } else {
    record = MeasureResults(context);
    context.evOop = record.evOop;
    context.evIp = record.evIp;
    context.mesOop = record.mesOop;
    context.mesIp = record.mesIp;
    context.exploitability = record.exploitability;
    context.meanEv = (record.evOop + record.evIp) * 0.5;
    context.resultsIteration = record.iteration;
  }
  record.iteration = ReadCounters(context).iteration;
  record.seconds = 0.0;
  return record;
}
