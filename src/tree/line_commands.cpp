// Handlers of the line edits: add_line, force_line, remove_line,
// clear_lines (and free_schematic_tree), cut_line.
//
// Unlike most handlers, the line edits read their amounts one at a time
// while they walk the trie: a token that can't be read, or an amount below
// the last, stops the command with the steps before it in place. Clients
// rely on nothing else, and the trie stays a valid one at every step.
#include <cmath>

#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/tree_lifecycle.h"
#include "tree/node_path.h"
#include "tree/schematic_tree.h"
#include "tree/tree_build.h"
#include "tree/tree_commands.h"

namespace {

constexpr double MaxLineAmount = 1e9;

void MergeLine(const Tokens& tokens, bool force) {
  LineCursor line = StartLine();
  for (size_t t = 1; t < tokens.size(); ++t) {
    const double amount = std::floor(ParseDouble(tokens[t]));
    // Chip totals beyond a billion are no stack anyone plays, and would not
    // survive the conversions to whole numbers that stacks and paths make.
    if (!(amount <= MaxLineAmount) || !MergeStep(line, amount, force)) ThrowBadArguments(tokens);
  }
  ReplyOk(tokens);
}

}  // namespace

void CmdAddLine(const Tokens& tokens) { MergeLine(tokens, false); }

void CmdForceLine(const Tokens& tokens) { MergeLine(tokens, true); }

void CmdRemoveLine(const Tokens& tokens) {
  SchematicNode* node = SchematicRoot.get();
  double previous = 0.0;
  for (size_t t = 1; t < tokens.size(); ++t) {
    const double amount = RemovalKey(std::floor(ParseDouble(tokens[t])), previous);
    SchematicNode* child = FindChild(*node, amount);
    if (!child) break;  // an absent line: nothing to erase
    if (t + 1 == tokens.size()) {
      EraseNode(child);
      break;
    }
    node = child;
    previous = amount;
  }
  ReplyOk(tokens);
}

void CmdClearLines(const Tokens& tokens) {
  ClearLines();
  ReplyOk(tokens);
}

void CmdCutLine(const Tokens& tokens) {
  const NodePath path = ParsePath(tokens[1]);
  if (!path.node || !path.node->parent) ThrowCommandError("can't cut root");
  RequireSolverIdle();
  // The betting history goes on all boards; the cards of the path don't matter.
  EraseNode(path.node);
  RebuildTreeFromSetUp();
  ReplyOk(tokens);
}
