#include "shell/tree_lifecycle.h"

#include <algorithm>

#include "setup/board.h"
#include "setup/cards.h"
#include "setup/ranges.h"
#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/shell_state.h"
#include "solver/river_chains.h"
#include "solver/solver_control.h"
#include "solver/solver_driver.h"
#include "solver/solver_limits.h"
#include "tree/store_setup.h"
#include "tree/global_context.h"
#include "tree/isomorphism.h"
#include "tree/schematic_tree.h"
#include "tree/solver_context.h"

namespace {

constexpr int MaxBoardThreads = 4;

void ReportCountedBytes(int64_t bytes) {
  if (bytes >= 0 && Verbosity > 0) PrintReply("[uncompressed storage %lld MB]\n", (long long)(bytes / 1024 / 1024));
}

void BuildWithStores(const BuildInput& input) {
  BuildTree(input);
  if (!input.compressionStep) return;
  try {
    SetUpTreeStores(*GlobalContext, input.compressionLevel);
  } catch (...) {
    FreeTree();
    throw;
  }
}

}  // namespace

TreeState CurrentTreeState() {
  const SolverContext* context = GlobalContext;
  if (!context) return TreeState::NoTree;
  if (context->storesReady) return TreeState::StoresReady;
  for (const TreeNode& node : context->nodes)
    if (node.store0) return TreeState::StoresSetUp;
  return TreeState::Built;
}

void RequireTree() {
  if (CurrentTreeState() == TreeState::NoTree) ThrowCommandError("missing/incorrect tree");
}

void RequireSolverIdle() {
  if (SolverIsRunning()) ThrowCommandError("Can't do that when solver is running");
}

void StopSolverAndWait() {
  if (!SolverIsRunning()) return;
  RequestSolverStop();
  WaitForSolver();
}

BuildInput GatherBuildInput() {
  BuildInput input;
  input.board = InputBoard;
  input.ranges = Ranges;
  input.trie = SchematicRoot.get();
  input.rootStreet = RootStreetOf(input.board);
  input.effectiveStack = SchematicEffectiveStack();
  input.halfPot = TotalPot() * 0.5;
  input.potValues = {PotValues[0], PotValues[1], PotValues[2]};
  input.isomorphism = input.rootStreet == 1   ? IsomorphismFlopRoots
                      : input.rootStreet == 2 ? IsomorphismTurnRoots
                                              : false;
  input.lowCard = lowCard;
  input.boardThreads = std::min(MaxBoardThreads, SolverThreadCount());
  input.compressionStep = true;
  input.compressionLevel = CompressionLevel;
  return input;
}

void BuildTreeFromSetUp() {
  const BuildInput input = GatherBuildInput();
  CheckSpotIsComplete(input);
  RequireSolverIdle();
  TreeInfoLines.clear();
  BuildWithStores(input);
}

void RebuildTreeFromSetUp() { BuildWithStores(GatherBuildInput()); }

void SetUpTreeStores(SolverContext& context, int level) {
  int64_t countedBytes = -1;
  try {
    ApplyCompression(context, level, countedBytes);
  } catch (...) {
    // The stores may have been made anew only to count them.
    ReportCountedBytes(countedBytes);
    ClearSolverHistory();
    throw;
  }
  ReportCountedBytes(countedBytes);
  SetRiverChainElements(context);
  const StoreLevelPair levels = LevelPair(ActualCompression);
  SetSolverLimits(context, levels.regret, levels.sum);
  ClearSolverHistory();
}
