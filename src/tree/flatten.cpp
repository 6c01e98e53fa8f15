#include "tree/flatten.h"

#include <algorithm>

namespace {

// An explicit stack: a line tree can be deep, and the walk must not depend
// on the thread's stack size.
struct PendingNode {
  SchematicNode* node;
  double key;
  int32_t parent;
};

}  // namespace

std::vector<FlatLine> FlattenTrie(SchematicNode& root, int rootStreet, double halfPot) {
  std::vector<FlatLine> lines;
  std::vector<PendingNode> stack{{&root, 0.0, -1}};
  while (!stack.empty()) {
    PendingNode pending = stack.back();
    stack.pop_back();
    SchematicNode& node = *pending.node;
    const int32_t index = int32_t(lines.size());

    FlatLine line;
    line.parent = pending.parent;
    line.source = &node;
    if (!node.IsEnd()) {
      line.kind = DecisionNode;
      line.player = node.player;
      line.street = rootStreet + node.street;
    } else {
      line.kind = pending.key >= 0.0 ? ShowdownEnd : FoldEnd;
      line.value = halfPot + node.amount;
    }
    lines.push_back(line);

    // Pushed in reverse so that the first child in map order is visited
    // first.
    for (auto child = node.children.rbegin(); child != node.children.rend(); ++child)
      stack.push_back({child->second.get(), child->first, index});
  }
  return lines;
}

void WriteTrieIndexes(const std::vector<FlatLine>& lines) {
  for (size_t i = 0; i < lines.size(); ++i) lines[i].source->index = int32_t(i);
}

bool HasLineBeyondRiver(const std::vector<FlatLine>& lines) {
  return std::any_of(lines.begin(), lines.end(), [](const FlatLine& line) { return line.kind == DecisionNode && line.street > 3; });
}
