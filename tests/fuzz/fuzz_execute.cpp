// Fuzz target: arbitrary bytes as the standard input of a whole session,
// read and run by the shell's own line reader, solves included.
//
// Every input starts from the state of a fresh process (no tree, no lines,
// no ranges, default settings, no variables but the build ones, output on
// the start-up stream), so a crash file reproduces on its own. A few
// handlers are wrapped at link time (--wrap, see tests/CMakeLists.txt) so
// that any input, also through the scripts it writes and loads, stays fast
// and harmless to the machine:
//   go               at most MaxSteps steps, never a time limit
//   subgame re-solves at most SubgameRounds rounds, one accuracy test
//   set_threads      at most MaxThreads threads
//   sleep            at most a few milliseconds; take_a_break no wait
//   build_tree       flop and turn trees only from a small trie of lines
//   stdoutredi(_append), load_script, skip_if_done, dump_tree, load_tree
//                    paths folded onto four files of a scratch directory,
//                    or onto two fixed spots: "river" (bench/spots) and
//                    "turn" (turn_spot.txt here, with few lines)
//   connect          refused without a connection: a port of this
//                    machine may be anything's
//   exit             ends the input instead of the process
//   FatalError, FatalStop
//                    abort, so that the fuzzer reports them
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include "eval/hand_tables.h"
#include "eval/rule_settings.h"
#include "setup/board.h"
#include "setup/cards.h"
#include "setup/ranges.h"
#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/script.h"
#include "shell/shell_state.h"
#include "shell/variables.h"
#include "solver/solver_control.h"
#include "solver/subgame.h"
#include "solver/solver_driver.h"
#include "tree/isomorphism.h"
#include "tree/schematic_tree.h"
#include "tree/tree_build.h"

// The handlers and exits that the link wraps: the real ones, and ours.
#define KESTRUNE_HANDLER(name) "_Z" name "RKSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS5_EE"
#define KESTRUNE_WRAPPED(name, mangled)                                       \
  void Real##name(const Tokens& tokens) asm("__real_" KESTRUNE_HANDLER(mangled)); \
  void Wrap##name(const Tokens& tokens) asm("__wrap_" KESTRUNE_HANDLER(mangled));
KESTRUNE_WRAPPED(Go, "5CmdGo")
KESTRUNE_WRAPPED(SetThreads, "13CmdSetThreads")
KESTRUNE_WRAPPED(Sleep, "8CmdSleep")
KESTRUNE_WRAPPED(TakeABreak, "13CmdTakeABreak")
KESTRUNE_WRAPPED(BuildTree, "12CmdBuildTree")
KESTRUNE_WRAPPED(StdoutRedi, "13CmdStdoutRedi")
KESTRUNE_WRAPPED(StdoutRediAppend, "19CmdStdoutRediAppend")
KESTRUNE_WRAPPED(LoadScript, "13CmdLoadScript")
KESTRUNE_WRAPPED(SkipIfDone, "13CmdSkipIfDone")
KESTRUNE_WRAPPED(DumpTree, "11CmdDumpTree")
KESTRUNE_WRAPPED(LoadTree, "11CmdLoadTree")
KESTRUNE_WRAPPED(Connect, "10CmdConnect")
void WrapExitProcess(int status) asm("__wrap__Z11ExitProcessi");
void WrapFatalError(const char* text) asm("__wrap__Z10FatalErrorPKc");
void WrapFatalStop(const char* line) asm("__wrap__Z9FatalStopPKc");

