// The CFR traversal: one pass for one player over the whole tree.
//
// A pass walks the flat node list with vectors over all hands of the board
// in force: reach of the opponent going down, counterfactual values coming
// up. In update mode it writes regrets at the traverser's nodes and
// strategy sums at the opponent's; in evaluate mode it writes nothing and
// carries a second value array, the best response. Each pass holds the
// pass mutex for its whole length, so a command that reads the tree waits
// at most one pass.
#pragma once

#include <mutex>

#include "solver/pass.h"

struct SolverContext;

// Taken first of all solver locks; see the lock order in solver_locks.h.
extern std::mutex PassMutex;

struct PassValues {
  double bestResponse = 0.0;  // dot(valueB, normWeights[player]); 0 outside evaluate mode
  double value = 0.0;         // dot(valueA, normWeights[player])
};

struct IterationValues {
  double mean = 0.0;
  double ip = 0.0;
  double oop = 0.0;
};

// One pass: descend (queue the jobs of the first deal), jobs (in parallel),
// ascend (sum their results up to the root). The Pass lives on its stack.
PassValues RunPass(SolverContext& context, int player, TraversalMode mode);
// IP's update pass, then OOP's; then iteration + 1 and NEW_TREE cleared.
IterationValues RunIteration(SolverContext& context);
