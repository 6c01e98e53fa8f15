// ReachWalk: how much of each player's range plays down a line, from the
// average strategies.
//
// Starting from the root weights as they stand, every decision on the line
// multiplies its player's reach by the average strategy of the action
// taken, and the first node of a street takes both reaches onto the dealt
// board's hand list. Frequencies and EVs both start from this walk, so a
// frequency and an EV of the same node speak of the same strategies. The
// caller holds the pass mutex and has the river rows the line reads open
// (RiverRowsGuard).
#pragma once

#include <vector>

struct Pass;
struct SolverContext;

struct LineReach {
  std::vector<float> reach[2];  // by hand of the list the walk ended on
  int turn = -1;                // that list: tree indexes, -1 for none
  int river = -1;
  // False when a decision above the target lies on a street whose card
  // isn't dealt: it has no row to read, and the reaches are left partial.
  bool complete = true;
};

// line: node indexes from the root to the target (LineFromRoot). The deal
// is in tree indexes, -1 for none; a tree that starts later keeps its own.
LineReach WalkReach(SolverContext& context, const Pass& pass, const std::vector<int>& line, int dealTurn,
                    int dealRiver);
