// Flattening the trie of lines into the list the node builder reads.
//
// The walk is depth first, a node before its children, children in map
// order, so a node's index in the list is its index in the TreeNode list
// and child i is action i. Node paths walk the trie and must find the built
// node, so the index goes back into the trie; but only once the new tree
// has replaced the old one: a build that fails later keeps the old tree,
// and the trie must still point into it. Streets here are
// absolute (root street + streets closed), which is what the "invalid line"
// check needs: a line may run past the river only on the board it was
// written for, and the trie does not know the board.
#pragma once

#include <cstdint>
#include <vector>

#include "tree/node_kind.h"
#include "tree/schematic_tree.h"

struct FlatLine {
  NodeKind kind = DecisionNode;
  int32_t parent = -1;  // -1 at the root
  int32_t player = -1;  // end nodes: -1
  int32_t street = -1;  // root street + the node's street offset; end nodes: -1
  double value = 0.0;   // end nodes: pot * 0.5 + amount; action nodes 0.0
  SchematicNode* source = nullptr;
};

// Walks the trie from `root` and returns the list; the trie is not changed.
// `halfPot` is half the start pot.
std::vector<FlatLine> FlattenTrie(SchematicNode& root, int rootStreet, double halfPot);

// Writes each line's place in the list into its trie node.
void WriteTrieIndexes(const std::vector<FlatLine>& lines);

// True if an action node lies beyond the river: a line that runs past the
// last street of this board.
bool HasLineBeyondRiver(const std::vector<FlatLine>& lines);

