// Small commands of the shell: liveness, clock, tree presence, help.
#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "shell/command_table.h"
#include "shell/output.h"
#include "shell/shell_commands.h"
#include "shell/shell_state.h"
#include "tree/global_context.h"

void CmdIsReady(const Tokens& tokens) { ReplyOk(tokens); }

void CmdSolverTime(const Tokens&) {
  PrintReply("%f\n", double(ClockTicks() - StartTicks) / 10000000.0);
}

void CmdShowSettings(const Tokens&) { PrintReply("END\n"); }

void CmdIsTreePresent(const Tokens&) { PrintReply(TreeIsPresent() ? "true\n" : "false\n"); }

void CmdHelp(const Tokens&) {
  // The ai6_ spellings are kept for old clients but not advertised.
  std::vector<std::string_view> names;
  for (size_t i = 0; i < CommandTableSize; ++i)
    if (std::strncmp(CommandTable[i].name, "ai6_", 4) != 0) names.push_back(CommandTable[i].name);
  std::sort(names.begin(), names.end());
  for (std::string_view name : names) PrintReply("%.*s\n", int(name.size()), name.data());
  PrintReply("END\n");
}
