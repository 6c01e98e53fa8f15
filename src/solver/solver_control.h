// The shell's view of the solver thread: is it running, ask it to stop,
// wait for it to end.
//
// The solver driver owns the thread and reports its start and end here;
// the shell's commands (wait_for_solver, take_a_break, the solver gate)
// ask only through these calls. One mutex orders a waiter's look at the
// running flag, its wait, and the end of a run; the run's last line is
// printed under it too, so whoever sees the solver idle knows the line is
// out, and a new run can't start, or read as over, in between.
#pragma once

#include "tree/global_context.h"

bool SolverIsRunning();
// Sets the stop request if a run is going on; does not wait.
void RequestSolverStop();
bool SolverStopRequested();
// Blocks until no run is going on; returns at once if none is.
void WaitForSolver();

// Called by the solver driver: at the start of a run (from the thread that
// starts it), and as the run's last act: prints "SOLVER: stopped (reason)",
// clears the stop request and the running flag, and wakes the waiters.
void MarkSolverStarted();
// Takes back MarkSolverStarted when no solver thread could be started:
// no "SOLVER:" line, and nobody is left waiting.
void MarkSolverNotStarted();
void MarkSolverFinished(const char* reason);
