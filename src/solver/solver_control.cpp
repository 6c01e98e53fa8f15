#include "solver/solver_control.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

SolverContext* GlobalContext = nullptr;

namespace {

std::mutex RunMutex;
std::condition_variable RunEnded;
bool Running = false;
std::atomic<bool> StopRequested{false};

}  // namespace

bool TreeIsPresent() { return GlobalContext != nullptr; }

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

void MarkSolverFinished() {
  {
    std::lock_guard<std::mutex> lock(RunMutex);
    Running = false;
    StopRequested = false;
  }
  RunEnded.notify_all();
}
