// Commands of the solver: go, stop, calc_results.
#include "solver/solver_commands.h"

#include <string>

#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/shell_state.h"
#include "shell/variables.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "solver/solver_driver.h"

namespace {

std::string FormatF(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%f", value);
  return text;
}

}  // namespace

void CmdGo(const Tokens& tokens) {
  if (!GlobalContext) ThrowCommandError("missing/incorrect tree");
  if (SolverIsRunning()) ThrowCommandError("Can't do that when solver is running");
  if (GlobalContext->flags & IncompleteTreeFlag) ThrowCommandError("incomplete tree");
  ResetPrintedResults();
  uint32_t limit = 0;
  bool inSteps = false;
  if (tokens.size() != 1) {
    if (tokens.size() != 3 || (tokens[2] != "seconds" && tokens[2] != "steps")) ThrowBadArguments(tokens);
    // The limit is unsigned: a negative count wraps to a limit that no run
    // reaches, which is what a client asking for it gets.
    limit = uint32_t(ParseInt(tokens[1]));
    inSteps = tokens[2] == "steps";
  }
  switch (StartSolver(limit, inSteps)) {
    case SolverStart::Started:
      break;
    case SolverStart::Refused:
      ThrowCommandError("Can't do that when solver is running");
    case SolverStart::NoThread:
      ThrowCommandError("can't start the solver thread");
    case SolverStart::OutOfMemory:
      ThrowCommandError("out of memory");
  }
  if (Verbosity > 0) PrintReply("[go %d threads]\n", SolverThreadCount());
  ReplyOk(tokens);
}

void CmdStop(const Tokens& tokens) {
  RequestSolverStop();
  ReplyOk(tokens);
}

void CmdCalcResults(const Tokens& tokens) {
  if (!GlobalContext) ThrowCommandError("missing/incorrect tree");
  ResultsRecord record = CalcResults(*GlobalContext);
  const double h = TotalPot() * 0.5;
  Variables.Set("solver_ev_oop", FormatF(h + record.evOop));
  Variables.Set("solver_ev_ip", FormatF(h + record.evIp));
  Variables.Set("solver_mes_oop", FormatF(h + record.mesOop));
  Variables.Set("solver_mes_ip", FormatF(h + record.mesIp));
  Variables.Set("solver_exploitability", FormatF(record.exploitability));
  Variables.Set("solver_iterations", std::to_string(record.iteration));
  PrintResults(record, false);
  ReplyOk(tokens);
}
