// Small walks over the node list that queries and row guards share: the
// line from the root down to a node, and every store of a subtree.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "tree/solver_context.h"

// Node indexes from the root down to the target.
inline std::vector<int> LineFromRoot(const SolverContext& context, int nodeIndex) {
  std::vector<int> line;
  for (int n = nodeIndex; n >= 0; n = context.nodes[size_t(n)].parent) line.push_back(n);
  std::reverse(line.begin(), line.end());
  return line;
}

// Calls fn on both stores of every decision node of the subtree.
template <class Fn>
void ForSubtreeStores(SolverContext& context, TreeNode& node, Fn fn) {
  if (node.kind != DecisionNode) return;
  if (node.store0) fn(*node.store0);
  if (node.store1) fn(*node.store1);
  for (int32_t child : node.children) ForSubtreeStores(context, context.nodes[size_t(child)], fn);
}
