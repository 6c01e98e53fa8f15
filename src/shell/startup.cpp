#include "shell/startup.h"

#include <omp.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include <tclap/CmdLine.h>

#include "eval/hand_tables.h"
#include "setup/avx512_forms.h"
#include "setup/cards.h"
#include "setup/failure.h"
#include "storage/codecs/codec.h"
#include "shell/command_error.h"
#include "shell/execute.h"
#include "shell/link/link_commands.h"
#include "shell/link/server_link.h"
#include "shell/output.h"
#include "shell/script.h"
#include "shell/shell_state.h"
#include "shell/variables.h"
#include "storage/codecs/row_transform.h"

namespace {

struct CommandLine {
  bool verbose = false, echo = false, color = false, terminate = false, suppressOk = false, compact = false;
  bool server = false, exitAfterClient = false;
  int port = 5251;
  std::string bindAddress, portFile;
  std::vector<std::string> commands, variables;
  std::string script;
};

CommandLine ParseCommandLine(int argc, char** argv) {
  CommandLine result;
  try {
    TCLAP::CmdLine cmd("", ' ', BuildText);
    cmd.setExceptionHandling(false);
    TCLAP::SwitchArg server("s", "server", "run as a server", cmd, false);
    TCLAP::ValueArg<int> port("p", "port", "server port (default 5251)", false, 5251, "port", cmd);
    TCLAP::SwitchArg exitArg("e", "exit", "exit after client disconnects", cmd, false);
    TCLAP::SwitchArg verbose("v", "verbose", "show debug information", cmd, false);
    TCLAP::SwitchArg echo("o", "echo", "echo commands", cmd, false);
    TCLAP::SwitchArg color("r", "color", "color text", cmd, false);
    TCLAP::SwitchArg terminate("t", "terminateonerror", "terminate process on error", cmd, false);
    TCLAP::SwitchArg suppressOk("k", "suppressok", "suppress ok-messages", cmd, false);
    TCLAP::SwitchArg compact("m", "compactmsg", "show only single line solver messages", cmd, false);
    TCLAP::MultiArg<std::string> commands("c", "cmd", "execute command", false, "command", cmd);
    TCLAP::MultiArg<std::string> variables("a", "var",
                                           "set value of a variable (set_value/get_value/$name in script)", false,
                                           "name=value", cmd);
    // Our own: where the server listens (the link has no authentication,
    // so the loopback address unless the user asks), and a file that
    // receives the port, for a --port 0 whose port the system picked.
    TCLAP::ValueArg<std::string> bind("", "bind", "server address (default 127.0.0.1, this machine only)", false,
                                      DefaultServerAddress, "address", cmd);
    TCLAP::ValueArg<std::string> portFile("", "port-file", "write the server's port to this file", false, "", "file",
                                          cmd);
    TCLAP::UnlabeledValueArg<std::string> script("filename", "script to load", false, "", "script.txt", cmd);
    cmd.parse(argc, argv);
    result.server = server.getValue();
    result.port = port.getValue();
    result.exitAfterClient = exitArg.getValue();
    result.bindAddress = bind.getValue();
    result.portFile = portFile.getValue();
    result.verbose = verbose.getValue();
    result.echo = echo.getValue();
    result.color = color.getValue();
    result.terminate = terminate.getValue();
    result.suppressOk = suppressOk.getValue();
    result.compact = compact.getValue();
    result.commands = commands.getValue();
    result.variables = variables.getValue();
    result.script = script.getValue();
  } catch (const TCLAP::ArgException& error) {
    std::fprintf(stderr, "error: %s for arg %s\n", error.error().c_str(), error.argId().c_str());
    ExitProcess(1);
  } catch (const TCLAP::ExitException& done) {
    ExitProcess(done.getExitStatus());
  }
  return result;
}

// Starts the OpenMP team now, so that the first solve does not pay for it.
void StartThreadTeam() {
  double zero = 0.0, sum = 0.0;
#pragma omp parallel for reduction(+ : sum)
  for (int i = 0; i < 1000; ++i) sum += zero * i;
  (void)sum;
}

// Written beside the file and renamed, so a reader never sees half a port.
bool WritePortFile(const std::string& path, int port) {
  const std::string partial = path + ".partial";
  std::FILE* file = std::fopen(partial.c_str(), "w");
  if (!file) return false;
  const bool written = std::fprintf(file, "%d\n", port) > 0;
  if (std::fclose(file) != 0 || !written) return false;
  return std::rename(partial.c_str(), path.c_str()) == 0;
}

void MainLoop() {
  // Unsynchronised, std::cin keeps a buffer of its own, which the line
  // reader takes its bytes from.
  std::ios::sync_with_stdio(false);
  RunLines(std::cin, LineSource::StandardInput);
}

}  // namespace

