// calc_line_freq and calc_global_freq: how often a line is played.
#include <bit>
#include <string>
#include <vector>

#include "analysis/analysis_commands.h"
#include "analysis/line_weight.h"
#include "setup/board.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "tree/node_path.h"
#include "tree/schematic_tree.h"

namespace {

int SingleCard(CardMask mask) { return mask ? std::countr_zero(mask) : -1; }

// The joint weight of the whole game at the built board: every frequency
// is a share of it.
double RootWeight() {
  return LineWeightTotal(SchematicRoot->index, SingleCard(TreeBoard.turn), SingleCard(TreeBoard.river));
}

// The street whose cards a sum over deals must supply: the path's own
// cards, or deeper if a decision above the node lies on a street whose
// card the path leaves out. Such a path names no single board, so its
// missing cards are summed like cards the path names on summed streets.
int CardLevel(const NodePath& path) {
  int level = path.river >= 0 ? 3 : path.turn >= 0 ? 2 : 1;
  const SolverContext& context = *GlobalContext;
  const int parent = context.nodes[size_t(path.node->index)].parent;
  if (parent >= 0) level = std::max(level, int(context.nodes[size_t(parent)].street));
  return level;
}

}  // namespace

void CmdCalcGlobalFreq(const Tokens& tokens) {
  const NodePath path = ParseNodePath(tokens[1]);
  // The probability of exactly the named cards: the place must name a board.
  const int street = StreetNumber(*path.node);
  if ((street >= 2 && path.turn < 0) || (street >= 3 && path.river < 0)) ThrowCommandError("incorrect path");
  const double whole = RootWeight();
  const double line = LineWeightTotal(path.node->index, path.turn, path.river);
  PrintReply("%.9g\n", line / whole);
}

void CmdCalcLineFreq(const Tokens& tokens) {
  // Forgotten streets hold no strategies to weigh a line with.
  if (TreeIsPresent() && GlobalContext->forgottenStreet >= 0) {
    PrintReply("1\n");
    return;
  }
  const NodePath path = ParseNodePath(tokens[1]);
  const double whole = RootWeight();
  const int node = path.node->index;
  const int rootStreet = GlobalContext->rootStreet;
  const int level = CardLevel(path);
  const CardMask built = TreeBoard.All();

  // A card the path names on a summed street only chooses the case.
  double line = 0.0;
  if (level == rootStreet) {
    line = LineWeightTotal(node, path.turn, path.river);
  } else if (rootStreet == 2) {
    for (int c = 0; c < 52; ++c)
      if (!(built & CardBit(c))) line += LineWeightTotal(node, path.turn, c);
  } else if (level == 2) {
    for (int c = 0; c < 52; ++c)
      if (!(built & CardBit(c))) line += LineWeightTotal(node, c, -1);
  } else {
    std::vector<TurnGroup> groups;
    for (int c1 = 0; c1 < 52; ++c1) {
      if (built & CardBit(c1)) continue;
      TurnGroup group;
      group.turn = c1;
      for (int c2 = 0; c2 < 52; ++c2)
        if (c2 != c1 && !(built & CardBit(c2))) group.rivers.push_back(c2);
      groups.push_back(std::move(group));
    }
    line = LineWeightTotalOverDeals(node, groups);
  }
  PrintReply("%.9g\n", line / whole);
}
