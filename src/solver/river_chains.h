// River chains: the opening and closing of one dealt turn's river rows
// below a first river node, the bracket that lets compressed river stores
// decode a turn for the time it is worked on.
//
// One player's rows of a river subtree share one block: the player's first
// node in tree order owns it, and every later node of the player reads and
// writes its rows through the same arena, in the same order. So a walk
// first sums what each player's chain holds (the size of its block), then
// opens the stores in tree order, threading each player's arena through;
// closing threads it again, and only a chain that writes starts its block
// anew. Stores that keep their rows in memory take no part: a walk is made
// only where the tree's store levels compress.
#pragma once

struct Pass;
struct SolverContext;
struct TreeNode;

// Which stores of a subtree a walk takes.
struct RiverChainSet {
  bool second = false;  // regret stores (false) or strategy sums
  int player = -1;      // only the nodes of this player; -1 all
};

// Whether the tree's stores of this kind keep river rows in blocks.
bool RiverChainsCompress(const SolverContext& context, bool second);
// Decodes group `turn` of the set's stores from `top` (a first river node)
// down.
void OpenRiverChains(SolverContext& context, TreeNode& top, int turn, RiverChainSet set);
// Closes what OpenRiverChains opened; write[p] says whether player p's rows
// are encoded back. Without it the block stays as it was.
void CloseRiverChains(SolverContext& context, TreeNode& top, int turn, RiverChainSet set, const bool write[2]);

// A pass's visit of a dealt turn below a first river node: every regret
// row, and the strategy sums where the pass reads or adds them (an update
// pass adds those of the player who isn't updating). Closing encodes back
// only what the pass changed: the updating player's regrets and the other
// player's sums.
void OpenPassRiverRows(SolverContext& context, const Pass& pass, TreeNode& top, int turn);
void ClosePassRiverRows(SolverContext& context, const Pass& pass, TreeNode& top, int turn);

// Tells the first store of every chain how many elements its chain holds
// in each dealt turn, for blocks made from a file: a block must have room
// for all the rows its chain will write back.
void SetRiverChainElements(SolverContext& context);
