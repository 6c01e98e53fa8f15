// Commands of the solver: go, stop, calc_results.
#include "solver/solver_commands.h"

#include <sys/resource.h>

#include <cstdio>
#include <string>

#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/shell_state.h"
#include "shell/tree_lifecycle.h"
#include "shell/variables.h"
#include "solver/solver_control.h"
#include "solver/solver_driver.h"
#include "tree/global_context.h"
#include "tree/solver_context.h"

namespace {

std::string FormatF(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%f", value);
  return text;
}

int PeakWorkingSetMegabytes() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return int(usage.ru_maxrss >> 10);  // Linux counts it in KiB
}

// The solver thread's report, printed at once (one line under
// --compactmsg), which also sets running_time and, when verbose, cpu_time,
// peak_working_set and the iterations line. EV and MES come raw, counted
// from the half-way split of the pot.
void PrintRunResults(const ResultsRecord& record, double cpuSeconds) {
  const double h = TotalPot() * 0.5;
  const double evOop = h + record.evOop, evIp = h + record.evIp;
  const double mesOop = h + record.mesOop, mesIp = h + record.mesIp;
  if (CompactMessages)
    PrintNow(
        "SOLVER: running time: %.3f EV OOP: %.3f EV IP: %.3f OOP's MES: %.3f IP's MES: %.3f Exploitable for: "
        "%.3f\n",
        record.seconds, evOop, evIp, mesOop, mesIp, record.exploitability);
  else
    PrintNow(
        "SOLVER:\nrunning time: %.3f\nEV OOP: %.3f\nEV IP: %.3f\nOOP's MES: %.3f\nIP's MES: %.3f\nExploitable for: "
        "%.3f\nEND\n",
        record.seconds, evOop, evIp, mesOop, mesIp, record.exploitability);
  Variables.Set("running_time", FormatF(record.seconds));
  if (Verbosity > 0) {
    const int peak = PeakWorkingSetMegabytes();
    Variables.Set("cpu_time", FormatF(cpuSeconds));
    Variables.Set("peak_working_set", std::to_string(peak));
    PrintNow("[%d iterations | cpu time %.1fs | peak working set %d MB]\n", record.iteration, cpuSeconds, peak);
  }
}

}  // namespace

void CmdGo(const Tokens& tokens) {
  RequireTree();
  RequireSolverIdle();
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
  switch (StartSolver(limit, inSteps, PrintRunResults)) {
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
  RequireTree();
  ResultsRecord record = CalcResults(*GlobalContext);
  const double h = TotalPot() * 0.5;
  Variables.Set("solver_ev_oop", FormatF(h + record.evOop));
  Variables.Set("solver_ev_ip", FormatF(h + record.evIp));
  Variables.Set("solver_mes_oop", FormatF(h + record.mesOop));
  Variables.Set("solver_mes_ip", FormatF(h + record.mesIp));
  Variables.Set("solver_exploitability", FormatF(record.exploitability));
  Variables.Set("solver_iterations", std::to_string(record.iteration));
  PrintReply("EV OOP: %.3f\nEV IP: %.3f\nOOP's MES: %.3f\nIP's MES: %.3f\nExploitable for: %.3f\nEND\n", h + record.evOop,
             h + record.evIp, h + record.mesOop, h + record.mesIp, record.exploitability);
  ReplyOk(tokens);
}
