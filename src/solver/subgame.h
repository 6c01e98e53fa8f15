// Subgame re-solving: strategy for a forgotten street, brought back on
// demand.
//
// After a forget, each place where the forgotten street begins keeps the
// ranges that arrive there. A query that reaches a board of that street
// solves the subgame below the place again, from nothing, for that one
// board and against those ranges, until it is good to the accuracy set for
// its street; the board is then marked done, and later queries read its
// rows. solve_all_splits does every subgame of a street at once, for as
// many iterations as the tree had. Both run the ordinary traversal: what
// makes it a subgame is only where the walk starts and with which reach.
#pragma once

struct SolverContext;
struct TreeNode;

// At most this many rounds; the accuracy is tested from round 50 on, every
// 25 rounds.
inline constexpr int SubgameRoundCap = 1000;
// The cap in force: SubgameRoundCap, lowered only by the fuzzer, whose
// inputs must stay fast.
extern int SubgameRoundLimit;

// The top of the subgame that holds `node`: its first node on the
// forgotten street.
TreeNode& SubgameTop(SolverContext& context, TreeNode& node);

// Solves the board (turn, and river for a top on the river; tree indexes)
// below `top`. Without force a board marked done returns at once. Returns
// the exploitability last measured, 0 if none was. The caller has made
// sure of the stores and doesn't hold the pass mutex.
double SolveSubgame(SolverContext& context, TreeNode& top, int turn, int river, bool force);

// What every query does before it reads a node: if the node lies on a
// forgotten street with its card given, its subgame gets stores and, with
// solve, is solved unless done. Does nothing on a tree whose forgotten
// streets were rebuilt. False if its stores couldn't have their memory:
// the board can't be read then. The caller doesn't hold the pass mutex.
bool BringBackSubgame(SolverContext& context, TreeNode& node, int turn, int river, bool solve);

// A query that walks down from a node whose river isn't dealt yet, with
// its turn given, on a tree whose rivers are forgotten, goes through the
// river subgames of that turn below it: each is solved unless done. False
// as above.
bool BringBackRiversBelow(SolverContext& context, TreeNode& node, int turn, int river);

// solve_partial and explo_partial: solves the node's subgame again from
// its rows as they stand, done or not; 0 where nothing is forgotten or the
// node lies above the forgotten street. Fails with "out of memory" where
// the subgame's stores can't have their memory.
double SolvePartialAt(SolverContext& context, TreeNode& node, int turn, int river);

// solve_all_splits: every subgame of street 2 or 3 at once, on stores of
// that street brought back first where they were forgotten. Afterwards
// nothing is forgotten. Fails with "out of memory" where stores can't have
// their memory.
void ResolveStreet(SolverContext& context, int street);
