// The symbol tree of the range codec (id 0): a binary tree over the values
// 0 to 1023 that gives frequent values short paths, so that a value costs
// few binary decisions and each decision has a model of its own.
//
// Writer and reader never exchange the tree, only the 256 counts it is
// built from (they sit in the coder's head), and both build it with
// CreateOptimalTree. Splits follow the counts only below 255, where the
// counts are; above, and in ranges without weight, they halve the range.
//
// The counts come from a file, so they may be anything, sums past 2^64
// included. Sums are therefore taken in 128 bits, and every split lies
// strictly inside its range: any counts give a tree of exactly 1023 nodes
// whose every path narrows to one value in at most 1023 steps. The node
// count is still checked, as the format asks, but no counts can fail it.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr size_t HistogramSize = 256;    // counts of values 0 to 254, and of 255 and up
inline constexpr uint32_t SymbolTreeValues = 1024;
inline constexpr uint32_t SymbolTreeNodes = SymbolTreeValues - 1;

// The table is in preorder: the left child of node k is node k + 1. A node
// whose range is two values wide has right child 0.
struct SymbolTreeNode {
  uint16_t right;  // index of the right child
  uint16_t split;  // values below go left, the others right
};

// Fills table[0..SymbolTreeNodes) from histogram (HistogramSize counts, or
// null for none). Returns false if the table doesn't come to
// SymbolTreeNodes nodes.
[[nodiscard]] bool CreateOptimalTree(const uint64_t* histogram, SymbolTreeNode* table);
