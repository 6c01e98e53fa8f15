// node_count: the size of the game a tree stands for, counted on the trie.
//
// A node on the turn stands for 49 boards and one on the river for 2352
// (49 * 48), so each node is weighed by its street; the weights are fixed
// figures of a full deck and don't follow the deck's low card or the root
// street, since the figure compares trees, not boards.
#pragma once

#include <array>
#include <cstdint>

#include "tree/schematic_tree.h"

struct NodeCounts {
  // By street 1 to 3 (index 0 unused).
  std::array<int64_t, 4> decisions[2] = {};  // by acting player, 0 OOP, 1 IP
  std::array<int64_t, 4> splits = {};
  std::array<int64_t, 4> ends = {};
  int64_t total = 0;  // the weights of the decision nodes
};

NodeCounts CountNodes(const SchematicNode& root, int rootStreet);
// The weight of a node on `street`: 1, 49, 2352.
int64_t StreetWeight(int street);
