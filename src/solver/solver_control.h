// The shell's view of the solver thread: is it running, ask it to stop,
// wait for it to end, and is there a tree at all.
//
// The solver driver owns the thread and reports its start and end here;
// the shell's commands (wait_for_solver, take_a_break, the solver gate)
// ask only through these calls. A waiter registers under the mutex before
// it looks at the running flag, so the end of a run can never slip between
// its look and its wait.
#pragma once

struct SolverContext;

// The built tree and its solver state; null until a tree exists.
extern SolverContext* GlobalContext;

bool TreeIsPresent();
bool SolverIsRunning();
// Sets the stop request if a run is going on; does not wait.
void RequestSolverStop();
bool SolverStopRequested();
// Blocks until no run is going on; returns at once if none is.
void WaitForSolver();

// Called by the solver driver: at the start of a run; when the handle is
// given up, just before the "SOLVER: stopped" line; after that line, which
// wakes the waiters.
void MarkSolverStarted();
void MarkSolverStopping();
void MarkSolverFinished();
