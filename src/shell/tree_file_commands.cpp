// load_tree and dump_tree: a solved tree to a file and back.
//
// Loading rebuilds the tree from the file's set-up through the same build
// as build_tree, makes its stores for the file's version and level, and
// fills them. The old tree is gone from the start, so any refusal of the
// file ends with no tree; whatever was read of the file is thrown away.
//
// Dumping writes beside the target and renames at the end, so a dump that
// fails (a full disk, a bad path) never destroys the file a user had.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/link/server_link.h"
#include "shell/output.h"
#include "shell/shell_commands.h"
#include "shell/tree_lifecycle.h"
#include "solver/boundary_walk.h"
#include "solver/pass.h"
#include "solver/river_blocks_check.h"
#include "solver/river_chains.h"
#include "solver/solver_driver.h"
#include "solver/solver_limits.h"
#include "solver/strategy_rules.h"
#include "storage/tree_stream.h"
#include "tree/global_context.h"
#include "tree/schematic_tree.h"
#include "tree/solver_context.h"
#include "tree/store_setup.h"
#include "tree/tree_file.h"

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

[[noreturn]] void ThrowSystemError(const char* what, int error) {
  throw std::runtime_error(std::string(what) + " (" + std::strerror(error ? error : EIO) + ")");
}

// The strategy a query would show, so that the thousandths of a tree with
// forgotten streets read back as the strategy it showed.
void ReadShownStrategy(SolverContext& context, TreeNode& node, int turn, int hands, FloatVec* rows) {
  const int actions = node.ActionCount();
  if (context.iteration < 63) {
    const FallbackRow fallback(actions, false);
    CurrentStrategy(node, turn, -1, hands, fallback.data(), rows);
  } else {
    const Pass pass = StartPass(context, TraversalMode::NodeQuery, node.player);
    AverageStrategy(context, pass, node, turn, -1, hands, rows);
  }
}

}  // namespace

void LoadTreeFrom(TreeReader& in) {
  const TreeFileHead head = ReadTreeFileHead(in);

  BuildInput input = GatherBuildInput();
  input.compressionStep = false;
  BuildTree(input);
  SolverContext& context = *GlobalContext;
  context.formatVersion = head.version;
  context.valueless = head.valueless;

  const TreeFileState state = ReadTreeFileState(in);
  // The boards of a tree depend on the isomorphism settings in force; a
  // file made under others would be read into a different game.
  if ((state.treeFlags ^ context.flags) & IsomorphismOnFlag)
    throw CommandFailure(state.treeFlags & IsomorphismOnFlag
                             ? "the file was made with suit isomorphism on; set_isomorphism as then"
                             : "the file was made with suit isomorphism off; set_isomorphism as then");
  RequireSolverIdle();

  context.forgottenStreet = state.forgottenStreet;
  context.flags = state.treeFlags;
  ActualCompression = state.compression;
  const StoreLevelPair levels = LevelPair(state.compression);
  SetUpStores(context, levels.regret, levels.sum);
  SetSolverLimits(context, levels.regret, levels.sum);
  ClearSolverHistory();
  context.iteration = state.iteration;
  context.resultsIteration = state.resultsIteration;
  context.mesOop = state.mesOop;
  context.evOop = state.evOop;
  context.mesIp = state.mesIp;
  context.evIp = state.evIp;
  context.meanEv = state.meanEv;
  context.exploitability = state.exploitability;
  if (!AllocateStores(context)) throw CommandFailure("out of memory");

  SetRiverChainElements(context);
  ReadNodeData(context, in, head.valueless);
  RecomputeAbsentReachSums(context);
  if (!CheckRiverBlocks(context)) throw CommandFailure("damaged file: compressed river rows");
  std::vector<std::string> infoLines;
  if (head.version >= 7) infoLines = ReadInfoLines(in);
  if (in.Remaining() > 0) RefuseTreeFile(in, "bytes after the end");
  TreeInfoLines = std::move(infoLines);
}

void CmdLoadTree(const Tokens& tokens) {
  // A client's path means nothing here: its file has come ahead of the
  // line, and is read once.
  const std::string path = ServingClient() ? ServerTempFile : tokens[1];
  struct TempFileRemover {
    const std::string& path;
    ~TempFileRemover() {
      if (ServingClient()) std::remove(path.c_str());
    }
  } remover{path};
  RequireSolverIdle();
  FreeTree();
  ClearLines();
  TreeInfoLines.clear();
  // Only a regular file: opening a pipe would wait for a writer forever,
  // and a device has no end.
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) ThrowSystemError("can't open file", errno);
  if (!S_ISREG(info.st_mode)) throw std::runtime_error("can't open file (not a regular file)");
  FileHandle file(std::fopen(path.c_str(), "rb"));
  if (!file) ThrowSystemError("can't open file", errno);
  try {
    TreeReader in(file.get());
    LoadTreeFrom(in);
  } catch (...) {
    FreeTree();
    TreeInfoLines.clear();
    throw;
  }
  ReplyOk(tokens);
}

void CmdDumpTree(const Tokens& tokens) {
  RequireSolverIdle();
  if (tokens.size() < 2) ThrowBadArguments(tokens);
  RequireTree();
  SolverContext& context = *GlobalContext;
  // The stores are written whole: those not yet given memory are given it,
  // and read as the empty stores they are.
  if (!AllocateStores(context)) ThrowCommandError("out of memory");

  // A client gets the file with the reply, wherever it asked for it.
  const std::string path = ServingClient() ? ServerTempFile : tokens[1];
  const std::string partial = path + ".partial";
  FileHandle file(std::fopen(partial.c_str(), "wb"));
  if (!file) ThrowSystemError("can't open file", errno);
  constexpr size_t WriteBuffer = 1 << 20;
  std::setvbuf(file.get(), nullptr, _IOFBF, WriteBuffer);
  TreeWriter out(file.get());
  bool written = WriteTreeFile(context, out, TreeInfoLines, ReadShownStrategy);
  int error = errno;
  written = written && std::fflush(file.get()) == 0 && fsync(fileno(file.get())) == 0;
  if (!written) error = errno;
  const bool closed = std::fclose(file.release()) == 0;
  if (written && !closed) error = errno;
  if (!written || !closed || std::rename(partial.c_str(), path.c_str()) != 0) {
    if (written && closed) error = errno;
    std::remove(partial.c_str());
    ThrowSystemError("can't write to file", error);
  }
  if (ServingClient()) SetServerPendingFile(path, true);
  ReplyOk(tokens);
}
