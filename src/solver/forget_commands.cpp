#include "solver/forget_commands.h"

#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/tree_lifecycle.h"
#include "solver/forget.h"
#include "solver/subgame.h"
#include "tree/global_context.h"
#include "tree/solver_context.h"

namespace {

// "rivers" is street 3, "turns" street 2.
int StreetWord(const Tokens& tokens) {
  if (tokens[1] == "rivers") return 3;
  if (tokens[1] == "turns") return 2;
  ThrowBadArguments(tokens);
}

// These commands drop or make stores, which a running pass walks: they
// wait for a stopped solver rather than take its rows away.
SolverContext& IdleTree() {
  RequireTree();
  RequireSolverIdle();
  return *GlobalContext;
}

}  // namespace

void CmdForget(const Tokens& tokens) {
  SolverContext& context = IdleTree();
  Forget(context, StreetWord(tokens));
  ReplyOk(tokens);
}

void CmdRebuildForgottenStreets(const Tokens& tokens) {
  RebuildForgottenStreets(IdleTree());
  ReplyOk(tokens);
}

void CmdSolveAllSplits(const Tokens& tokens) {
  SolverContext& context = IdleTree();
  ResolveStreet(context, StreetWord(tokens));
  ReplyOk(tokens);
}
