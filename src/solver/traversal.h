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

struct SolverContext;

inline constexpr int EvaluateMode = 0;
inline constexpr int UpdateMode = 1;
inline constexpr int QueryMode = 2;

inline constexpr int DescendPhase = 0;
inline constexpr int JobsPhase = 1;
inline constexpr int AscendPhase = 2;

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

// Copies SimdLevel and RiverStrategyOn into the context for the walk that
// follows; the pass mutex is held. A pass, or a query, takes them once at
// its start: the descend and the ascend of one pass must walk the river in
// the same form, and a river sum must not be kept in one half of a pass
// and dropped in the other, whenever the client changes a setting.
void TakePassSettings(SolverContext& context);
// One pass: descend (queue the jobs of the first deal), jobs (in parallel),
// ascend (sum their results up to the root).
PassValues RunPass(SolverContext& context, int player, int mode);
// IP's update pass, then OOP's; then iteration + 1, NEW_TREE cleared and
// StoreIteration published.
IterationValues RunIteration(SolverContext& context);
