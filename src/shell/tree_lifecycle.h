// The tree's lifecycle as the commands see it: no tree, a built tree, its
// stores set up, their memory taken; and the steps between them.
//
// A build is the tree layer's (BuildTree); what comes around it reaches
// into layers the tree may not include: the solver gate, the solver limits
// that go with the stores, the measurements of the old stores, the verbose
// lines. So the commands that build or rebuild (build_tree, cut_line,
// set_compression with a tree, later load_tree) go through here, and the
// state is asked here rather than in each handler.
#pragma once

#include "tree/tree_build.h"

struct SolverContext;

enum class TreeState {
  NoTree,       // nothing built, or freed
  Built,        // nodes and boards, no stores
  StoresSetUp,  // every store made, not all with memory
  StoresReady,  // every store with its memory: a run or a query can start
};

TreeState CurrentTreeState();
// "missing/incorrect tree" while there is no tree.
void RequireTree();
// The solver gate of the commands that must not run during a solve:
// "Can't do that when solver is running".
void RequireSolverIdle();
// Asks a run to stop and waits for its end; returns at once if none runs.
void StopSolverAndWait();

// The input of a build from the set-up in force: board, ranges, lines,
// pot, isomorphism setting, deck, threads and compression level.
BuildInput GatherBuildInput();

// build_tree without its reply: the set-up's checks, the solver gate, then
// a build with its stores. The client's tree info lines go with the old tree.
void BuildTreeFromSetUp();
// A build from the set-up with its stores, where the caller has passed the
// gate (cut_line). A failure of the stores leaves no tree.
void RebuildTreeFromSetUp();
// The compression step: a level (-1 automatic) resolved and applied to the
// stores, the solver limits that go with them, the old measurements
// forgotten. At verbosity above 0 the automatic choice reports the
// uncompressed size. Throws CommandFailure for a level this build can't
// store, leaving the stores as they were.
void SetUpTreeStores(SolverContext& context, int level);