void RunShell(int argc, char** argv) {
  // main has checked the processor before the shell starts.
  // A damaged compressed block ends the process (the solver's state is
  // lost); its line goes out under the console lock like every other.
  SetCodecFailureHook([](CodecFailure failure) { FatalStop(CodecFailureLine(failure)); });
  Variables.Set("build", BuildText);
  Variables.Set("build_date", BuildDate);
  Variables.Set("build_time", BuildTime);

  // The command line: switches for the whole session.
  CommandLine options = ParseCommandLine(argc, argv);
  Verbosity = options.verbose ? 1 : 0;
  EchoCommands = options.echo;
  ColorText = options.color;
  TerminateOnError = options.terminate;
  SuppressOk = options.suppressOk;
  CompactMessages = options.compact;

  // Tables, the thread team and the start time, before any command runs.
  InitHandTables();
  // The row codecs can't see settings; they ask this at every row.
  SetRowTransformWideTest([] { return UseAvx512(); });
  // One step above normal, for the thread that reads the client's commands;
  // without the privilege the thread keeps its priority.
  setpriority(PRIO_PROCESS, pid_t(syscall(SYS_gettid)), -1);
  StartThreadTeam();
  StartTicks = ClockTicks();
  SaveStartupOutput();

  // The banner.
  SetTextColor(2);
  std::printf("Kestrune (Ombrelane) build %s (%s, %s) \n", BuildText, BuildDate, BuildTime);
  std::fflush(stdout);
  SetTextColor(7);
  if (Verbosity > 0) std::printf("[verbosity %d]\n", Verbosity);

  // The hand tables, then the variables given on the command line.
  BuildHandTables();
  for (const std::string& text : options.variables) {
    if (!SetVariableFromOption(text)) {
      SetTextColor(4);
      PrintReplyText("ERROR:  invalid variable\n");
      FlushReply();
      std::fflush(stdout);
      SetTextColor(7);
      ExitProcess(1);
    }
  }

  // A server listens before any command runs, so that a port in use ends
  // the process before a long script, and clients may queue meanwhile.
  if (options.server) {
    if (!OpenServerLink(options.bindAddress, options.port)) ExitProcess(1);
    if (!options.portFile.empty() && !WritePortFile(options.portFile, ServerLinkPort())) {
      std::fprintf(stderr, "can't write the port to %s\n", options.portFile.c_str());
      ExitProcess(1);
    }
  }

  // The replies of all --cmd values go out together.
  if (!options.commands.empty()) {
    for (const std::string& command : options.commands) {
      Tokens tokens = Tokenize(command);
      if (RunsRemotely(tokens))
        RunRemotely(command, tokens);
      else
        ExecuteCommand(std::move(tokens));
    }
    FlushReply();
    std::fflush(stdout);
  }

  // A script named on the command line runs before the first line is read.
  if (!options.script.empty()) {
    if (!IsExistingFile(options.script)) {
      std::printf("ERROR: can't find file '%s'\n", options.script.c_str());
      ExitProcess(1);
    }
    ExecuteCommand(Tokenize("load_script \"" + options.script + "\""));
    FlushReply();
    std::fflush(stdout);
  }

  // Then the client's lines: from the standard input, or from the clients
  // of a server, which never reads it.
  if (options.server) {
    RunServer(options.exitAfterClient);
    ExitProcess(0);
  }
  MainLoop();
  FlushReply();
  ExitProcess(0);
}
