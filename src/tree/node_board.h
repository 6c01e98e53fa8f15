// NodeBoard: the board a node's rows are kept on, for cards a client names.
//
// A node has one set of rows per board of its own street: a flop node has
// one whatever turn and river a path names after it, so the cards of later
// streets are dropped here rather than by every reader. A tree that starts
// on the turn or the river has its own cards, and they stand whatever the
// client names. Readers and writers of rows both ask here, so a lock and a
// read of the same path always meet the same rows.
#pragma once

#include "tree/deal_indexes.h"

struct SolverContext;
struct TreeNode;

// Cards are the client's, -1 for none.
DealIndexes NodeDeal(const SolverContext& context, const TreeNode& node, int turnCard, int riverCard);
// False when the deal names a card the tree has no entry for, or leaves out
// the card of a street the node lies on: no single board has its rows.
bool NodeDealComplete(const TreeNode& node, const DealIndexes& deal);
