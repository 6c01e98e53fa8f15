#include "tree/node_count.h"

#include <algorithm>
#include <vector>

int64_t StreetWeight(int street) {
  static constexpr int64_t weights[4] = {1, 1, 49, 2352};
  return weights[std::clamp(street, 0, 3)];
}

NodeCounts CountNodes(const SchematicNode& root, int rootStreet) {
  NodeCounts counts;
  std::vector<const SchematicNode*> stack{&root};
  while (!stack.empty()) {
    const SchematicNode& node = *stack.back();
    stack.pop_back();
    if (node.IsEnd()) continue;
    // Lines edited after the build may run past the river; they count in
    // the river column.
    const int street = std::min(rootStreet + node.street, 3);
    const int64_t weight = StreetWeight(street);
    counts.total += weight;
    counts.decisions[node.player == 1 ? 1 : 0][size_t(street)] += weight;
    for (const auto& entry : node.children) {
      const SchematicNode& child = *entry.second;
      if (child.street > node.street) counts.splits[size_t(street)] += weight;
      if (child.IsEnd()) counts.ends[size_t(street)] += weight;
      stack.push_back(&child);
    }
  }
  return counts;
}
