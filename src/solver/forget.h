// Forgetting the later streets of a solved tree, and bringing their stores
// back.
//
// Nearly all of a solved tree's memory is river rows, and most of the rest
// turn rows, that nobody will look at. Forgetting a street drops the
// stores of every node on it and below, and keeps at each place where it
// begins just what a re-solve needs: the ranges that arrive there (scaled
// to a total of 200, so that a tree file keeps them in 16 bits) and the
// values the last complete evaluation left there, which evaluation reads
// from then on instead of the subtree. A query that reaches a forgotten
// board solves that subgame again (subgame.h).
#pragma once

struct SolverContext;
struct TreeNode;

// Forgets street 2 or 3 and below. Measures the results first if they are
// not of the current iteration, since later evaluation can only read what
// that measurement stored. Lower streets keep their stores.
void Forget(SolverContext& context, int street);

// New, empty stores for every node of the forgotten streets that has none
// (a board solved on demand keeps its rows), and the tree is complete
// again: the next go starts those streets from nothing while the lower
// streets keep what they learnt. A store that can't get its memory is left
// without it, and the walk goes on.
void RebuildForgottenStreets(SolverContext& context);

// Stores for the subtree from `node` down before a subgame is solved on a
// forgotten street: for every decision node without stores, or every one
// with force. Does nothing on a tree with nothing forgotten. False if
// memory failed somewhere.
bool RebuildSubtreeStores(SolverContext& context, TreeNode& node, bool force);
