// Small walks over the node list that queries and row guards share: the
// line from the root down to a node.
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
