// Fuzz target: arbitrary bytes as command lines through Tokenize and
// ExecuteCommand. Commands that would end the process, sleep, solve, or
// touch files and the output stream are left out after substitution, so that the
// target keeps running; everything else runs as a client would send it.
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "eval/hand_tables.h"
#include "setup/cards.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/shell_state.h"
#include "shell/variables.h"

namespace {

bool Unsafe(const Tokens& tokens) {
  Tokens resolved = SubstituteVariables(SubstituteVariables(tokens));
  const std::string& word = resolved[0];
  return word == "exit" || word == "load_script" || word == "stdoutredi" || word == "stdoutredi_append" ||
         word == "stdoutback" || word == "sleep" || word == "take_a_break" || word == "wait_for_solver" || word == "go" ||
         word == "calc_results";
}

void Initialise() {
  static bool done = false;
  if (done) return;
  done = true;
  InitHandTables();
  BuildHandTables();
  int null = open("/dev/null", O_WRONLY);
  if (null >= 0) dup2(null, STDOUT_FILENO);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Initialise();
  std::string_view input(reinterpret_cast<const char*>(data), size);
  size_t start = 0;
  while (start <= input.size()) {
    size_t end = input.find('\n', start);
    if (end == std::string_view::npos) end = input.size();
    Tokens tokens = Tokenize(input.substr(start, end - start));
    if (!tokens.empty() && !Unsafe(tokens)) {
      ExecuteCommand(tokens);
      FlushReply();
    }
    start = end + 1;
  }
  // A skip left open by one input must not swallow the next.
  SkipLabel.clear();
  return 0;
}
