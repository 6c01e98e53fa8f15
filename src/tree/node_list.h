// The flat TreeNode list, made from the flattened lines.
//
// End nodes take the player of their parent, so that the solver reads "who
// acted last" without a look upward; a showdown end is always on street 3,
// because the cards still missing are dealt out before the showdown. The
// first node of each street carries what a deal point needs: chance records
// on action nodes (one on the turn, one per dealt turn on the river) and,
// on the turn, one mutex per dealt turn.
#pragma once

#include <vector>

#include "tree/solver_context.h"
#include "tree/flatten.h"

// Fills context.nodes, maxPayoff, maxChildren and meanChildren.
void BuildNodeList(SolverContext& context, const std::vector<FlatLine>& lines);

// A node whose street differs from its parent's, or the root: where the
// walk deals a card (or the root of a turn or river tree).
bool IsFirstNodeOfStreet(const std::vector<TreeNode>& nodes, int index);
