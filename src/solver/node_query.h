// NodeQuery: the target of a query pass and what the pass brings back.
//
// A query walks the subtree below one node with the average strategies of
// both players and reads the traverser's values where the walk started.
// The values are weighted by the opponent's reach, so the capture divides
// by the opponent's weight that each hand can still meet: the result is
// the hand's worth against the holdings the opponent brings here, which
// does not depend on how the traverser got here. How much the hand counts
// (its own reach, that weight and the runouts to come) goes beside it as
// the matchups.
#pragma once

#include <cstdint>

#include "storage/float_vec.h"

struct Pass;
struct TraversalFrame;
struct TreeNode;

struct NodeQuery {
  TreeNode* node = nullptr;
  int32_t turn = -1;
  int32_t river = -1;
  FloatVec ev;        // per hand of the target's board
  FloatVec matchups;  // per hand of the target's board
  bool captured = false;
};

// The last step of Traverse in query mode: fills the pass's query when the
// frame is its target (node, turn and river all equal).
void CaptureQuery(TraversalFrame& frame);

// Whether a deal point below the pass's target copies the values that the
// last full evaluation stored there, because the streets below were
// forgotten: so for a target on the flop, or on the turn before its card.
bool QueryTakesStoredValues(const Pass& pass);
