#include "solver/solver_control.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "setup/console.h"

namespace {

// Running stands for the thread handle: set by go, cleared with the
// "SOLVER: stopped" line. It changes only under RunMutex, which PrintNow's
// output mutex may nest inside, never the reverse.
std::mutex RunMutex;
std::condition_variable RunEnded;
bool Running = false;
// Read by the solver thread once per iteration, without the mutex.
std::atomic<bool> StopRequested{false};

}  // namespace

bool SolverIsRunning() {
  std::lock_guard<std::mutex> lock(RunMutex);
  return Running;
}

void RequestSolverStop() {
  std::lock_guard<std::mutex> lock(RunMutex);
  if (Running) StopRequested = true;
}

bool SolverStopRequested() { return StopRequested; }

void WaitForSolver() {
  std::unique_lock<std::mutex> lock(RunMutex);
  RunEnded.wait(lock, [] { return !Running; });
}

void MarkSolverStarted() {
  std::lock_guard<std::mutex> lock(RunMutex);
  Running = true;
  StopRequested = false;
}

void MarkSolverNotStarted() {
  {
    std::lock_guard<std::mutex> lock(RunMutex);
    Running = false;
    StopRequested = false;
  }
  RunEnded.notify_all();
}

void MarkSolverFinished(const char* reason) {
  {
    std::lock_guard<std::mutex> lock(RunMutex);
    Running = false;
    StopRequested = false;
    PrintNow("SOLVER: stopped (%s)\n", reason);
  }
  RunEnded.notify_all();
}
