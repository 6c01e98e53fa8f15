#include "solver/lock_commands.h"

#include <mutex>
#include <vector>

#include "setup/cards.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "solver/forget.h"
#include "solver/node_locks.h"
#include "solver/subgame.h"
#include "tree/solver_context.h"
#include "solver/solver_driver.h"
#include "solver/solver_control.h"
#include "solver/traversal.h"
#include "tree/node_board.h"
#include "tree/node_path.h"

namespace {

// 1326 numbers in public hand order, to ComboIndex order.
std::vector<double> ParseHandValues(const Tokens& tokens, size_t first) {
  std::vector<double> values(HandCount);
  for (int p = 0; p < HandCount; ++p) values[HandOrderToCombo[size_t(p)]] = ParseDouble(tokens[first + size_t(p)]);
  return values;
}

// A node of a forgotten street gets back (empty) stores for its whole
// subgame before a lock or a strategy is written to it; the subgame is
// solved with them when a query or solve_partial asks. Under the pass
// mutex.
void GiveBackStores(const NodePath& path) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(path.node->index)];
  if (!(context.flags & IncompleteTreeFlag) || context.forgottenStreet < 0 || node.street < context.forgottenStreet)
    return;
  if (!RebuildSubtreeStores(context, SubgameTop(context, node), false)) ThrowCommandError("out of memory");
}

void LockCommand(const Tokens& tokens, bool lock) {
  const NodePath path = ParseDecisionPath(tokens[1]);
  // The pass mutex keeps a running job from reading rows half changed.
  std::lock_guard<std::mutex> passLock(PassMutex);
  GiveBackStores(path);
  if (!SetNodeLock(path.node->index, path.turn, path.river, lock)) ThrowCommandError("incorrect path");
  ReplyOk(tokens);
}

double SolvePartial(const NodePath& path) {
  SolverContext& context = *GlobalContext;
  TreeNode& node = context.nodes[size_t(path.node->index)];
  const DealIndexes deal = NodeDeal(context, node, path.turn, path.river);
  if (!NodeDealComplete(node, deal)) return 0.0;
  return SolvePartialAt(context, node, deal.turn, deal.river);
}

}  // namespace

void CmdLockNode(const Tokens& tokens) { LockCommand(tokens, true); }

void CmdUnlockNode(const Tokens& tokens) { LockCommand(tokens, false); }

void CmdSetStrategy(const Tokens& tokens) {
  const NodePath path = ParseDecisionPath(tokens[1]);
  const int child = ParseInt(tokens[2]);
  if (child < 0 || size_t(child) >= path.node->children.size()) ThrowCommandError("invalid child index");
  const std::vector<double> values = ParseHandValues(tokens, 3);
  std::lock_guard<std::mutex> passLock(PassMutex);
  GiveBackStores(path);
  // The row needs the node's memory; the rest of the tree gets its own at
  // go. A write that had nowhere to go would be lost without a word.
  if (!AllocateNodeStores(GlobalContext->nodes[size_t(path.node->index)])) ThrowCommandError("out of memory");
  if (!SetStrategyRow(path.node->index, child, path.turn, path.river, values.data()))
    ThrowCommandError("incorrect path");
  ReplyOk(tokens);
}

void CmdComboLockNode(const Tokens& tokens) {
  const NodePath path = ParseDecisionPath(tokens[1]);
  const std::vector<double> values = ParseHandValues(tokens, 2);
  std::lock_guard<std::mutex> passLock(PassMutex);
  GiveBackStores(path);
  if (!SetComboLock(path.node->index, path.turn, path.river, values.data())) ThrowCommandError("incorrect path");
  ReplyOk(tokens);
}

void CmdSolvePartial(const Tokens& tokens) {
  const NodePath path = ParseDecisionPath(tokens[1]);
  SolvePartial(path);
  ReplyOk(tokens);
}

void CmdExploPartial(const Tokens& tokens) {
  const NodePath path = ParseDecisionPath(tokens[1]);
  PrintReply("%.6g\n", SolvePartial(path));
}
