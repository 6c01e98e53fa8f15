// The solver driver: the solver thread, when it measures, when it stops.
//
// go starts one thread that runs iterations until one of five reasons
// (accuracy reached, steps done, timeout, requested, iteration cap) and
// prints its progress in SOLVER: blocks. The thread is detached: nothing
// joins it, and it reads as gone once "SOLVER: stopped" is out. Between
// its passes the pass mutex is free, so commands keep answering.
// Measurements cost two full walks, so they wait for a multiple of the
// measurement period and keep 250 ms apart (500 ms once the run is past
// four periods), however short the period is set.
#pragma once

#include <cstdint>

struct SolverContext;
struct TreeNode;

// One measurement. EV and MES are raw: counted from the half-way split of
// the pot; the printers add half the pot.
struct ResultsRecord {
  int32_t iteration = 0;
  double seconds = 0.0;
  double evOop = 0.0, evIp = 0.0, mesOop = 0.0, mesIp = 0.0, exploitability = 0.0;
};

// Allocates the stores of every node not yet allocated, in node order, and
// sets storesReady. At the first failure the stores this call took are
// given back and false comes back: a tree too large to solve must not keep
// the process short of the memory its queries need. Stores allocated
// before (by set_strategy) keep their rows.
bool AllocateStores(SolverContext& context);
// The stores of one node, if not yet in place; false if memory fails.
bool AllocateNodeStores(TreeNode& node);
// How a run reports a new measurement, on the solver thread: the command
// layer prints it (the SOLVER: block) and records it in its variables. It
// gets the process's CPU seconds since the run began beside the record.
using ResultsReporter = void (*)(const ResultsRecord& record, double cpuSeconds);

enum class SolverStart { Started, Refused, OutOfMemory, NoThread };
// Refused if a run is going on or the tree is incomplete; OutOfMemory if
// the stores can't have their memory; NoThread if the system would not
// start a thread. A limit of 0 seconds means no limit; 0 steps still runs
// one iteration. Each new measurement goes to the reporter.
SolverStart StartSolver(uint32_t limit, bool inSteps, ResultsReporter reporter);
// Both evaluate passes: EV and MES of each player at the root, raw values.
ResultsRecord MeasureResults(SolverContext& context);
// The cached or freshly measured results of calc_results.
ResultsRecord CalcResults(SolverContext& context);

// Hands the newest measurement to the run's reporter if it hasn't had it yet.
void PrintLatestResults();
// Forgets the measurements of the last run; the command layer calls it
// after a rebuild of the stores.
void ClearSolverHistory();
// Makes PrintLatestResults count from nothing; go calls it.
void ResetPrintedResults();
