// NodePath: a place in the game named by text, such as r:0:c:c:Qd:b50:c.
//
// A path walks the SchematicTree and collects the dealt cards on the way,
// so a place is a betting history plus a board. Every query parses its
// path here and nowhere else. Cards are in the client's suits.
#pragma once

#include <string>

#include "tree/schematic_tree.h"

struct NodePath {
  SchematicNode* node = nullptr;  // null: the place above the root ("r")
  int turn = -1;                  // Card, -1 if none
  int river = -1;
  bool pendingDeal = false;  // the last step closed a street; its card is not named
};

// Fails with CommandFailure: "missing/incorrect tree", "incorrect path", or
// the number conversion's invalid-argument error after "b".
NodePath ParsePath(const std::string& text);
// Line edits after a build put the trie out of step with the built tree.
// True if every node from the path's node up to the root is still the
// built node its index names, with the same actions in the same order.
bool InBuiltTree(const NodePath& path);
// ParsePath for commands that read or write a node's rows or records: a
// place the built tree doesn't have is an "incorrect path", never another
// node's rows.
NodePath ParseBuiltPath(const std::string& text);
// ParseBuiltPath for the queries about the hands at a node: there "r", the
// place above the root, names the root.
NodePath ParseNodePath(const std::string& text);
// False for a place on a street whose card the path left out: it names
// every board of that street at once.
bool PathHasItsBoard(const NodePath& path);
// ParseBuiltPath for commands on the rows of one decision: the place must
// be a decision node (not above the root, a deal or an end) on one board.
NodePath ParseDecisionPath(const std::string& text);
NodePath ParentPath(const NodePath& path);
// "c", "f" or "b<amount>" for child i of the node.
std::string ChildToken(const SchematicNode& node, int child);
// ROOT, SPLIT_NODE, END_NODE, OOP_DEC or IP_DEC.
const char* NodeKindWord(const NodePath& path);
// The street of a node as 1 flop, 2 turn, 3 river: root street + closed streets.
int StreetNumber(const SchematicNode& node);
