#include "tree/node_list.h"

#include <algorithm>
#include <cmath>

bool IsFirstNodeOfStreet(const std::vector<TreeNode>& nodes, int index) {
  const TreeNode& node = nodes[size_t(index)];
  return node.parent < 0 || nodes[size_t(node.parent)].street < node.street;
}

void BuildNodeList(SolverContext& context, const std::vector<FlatLine>& lines) {
  std::vector<TreeNode>& nodes = context.nodes;
  nodes.clear();
  // Sized once: parentNode points into the vector.
  nodes.resize(lines.size());

  // Records. A parent always comes before its children in the list.
  for (size_t i = 0; i < lines.size(); ++i) {
    const FlatLine& line = lines[i];
    TreeNode& node = nodes[i];
    node.kind = line.kind;
    node.parent = line.parent;
    node.value = line.value;
    if (line.kind == DecisionNode) {
      node.player = line.player;
      node.street = line.street;
    } else {
      const TreeNode& parent = nodes[size_t(line.parent)];
      node.player = parent.player;
      node.street = line.kind == FoldEnd ? parent.street : 3;
    }
  }

  // Links and the largest payoff.
  context.maxPayoff = 0.0;
  for (size_t i = 0; i < nodes.size(); ++i) {
    TreeNode& node = nodes[i];
    if (node.parent >= 0) {
      nodes[size_t(node.parent)].children.push_back(int32_t(i));
      node.parentNode = &nodes[size_t(node.parent)];
    }
    if (node.IsEnd()) context.maxPayoff = std::max(context.maxPayoff, std::fabs(node.value));
  }

  // Deal points and the shape of the tree.
  int64_t childSum = 0;
  int parents = 0;
  context.maxChildren = 0;
  for (size_t i = 0; i < nodes.size(); ++i) {
    TreeNode& node = nodes[i];
    node.owning = 1;
    if (node.street >= 2 && IsFirstNodeOfStreet(nodes, int(i))) {
      if (node.street == 2) node.dealMutexes = std::make_unique<std::mutex[]>(DealSlots);
      if (node.kind == DecisionNode) {
        node.chanceCount = node.street == 2 ? 1 : DealSlots;
        node.chance = std::make_unique<ChanceRecord[]>(size_t(node.chanceCount));
      }
    }
    if (!node.children.empty()) {
      context.maxChildren = std::max(context.maxChildren, node.ActionCount());
      childSum += node.ActionCount();
      ++parents;
    }
  }
  context.meanChildren = parents > 0 ? double(childSum) / parents : 0.0;
}
