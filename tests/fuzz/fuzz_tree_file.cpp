// Fuzz target: arbitrary bytes as a tree file, read as load_tree reads one.
//
// A file that loads is then asked what a user would ask of it (results,
// strategies at the root, one solver step), so that numbers a damaged
// file smuggles past the reader show up here rather than in a solve.
// Refusals are the expected outcome of nearly every input; a crash, a
// hang, a sanitizer report or an exit is a finding.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "eval/hand_tables.h"
#include "eval/rule_settings.h"
#include "setup/failure.h"
#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/shell_commands.h"
#include "storage/tree_stream.h"
#include "tree/global_context.h"
#include "tree/tree_build.h"

namespace {

void Initialise() {
  static bool done = false;
  if (done) return;
  done = true;
  InitHandTables();
  BuildHandTables();
  const int null = open("/dev/null", O_WRONLY);
  if (null >= 0) dup2(null, STDOUT_FILENO);
  ThreadCount = 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Initialise();
  TreeReader in(data, size);
  bool loaded = false;
  try {
    LoadTreeFrom(in);
    loaded = true;
  } catch (const CommandFailure&) {
  } catch (const std::runtime_error&) {
  }
  if (loaded) {
    for (const Tokens& tokens : {Tokens{"calc_results"}, Tokens{"show_strategy", "r"}, Tokens{"calc_ev", "OOP", "r"},
                                 Tokens{"go", "1", "steps"},
                                 Tokens{"wait_for_solver"}, Tokens{"calc_results"}})
      ExecuteCommand(tokens);
    DiscardReply();
  }
  FreeTree();
  ResetRuleSettings();
  return 0;
}
