#include "tree/schematic_tree.h"

#include <algorithm>

std::unique_ptr<SchematicNode> SchematicRoot = std::make_unique<SchematicNode>();

SchematicNode* FindChild(SchematicNode& node, double key) {
  if (key != key) return nullptr;  // not-a-number: equivalent to every key in the map's order
  auto it = node.children.find(key);
  return it == node.children.end() ? nullptr : it->second.get();
}

namespace {

SchematicNode* AddChild(SchematicNode& node, double key) {
  auto child = std::make_unique<SchematicNode>();
  child->parent = &node;
  SchematicNode* raw = child.get();
  node.children.emplace(key, std::move(child));
  return raw;
}

// A new action node whose street is still open gets its answers at once,
// so that no line can leave a player without a way to close the action:
// the call or check behind, and after a bet the fold.
void CompleteNewNode(SchematicNode& node, const LineCursor& line) {
  const double amount = node.amount;
  if (!FindChild(node, amount)) {
    SchematicNode* closing = AddChild(node, amount);
    closing->amount = amount;
    closing->paid[0] = closing->paid[1] = amount;
    closing->street = line.street;
  }
  if (line.raises > 0 && !FindChild(node, FoldKey)) {
    // The folder leaves with what he had in when the bet was made: the
    // total of the node the bet came from.
    const double folderTotal = node.parent->amount;
    SchematicNode* fold = AddChild(node, FoldKey);
    fold->amount = folderTotal;
    fold->paid[line.player] = folderTotal;
    fold->paid[1 - line.player] = amount;
    fold->street = line.street;
  }
}

double LargestKey(const SchematicNode& node) {
  double largest = 0.0;
  for (const auto& [key, child] : node.children) largest = std::max({largest, key, LargestKey(*child)});
  return largest;
}

}  // namespace

LineCursor StartLine() {
  SchematicNode& root = *SchematicRoot;
  root.player = root.street = root.raises = 0;
  root.amount = 0.0;
  root.paid[0] = root.paid[1] = 0.0;
  LineCursor cursor;
  cursor.node = &root;
  return cursor;
}

bool MergeStep(LineCursor& line, double amount, bool force) {
  // Written so that a not-a-number fails too: as a key it would break the
  // order of the map.
  if (!(amount >= line.last)) return false;
  SchematicNode& current = *line.node;

  // A forced node keeps exactly one action: fold and call go too when the
  // forced action is a raise.
  if (force) std::erase_if(current.children, [&](const auto& entry) { return entry.first != amount; });

  SchematicNode* child = FindChild(current, amount);
  const bool isNew = child == nullptr;
  if (isNew) child = AddChild(current, amount);

  // The amount alone says what the action is.
  if (amount > line.last) {  // bet or raise
    line.checked = false;
    line.last = amount;
    ++line.raises;
    line.player = 1 - line.player;
  } else if (line.raises == 0 && !line.checked) {  // first check
    line.checked = true;
    line.player = 1 - line.player;
  } else {  // call or check behind: the next street opens with OOP
    ++line.street;
    line.checked = false;
    line.raises = 0;
    line.player = 0;
  }

  // Written also into a node that exists; the values are the same as before.
  const int actor = current.player;
  child->street = line.street;
  child->player = line.player;
  child->raises = line.raises;
  child->amount = amount;
  child->paid[actor] = amount;
  child->paid[1 - actor] = current.paid[1 - actor];
  line.node = child;

  // Only a new node is completed: an answer that force_line cut away stays
  // away unless a line names it.
  if (isNew && (line.raises > 0 || line.checked)) CompleteNewNode(*child, line);
  return true;
}

double RemovalKey(double amount, double previous) {
  return amount == 0.0 && previous > 0.0 ? FoldKey : amount;
}

void EraseNode(SchematicNode* node) {
  SchematicNode* parent = node->parent;
  std::erase_if(parent->children, [&](const auto& entry) { return entry.second.get() == node; });
}

void ClearLines() { SchematicRoot = std::make_unique<SchematicNode>(); }

std::unique_ptr<SchematicNode> CopyTrie(const SchematicNode& root) {
  auto copy = std::make_unique<SchematicNode>();
  copy->player = root.player;
  copy->street = root.street;
  copy->raises = root.raises;
  copy->index = root.index;
  copy->amount = root.amount;
  copy->paid[0] = root.paid[0];
  copy->paid[1] = root.paid[1];
  for (const auto& [key, child] : root.children) {
    std::unique_ptr<SchematicNode> childCopy = CopyTrie(*child);
    childCopy->parent = copy.get();
    copy->children.emplace(key, std::move(childCopy));
  }
  return copy;
}

int64_t SchematicEffectiveStack() { return int64_t(LargestKey(*SchematicRoot)); }
