// Handlers of building and freeing the tree, its size figures, its
// effective stack and the compression level.
#include <cstdint>
#include <string>

#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/shell_state.h"
#include "shell/tree_lifecycle.h"
#include "storage/physical_memory.h"
#include "tree/global_context.h"
#include "tree/node_count.h"
#include "tree/schematic_tree.h"
#include "tree/solver_context.h"
#include "tree/store_setup.h"
#include "tree/tree_build.h"
#include "tree/tree_commands.h"

namespace {

void PrintStreetColumns(const std::array<int64_t, 4>& columns, const char* riverLabel) {
  PrintReply("FLOP  %d\n", int(columns[1]));
  PrintReply("TURN  %d\n", int(columns[2]));
  PrintReply("%s%d\n", riverLabel, int(columns[3]));
}

int64_t Sum(const std::array<int64_t, 4>& columns) { return columns[1] + columns[2] + columns[3]; }

// A level word, or a number clamped to -1..5. A token that is neither
// throws std::invalid_argument.
int ParseCompressionLevel(const std::string& token) {
  for (int level = MinCompressionLevel; level <= MaxCompressionLevel; ++level)
    if (token == CompressionWord(level)) return level;
  const int number = ParseInt(token);
  if (number < MinCompressionLevel) return MinCompressionLevel;
  if (number > MaxCompressionLevel) return MaxCompressionLevel;
  return number;
}

}  // namespace

void CmdBuildTree(const Tokens& tokens) {
  BuildTreeFromSetUp();
  if (Verbosity > 0)
    PrintReply("[compression set %d (%s) actual %d (%s)]\n", CompressionLevel, CompressionWord(CompressionLevel),
               ActualCompression, CompressionWord(ActualCompression));
  ReplyOk(tokens);
}

void CmdFreeTree(const Tokens& tokens) {
  // The solver works on the tree: it is stopped first, never freed under it.
  StopSolverAndWait();
  FreeTree();
  ReplyOk(tokens);
}

void CmdNodeCount(const Tokens& tokens) {
  RequireTree();
  const int rootStreet = GlobalContext->rootStreet;
  const NodeCounts counts = CountNodes(*SchematicRoot, rootStreet);
  PrintReply("H_DEC: %d\n", int(Sum(counts.decisions[1])));
  PrintStreetColumns(counts.decisions[1], "RIVER  ");
  PrintReply("V_DEC: %d\n", int(Sum(counts.decisions[0])));
  PrintStreetColumns(counts.decisions[0], "RIVER  ");
  PrintReply("SPLIT: %d\n", int(Sum(counts.splits)));
  PrintStreetColumns(counts.splits, "RIVER  ");
  PrintReply("END: %d\n", int(Sum(counts.ends)));
  PrintStreetColumns(counts.ends, "RIVER  ");
  std::array<int64_t, 4> root = {};
  root[size_t(rootStreet)] = 1;
  PrintReply("ROOT: 1\n");
  PrintStreetColumns(root, "RIVER ");
  PrintReply("TOTAL: %d\n", int(counts.total + 1));
  PrintReply("END\n");
}

void CmdEstimateSchematicTree(const Tokens& tokens) {
  if (!TreeIsPresent()) {
    PrintReply("estimated tree size: n/a\n");
    return;
  }
  PrintReply("estimated tree size: %lld MB\n", (long long)EstimatedTreeMegabytes(*GlobalContext, ActualCompression));
}

void CmdShowEffectiveStack(const Tokens& tokens) {
  RequireTree();
  PrintReply("%d\n", int(GlobalContext->effectiveStack));
}

void CmdSetCompression(const Tokens& tokens) {
  const int level = ParseCompressionLevel(tokens[1]);
  if (!TreeIsPresent()) {
    CompressionLevel = level;
    ReplyOk(tokens);
    return;
  }
  // With a tree the level is applied at once: new stores, nothing solved
  // kept. A level that can't be applied is not recorded either.
  RequireSolverIdle();
  const int previous = CompressionLevel;
  CompressionLevel = level;
  try {
    SetUpTreeStores(*GlobalContext, level);
  } catch (...) {
    CompressionLevel = previous;
    throw;
  }
  ReplyOk(tokens);
}

void CmdShowMemory(const Tokens& tokens) {
  const PhysicalMemory memory = ReadPhysicalMemory();
  PrintReply("Total Physical Memory: %d MB\n", int(memory.total >> 20));
  PrintReply("Available Phys Memory: %d MB\n", int(memory.available >> 20));
  PrintReply("END\n");
}
