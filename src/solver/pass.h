// Pass: what one walk over the tree is doing, made afresh for each walk.
//
// A pass (one player's update or evaluation, or a node query) keeps here
// everything that the steps of its walk read besides the tree and the run
// state: its mode and phase, the traverser, the query target, the job list
// and the settings it took at its start. RunPass, or the query, makes it
// on its stack and hands it down in every frame, so the walk has no hidden
// input, and no command can change the form of a walk between its descend
// and its ascend. Jobs on other threads read the same Pass; only the holder
// of the pass mutex writes it, and only between phases.
#pragma once

#include <cstdint>

#include "solver/jobs.h"

struct NodeQuery;
struct SolverContext;

// What a walk does at the nodes: evaluate writes nothing and carries the
// best-response value beside the value, update learns regrets and strategy
// sums, a node query plays the average strategies and captures the values
// at its target.
enum class TraversalMode : int32_t { Evaluate = 0, Update = 1, NodeQuery = 2 };

// Descend walks the streets above the first deal and queues its cards as
// jobs, jobs runs them in parallel, ascend walks again and picks up their
// sums.
enum class PassPhase : int32_t { Descend = 0, Jobs = 1, Ascend = 2 };

struct Pass {
  TraversalMode mode = TraversalMode::Evaluate;
  PassPhase phase = PassPhase::Descend;
  int32_t traverser = 0;
  // The iteration as the stores see it: the 16-bit river rows rescale on
  // every tenth.
  int32_t storeIteration = 0;
  // SimdLevel and RiverStrategyOn as they stood when the pass began: a
  // river sum must not be kept in one half of a pass and dropped in the
  // other.
  int32_t simdLevel = 8;
  bool riverStrategy = true;
  NodeQuery* query = nullptr;  // the target of a node query, else null
  PassJobs jobs;
};

// A pass of this mode for this traverser, with the settings taken now and
// the context's iteration; the caller holds the pass mutex. Strategy reads
// outside a walk make one too, so that they read the river as a walk
// started now would.
Pass StartPass(const SolverContext& context, TraversalMode mode, int traverser);
