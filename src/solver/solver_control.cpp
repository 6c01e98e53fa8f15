#include "solver/solver_control.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

SolverContext* GlobalContext = nullptr;

namespace {

// Running is the thread handle: set by go, cleared just before the
// "SOLVER: stopped" line. Active lasts until that line is out, so that
// wait_for_solver returns only after it; both change under RunMutex, which
// also orders a waiter's check against the final signal.
std::mutex RunMutex;
std::condition_variable RunEnded;
bool Running = false;
bool Active = false;
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
  RunEnded.wait(lock, [] { return !Active; });
}

void MarkSolverStarted() {
  std::lock_guard<std::mutex> lock(RunMutex);
  Running = true;
  Active = true;
}

void MarkSolverStopping() {
  std::lock_guard<std::mutex> lock(RunMutex);
  Running = false;
  StopRequested = false;
}

void MarkSolverFinished() {
  {
    std::lock_guard<std::mutex> lock(RunMutex);
    Running = false;
    Active = false;
    StopRequested = false;
  }
  RunEnded.notify_all();
}