namespace {

constexpr int MaxSteps = 2;
constexpr int SubgameRounds = 50;
constexpr int MaxThreads = 2;
constexpr int MaxSleepMilliseconds = 5;
// A flop tree walks every turn and river, a turn tree every river: only a
// few lines keep a step fast enough for a fuzzer.
constexpr int MaxFlopTrieNodes = 12;
constexpr int MaxTurnTrieNodes = 24;
constexpr int ScratchFileCount = 4;

// Not derived from std::exception, so that no handler's guard catches it on
// its way up through nested scripts.
struct ExitRequested {};

std::thread::id MainThread;
std::string ScratchDirectory;

// Input the harness refuses, in the shell's own error form.
[[noreturn]] void Refuse(const char* detail) { ThrowCommandError(std::string("(fuzz) ") + detail); }

// One of the scratch files, chosen by the path's bytes (FNV-1a), or a spot.
std::string ConfinedPath(const std::string& path) {
  if (path == "river") return KESTRUNE_FUZZ_SPOTS "/river_qsjh2h_spr2.txt";
  if (path == "turn") return KESTRUNE_FUZZ_DIR "/turn_spot.txt";
  uint32_t hash = 2166136261u;
  for (unsigned char ch : path) hash = (hash ^ ch) * 16777619u;
  return ScratchDirectory + "/f" + std::to_string(hash % ScratchFileCount);
}

Tokens WithPath(const Tokens& tokens) {
  Tokens confined = tokens;
  confined[1] = ConfinedPath(tokens[1]);
  return confined;
}

// A number argument read as the handler would; the handler itself answers
// for a token that holds none.
bool ReadsAsInt(const std::string& token, int& value) {
  try {
    value = ParseInt(token);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

int CountTrieNodes(const SchematicNode& node) {
  int count = 1;
  for (const auto& entry : node.children) count += CountTrieNodes(*entry.second);
  return count;
}

void RemoveScratchFiles() {
  for (int i = 0; i < ScratchFileCount; ++i) unlink((ScratchDirectory + "/f" + std::to_string(i)).c_str());
}

void Initialise() {
  static bool done = false;
  if (done) return;
  done = true;
  MainThread = std::this_thread::get_id();
  SubgameRoundLimit = SubgameRounds;
  InitHandTables();
  BuildHandTables();
  int null = open("/dev/null", O_WRONLY);
  if (null >= 0) dup2(null, STDOUT_FILENO);
  SaveStartupOutput();
  char pattern[] = "/tmp/kestrune_fuzz_XXXXXX";
  if (!mkdtemp(pattern)) std::abort();
  ScratchDirectory = pattern;
  std::atexit([] {
    RemoveScratchFiles();
    rmdir(ScratchDirectory.c_str());
  });
}


// The state of a fresh process, as far as commands can change it.
void ResetSession() {
  RequestSolverStop();
  WaitForSolver();
  FlushReply();
  std::fflush(stdout);
  RestoreStartupOutput();
  RemoveScratchFiles();
  FreeTree();
  ClearLines();
  Ranges = {};
  InputBoard = {};
  TreeBoard = {};
  SetPot(0.0, 0.0, 100.0);
  SetAccuracy(0.0, false);
  RecalcAccuracy = {0.0, 0.0, 0.0};
  // One thread by default: the machines that fuzz are shared.
  ThreadCount = 1;
  MeasurementPeriod = 25;
  SimdLevel = 8;
  PrecisionExponent = 0.0;
  AdaptivePrecision = true;
  RiverStrategyOn = true;
  Avx512Allowed = false;
  SchedulerNumber = 1;
  RakeFraction = 0.0;
  RakeCap = 0.0;
  CompressionLevel = -1;
  ActualCompression = 0;
  IsomorphismFlopRoots = true;
  IsomorphismTurnRoots = false;
  ResetRuleSettings();
  ClearSolverHistory();
  ResetPrintedResults();
  Variables.Clear();
  Variables.Set("build", BuildText);
  Variables.Set("build_date", BuildDate);
  Variables.Set("build_time", BuildTime);
  SkipLabel.clear();
  CurrentCommand.clear();
  UiNotifications = false;
  ShowHashLines = false;
  TreeInfoLines.clear();
}

}  // namespace

void WrapGo(const Tokens& tokens) {
  Tokens capped = tokens;
  int count = 0;
  if (tokens.size() == 1) {
    capped = {"go", std::to_string(MaxSteps), "steps"};
  } else if (tokens.size() == 3 && (tokens[2] == "steps" || tokens[2] == "seconds") && ReadsAsInt(tokens[1], count)) {
    if (count < 0 || count > MaxSteps) count = MaxSteps;
    capped = {"go", std::to_string(count), "steps"};
  }
  RealGo(capped);
}

void WrapSetThreads(const Tokens& tokens) {
  int count = 0;
  if (!ReadsAsInt(tokens[1], count) || count <= MaxThreads) return RealSetThreads(tokens);
  RealSetThreads({tokens[0], std::to_string(MaxThreads)});
}

void WrapSleep(const Tokens& tokens) {
  int milliseconds = 0;
  if (!ReadsAsInt(tokens[1], milliseconds) || milliseconds <= MaxSleepMilliseconds) return RealSleep(tokens);
  RealSleep({tokens[0], std::to_string(MaxSleepMilliseconds)});
}

void WrapTakeABreak(const Tokens& tokens) {
  int seconds = 0;
  if (!ReadsAsInt(tokens[1], seconds) || seconds <= 0) return RealTakeABreak(tokens);
  RealTakeABreak({tokens[0], "0"});
}

void WrapBuildTree(const Tokens& tokens) {
  const int trieNodes = CountTrieNodes(*SchematicRoot);
  if (InputBoard.turn == 0 && trieNodes > MaxFlopTrieNodes) Refuse("flop tree too large");
  if (InputBoard.river == 0 && trieNodes > MaxTurnTrieNodes) Refuse("turn tree too large");
  RealBuildTree(tokens);
}

void WrapStdoutRedi(const Tokens& tokens) { RealStdoutRedi(WithPath(tokens)); }
void WrapStdoutRediAppend(const Tokens& tokens) { RealStdoutRediAppend(WithPath(tokens)); }
void WrapLoadScript(const Tokens& tokens) { RealLoadScript(WithPath(tokens)); }
void WrapSkipIfDone(const Tokens& tokens) { RealSkipIfDone(WithPath(tokens)); }
void WrapDumpTree(const Tokens& tokens) { RealDumpTree(tokens.size() < 2 ? tokens : WithPath(tokens)); }
void WrapLoadTree(const Tokens& tokens) { RealLoadTree(WithPath(tokens)); }
void WrapConnect(const Tokens&) { ThrowCommandError("can't connect (no connections while fuzzing)"); }

void WrapExitProcess(int) {
  // Only `exit` ends the process from the main thread with no fault behind
  // it; anywhere else an exit is a finding.
  if (std::this_thread::get_id() != MainThread) std::abort();
  throw ExitRequested{};
}

void WrapFatalError(const char* text) {
  std::fprintf(stderr, "FatalError: %s\n", text ? text : "");
  std::abort();
}

void WrapFatalStop(const char* line) {
  std::fprintf(stderr, "FatalStop: %s", line);
  std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Initialise();
  ResetSession();
  std::string input(reinterpret_cast<const char*>(data), size);
  // The standard input drops a last line without a line end; inputs of
  // the corpus need not have one.
  if (input.empty() || input.back() != '\n') input.push_back('\n');
  std::istringstream stream(input);
  try {
    RunLines(stream, LineSource::StandardInput);
  } catch (const ExitRequested&) {
  }
  // A solve left running must not outlive its input.
  RequestSolverStop();
  WaitForSolver();
  return 0;
}
