#include "tree/node_path.h"

#include <bit>
#include <cstdio>
#include <iterator>
#include <vector>

#include "eval/rule_settings.h"
#include "setup/board.h"
#include "setup/cards.h"
#include "setup/failure.h"
#include "setup/numbers.h"
#include "tree/global_context.h"
#include "tree/solver_context.h"

namespace {

[[noreturn]] void ThrowIncorrectPath() { FailCommand("incorrect path"); }

int SingleCard(CardMask mask) { return mask ? std::countr_zero(mask) : -1; }

std::vector<std::string> SplitAtColons(const std::string& text) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    size_t colon = text.find(':', start);
    parts.push_back(text.substr(start, colon - start));
    if (colon == std::string::npos) return parts;
    start = colon + 1;
  }
}

// A dealt card of a path: one card of the deck in force that is on no
// street of the board yet. Cards of the built turn and river are refused
// too, and a river equal to the path's turn: no board with a card twice can
// be looked up later.
int ReadDealtCard(const std::string& token, const NodePath& path) {
  if (token.size() != 2) ThrowIncorrectPath();
  CardMask mask;
  try {
    mask = ParseCards(token);
  } catch (const CommandFailure&) {
    ThrowIncorrectPath();
  }
  if (std::popcount(mask) != 1) ThrowIncorrectPath();
  const int card = SingleCard(mask);
  if ((mask & TreeBoard.All()) || card == path.turn || RankOf(card) < lowCard) ThrowIncorrectPath();
  return card;
}

// Line edits after a build leave the trie and the built tree out of step.
// A trie node is only followed where it still is the built node its index
// names, with the same children in the same order: otherwise a path to a
// line added later (index 0 until a build) or to a node whose actions
// changed would read another node's rows.
bool MatchesBuiltNode(const SchematicNode& node) {
  const std::vector<TreeNode>& nodes = GlobalContext->nodes;
  if (node.index < 0 || size_t(node.index) >= nodes.size()) return false;
  const TreeNode& built = nodes[size_t(node.index)];
  const int32_t parent = node.parent ? node.parent->index : -1;
  if (built.parent != parent || built.IsEnd() != node.IsEnd()) return false;
  if (built.children.size() != node.children.size()) return false;
  size_t i = 0;
  for (const auto& child : node.children)
    if (child.second->index != built.children[i++]) return false;
  return true;
}

}  // namespace

int StreetNumber(const SchematicNode& node) {
  const int rootStreet = GlobalContext ? GlobalContext->rootStreet : 1;
  return rootStreet + node.street;
}

NodePath ParsePath(const std::string& text) {
  // The place above the root, then the root.
  if (!TreeIsPresent()) FailCommand("missing/incorrect tree");
  const std::vector<std::string> tokens = SplitAtColons(text);
  if (tokens[0] != "r") ThrowIncorrectPath();
  NodePath path;
  path.turn = SingleCard(TreeBoard.turn);
  path.river = SingleCard(TreeBoard.river);
  if (tokens.size() == 1) return path;
  if (tokens[1] != "0") ThrowIncorrectPath();
  path.node = SchematicRoot.get();

  // Actions and dealt cards.
  for (size_t t = 2; t < tokens.size(); ++t) {
    const std::string& token = tokens[t];
    if (token.empty()) ThrowIncorrectPath();
    path.pendingDeal = false;
    SchematicNode& node = *path.node;
    SchematicNode* child = nullptr;
    switch (token[0]) {
      case 'b':
        child = FindChild(node, ParseDouble(token.substr(1)));
        break;
      case 'c':
        child = FindChild(node, node.amount);
        if (child && child->street > node.street) path.pendingDeal = true;
        break;
      case 'f':
        child = FindChild(node, FoldKey);
        break;
      default: {
        // A card names the deal of the street the current node opens.
        const int card = ReadDealtCard(token, path);
        const SchematicNode* parent = node.parent;
        const int street = StreetNumber(node);
        const int parentStreet = parent ? StreetNumber(*parent) : 0;
        if (parent && parentStreet == 1 && street == 2 && path.turn < 0) {
          path.turn = card;
        } else if (parent && parentStreet == 2 && street == 3 && path.river < 0) {
          path.river = card;
        } else {
          ThrowIncorrectPath();
        }
        continue;
      }
    }
    if (!child) ThrowIncorrectPath();
    path.node = child;
  }
  return path;
}

bool InBuiltTree(const NodePath& path) {
  for (const SchematicNode* node = path.node; node; node = node->parent)
    if (!MatchesBuiltNode(*node)) return false;
  return true;
}

NodePath ParseBuiltPath(const std::string& text) {
  const NodePath path = ParsePath(text);
  if (!InBuiltTree(path)) ThrowIncorrectPath();
  return path;
}

NodePath ParseNodePath(const std::string& text) { return ParseBuiltPath(text == "r" ? "r:0" : text); }

bool PathHasItsBoard(const NodePath& path) {
  if (!path.node || path.pendingDeal) return true;
  const SolverContext& context = *GlobalContext;
  const int street = StreetNumber(*path.node);
  if (street >= 2 && context.rootStreet < 2 && path.turn < 0) return false;
  if (street >= 3 && context.rootStreet < 3 && path.river < 0) return false;
  return true;
}

NodePath ParseDecisionPath(const std::string& text) {
  const NodePath path = ParseBuiltPath(text);
  if (!path.node || path.pendingDeal || path.node->IsEnd() || !PathHasItsBoard(path)) ThrowIncorrectPath();
  return path;
}

NodePath ParentPath(const NodePath& path) {
  if (!path.node) return path;
  SchematicNode* parent = path.node->parent;
  NodePath result;
  if (!parent) return result;
  result.node = parent;
  const int street = StreetNumber(*parent);
  result.turn = street >= 2 ? path.turn : -1;
  result.river = street >= 3 ? path.river : -1;
  return result;
}

std::string ChildToken(const SchematicNode& node, int child) {
  const double key = std::next(node.children.begin(), child)->first;
  if (key <= node.amount) return key >= 0.0 ? "c" : "f";
  char text[64];
  std::snprintf(text, sizeof text, "b%.0f", key);  // keys are whole chips
  return text;
}

const char* NodeKindWord(const NodePath& path) {
  if (!path.node) return "ROOT";
  if (path.pendingDeal) return "SPLIT_NODE";
  if (path.node->IsEnd()) return "END_NODE";
  return path.node->player == 0 ? "OOP_DEC" : "IP_DEC";
}
