#include "shell/script.h"

#include <sys/stat.h>

#include <cstdio>
#include <fstream>

#include "shell/command_error.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/shell_state.h"

namespace {
int ScriptDepth = 0;
}

bool IsExistingFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

namespace {
// Lines written on Windows end with a carriage return; it is no part of the
// command.
void DropCarriageReturn(std::string& line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
}
}  // namespace

void RunInputLine(std::string line) {
  DropCarriageReturn(line);
  Tokens tokens = Tokenize(line);
  if (tokens.empty()) return;
  ExecuteCommand(std::move(tokens));
  FlushReply();
  std::fflush(stdout);
}

void RunScript(const std::string& path) {
  if (Verbosity > 0) PrintReply("[load_script %s]\n", path.c_str());
  // A directory opens on Linux but yields no lines; it is no script.
  std::ifstream file;
  if (IsExistingFile(path)) file.open(path, std::ios::binary);
  if (!file.is_open()) ThrowCommandError("can't open file");
  if (ScriptDepth >= MaxScriptDepth) ThrowCommandError("scripts nested too deep");

  struct DepthGuard {
    DepthGuard() { ++ScriptDepth; }
    ~DepthGuard() { --ScriptDepth; }
  } depthGuard;
  std::string line;
  // getline also yields a last line without a line end, which runs too.
  while (std::getline(file, line)) RunInputLine(line);
}
