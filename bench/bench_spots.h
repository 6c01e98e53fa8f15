// Helpers of the benchmarks: find the example spots and run commands with
// their replies going to /dev/null, so a benchmark's report stays readable.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "eval/hand_tables.h"
#include "setup/cards.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/tokenize.h"

namespace bench {

// The examples directory, found from the working directory (the source
// tree or a build directory two levels down) or from the binary's place.
inline std::string ExamplePath(const char* script) {
  std::string candidates[] = {"examples/", "../examples/", "../../examples/", ""};
  char exe[4096];
  const ssize_t length = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (length > 0) {
    std::string dir(exe, size_t(length));
    candidates[3] = dir.substr(0, dir.rfind('/')) + "/../../examples/";
  }
  for (const std::string& dir : candidates)
    if (std::ifstream(dir + script)) return dir + script;
  return std::string("examples/") + script;
}

// Runs the lines with the replies going to /dev/null, so that the
// benchmark's own report stays readable.
inline void RunSilently(const std::vector<std::string>& lines) {
  static bool tablesReady = (InitHandTables(), BuildHandTables(), true);
  (void)tablesReady;
  std::fflush(stdout);
  const int saved = dup(1);
  std::FILE* sink = std::fopen("/dev/null", "w");
  dup2(fileno(sink), 1);
  for (const std::string& line : lines) {
    ExecuteCommand(Tokenize(line));
    FlushReply();
  }
  std::fflush(stdout);
  dup2(saved, 1);
  close(saved);
  std::fclose(sink);
}

// The lines of an example script, without the ones `skip` names.
inline std::vector<std::string> ScriptLines(const char* script, const std::string& skip = "") {
  std::ifstream file(ExamplePath(script));
  if (!file) std::fprintf(stderr, "can't open %s\n", script);
  std::vector<std::string> lines;
  std::string line;
  while (std::getline(file, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line != skip) lines.push_back(line);
  }
  return lines;
}

}  // namespace bench
