// The boundary walk: both players' reach at every place where a street
// begins, under the average strategies of the streets above it.
//
// A tree whose later streets are forgotten keeps, at each such place, the
// ranges that arrive there, so that the subgame can be solved again; and a
// tree file leaves out the ranges it can get back this way. The walk deals
// every turn (and river) on the way and multiplies each acting player's
// reach by the average strategy of the action taken, the way queries read
// it.
#pragma once

#include <vector>

struct SolverContext;
struct TreeNode;

struct BoundaryFrame {
  TreeNode* node = nullptr;  // the first decision node of the street
  int turn = -1;             // tree index of the dealt turn, -1 for none
  int river = -1;
  // By hand of the list of the board before the street's card.
  std::vector<float> reach[2];
};

// One frame per decision node on `street` (2 or 3) reached from the root
// with the root weights; stores below `street` are read, none on it.
std::vector<BoundaryFrame> BoundaryWalk(SolverContext& context, int street);

// The chance records' reach sums that a file marked as absent, from the
// walk to the forgotten street.
void RecomputeAbsentReachSums(SolverContext& context);
