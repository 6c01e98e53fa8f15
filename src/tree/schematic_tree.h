// SchematicTree: the trie of the betting lines a client has added.
//
// Clients do not describe bet sizes as rules; they write out every line,
// and each distinct prefix is one SchematicNode: one betting history,
// whatever cards are dealt. Children are keyed by the amount of their
// action (the total a player has put in since the root), the fold by -1.0,
// and the map runs from the largest key down, so child i is action i
// everywhere: bets and raises large to small, then check or call, fold last.
// The trie knows no cards and no stores; building flattens it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

struct SchematicNode {
  SchematicNode* parent = nullptr;
  std::map<double, std::unique_ptr<SchematicNode>, std::greater<double>> children;
  int32_t player = 0;  // who acts here: 0 OOP, 1 IP
  int32_t street = 0;  // streets closed since the root
  int32_t raises = 0;  // bets and raises so far on this street
  int32_t index = 0;   // place in the flat node list, written by the build
  double amount = 0.0;
  double paid[2] = {0.0, 0.0};

  bool IsEnd() const { return children.empty(); }
};

// Exists from start-up on, as an empty root.
extern std::unique_ptr<SchematicNode> SchematicRoot;

inline constexpr double FoldKey = -1.0;

// Where a line being merged stands: the node reached and what the amounts
// so far mean. add_line and force_line feed it one amount at a time, so a
// token that can't be read stops the line with the steps before it merged.
struct LineCursor {
  SchematicNode* node = nullptr;
  double last = 0.0;
  int32_t player = 0;
  int32_t raises = 0;
  int32_t street = 0;
  bool checked = false;  // a player has checked on this street
};

// The child with exactly this key, or null.
SchematicNode* FindChild(SchematicNode& node, double key);
// Resets the root's numbers (every merge does, even one without amounts)
// and returns a cursor on it.
LineCursor StartLine();
// Merges one amount (already floored). False, with nothing changed, if it
// is below the last amount. With force every other action of the node is
// cut away first.
bool MergeStep(LineCursor& cursor, double amount, bool force);
// The key remove_line looks up: in a line that has bet, 0 names the fold.
double RemovalKey(double amount, double previous);
// Erases a node with its subtree from its parent's map; not the root.
void EraseNode(SchematicNode* node);
// A new empty root; the old trie is destroyed.
void ClearLines();
// A deep copy, parents linked within the copy.
std::unique_ptr<SchematicNode> CopyTrie(const SchematicNode& root);
// The largest child key anywhere in the trie, truncated; 0 for an empty one.
int64_t SchematicEffectiveStack();
