// Solver limits that go with the store levels: the iteration cap, the
// weighting of strategy sums, and for how many iterations tied river
// regrets are averaged.
//
// They are the solver's settings for one tree, but they depend on how its
// stores keep their numbers, so the command layer sets them anew each time
// the stores are set up.
#pragma once

struct SolverContext;

// From the level pair the stores were set up for (as asked, before a tree
// rooted after the flop drops it to float) and the root street.
void SetSolverLimits(SolverContext& context, int regretLevel, int sumLevel);
