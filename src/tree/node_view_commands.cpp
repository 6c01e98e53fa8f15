// Handlers that show the tree by node path: show_node, show_children,
// show_all_lines, and set_ev_boost, which writes through a path.
//
// A place is printed from the trie and the path's own cards, not from the
// built tree, so it shows what the client named even where the tree keeps
// only a representative card; only the lock flags come from the stores,
// and those are looked up through the canonical cards of the place.
#include <bit>
#include <cstdint>
#include <string>

#include "eval/rule_settings.h"
#include "setup/board.h"
#include "setup/cards.h"
#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/tree_lifecycle.h"
#include "shell/parse.h"
#include "tree/global_context.h"
#include "tree/isomorphism.h"
#include "tree/node_board.h"
#include "tree/node_path.h"
#include "tree/schematic_tree.h"
#include "tree/solver_context.h"
#include "tree/tree_commands.h"

namespace {

// Cards a split lists: the flop has three and the fourth street has one more.
constexpr int TurnSplitChildren = 49;
constexpr int RiverSplitChildren = 48;

bool IsSplit(const NodePath& place) { return place.node && place.pendingDeal; }

std::string JoinFlags(uint32_t flags, const char* const* names, int count) {
  std::string text;
  for (int bit = 0; bit < count; ++bit) {
    if (!(flags & (1u << bit))) continue;
    if (!text.empty()) text += ' ';
    text += names[bit];
  }
  return text;
}

std::string TreeFlagsText() {
  static const char* const names[] = {"INCOMPLETE_TREE", "ISOMORPHISM_ON", "NEW_TREE"};
  return JoinFlags(GlobalContext->flags, names, 3);
}

// The lock flags of the row the place addresses. A place that stops before
// the card of its node's street addresses no single row, and a node without
// stores (an end, a forgotten street) has none: both show no flags.
std::string NodeFlagsText(const NodePath& place) {
  const SolverContext& context = *GlobalContext;
  if (!InBuiltTree(place)) return "";
  const int index = place.node->index;
  const TreeNode& treeNode = context.nodes[index];
  if (!treeNode.store0 || !context.boardTree) return "";

  const DealIndexes deal = NodeDeal(context, treeNode, place.turn, place.river);
  if (!NodeDealComplete(treeNode, deal)) return "";

  static const char* const names[] = {"LOCKED", "COMBO_LOCKED"};
  const LockRecord* record = treeNode.store0->GetLockRecord(deal.turn, deal.river);
  return record ? JoinFlags(record->flags, names, 2) : "";
}

void PrintPlace(const std::string& text, const NodePath& place) {
  const char* kind = NodeKindWord(place);
  PrintReply("%s\n%s\n", text.c_str(), kind);

  std::string board = FormatCards(TreeBoard.flop);
  if (place.turn >= 0) board += " " + CardText(place.turn);
  if (place.river >= 0) board += " " + CardText(place.river);
  PrintReply("%s\n", board.c_str());

  // The pot is not in the paid figures: the total at the node is all three.
  const SchematicNode* node = place.node;
  PrintReply("%g %g %g\n", node ? node->paid[0] : 0.0, node ? node->paid[1] : 0.0, TotalPot());

  if (!node) {
    PrintReply("1 children\n");
    PrintReply("flags: %s\n", TreeFlagsText().c_str());
  } else if (IsSplit(place)) {
    // Fixed figures: the deck's low card isn't taken into account here.
    PrintReply("%d children\n", StreetNumber(*node) == 2 ? TurnSplitChildren : RiverSplitChildren);
    PrintReply("flags:\n");
  } else {
    PrintReply("%d children\n", int(node->children.size()));
    PrintReply("flags: %s\n", NodeFlagsText(place).c_str());
  }
}

void PrintAllLines(const SchematicNode& node, const std::string& path) {
  // Last child first: the fold, where there is one, leads and the largest
  // action comes last.
  for (int i = int(node.children.size()) - 1; i >= 0; --i) {
    const std::string childPath = path + ":" + ChildToken(node, i);
    PrintReply("%s\n", childPath.c_str());
    const SchematicNode& child = *std::next(node.children.begin(), i)->second;
    if (!child.IsEnd()) PrintAllLines(child, childPath);
  }
}

}  // namespace

void CmdShowNode(const Tokens& tokens) {
  const NodePath place = ParsePath(tokens[1]);
  PrintPlace(tokens[1], place);
  PrintReply("END\n");
}

void CmdShowChildren(const Tokens& tokens) {
  const std::string& text = tokens[1];
  const NodePath place = ParsePath(text);
  int count = 0;
  if (!place.node) {
    NodePath root = place;
    root.node = SchematicRoot.get();
    PrintReply("child %d:\n", count++);
    PrintPlace("r:0", root);
  } else if (IsSplit(place)) {
    // Every real card, highest first, not the representatives of the tree.
    const bool dealsTurn = StreetNumber(*place.node) == 2;
    for (int rank = 12; rank >= lowCard; --rank) {
      for (int suit = 3; suit >= 0; --suit) {
        const int card = rank + 13 * suit;
        if ((CardBit(card) & TreeBoard.flop) || card == place.turn || card == place.river) continue;
        NodePath child = place;
        child.pendingDeal = false;
        (dealsTurn ? child.turn : child.river) = card;
        PrintReply("child %d:\n", count++);
        PrintPlace(text + ":" + CardText(card), child);
      }
    }
  } else {
    const SchematicNode& node = *place.node;
    for (const auto& [key, childNode] : node.children) {
      NodePath child = place;
      child.node = childNode.get();
      child.pendingDeal = childNode->street > node.street;
      const std::string token = ChildToken(node, count);
      PrintReply("child %d:\n", count++);
      PrintPlace(text + ":" + token, child);
    }
  }
  PrintReply("END\n");
}

void CmdShowAllLines(const Tokens& tokens) {
  RequireTree();
  PrintReply("r\nr:0\n");
  PrintAllLines(*SchematicRoot, "r:0");
  PrintReply("END\n");
}

void CmdSetEvBoost(const Tokens& tokens) {
  RequireTree();
  const NodePath path = ParseBuiltPath(tokens[1]);
  // The path names the action: the boost belongs to the node it reaches.
  const char* parentKind = NodeKindWord(ParentPath(path));
  if (std::string(parentKind) != "OOP_DEC" && std::string(parentKind) != "IP_DEC") ThrowBadArguments(tokens);
  const double value = ParseDouble(tokens[2]);
  if (!(value >= -0.99 && value <= 1.0)) ThrowBadArguments(tokens);
  const int index = path.node->index;
  if (index < 0 || index >= int(GlobalContext->nodes.size())) ThrowBadArguments(tokens);
  GlobalContext->nodes[index].evBoost = float(value);
  ReplyOk(tokens);
}
