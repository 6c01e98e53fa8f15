// Commands of scripts and variables.
#include <chrono>
#include <thread>

#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/script.h"
#include "shell/shell_commands.h"
#include "shell/shell_state.h"
#include "shell/variables.h"
#include "solver/solver_control.h"

void CmdLoadScript(const Tokens& tokens) { RunScript(tokens[1]); }

void CmdSkipIfDone(const Tokens& tokens) {
  if (IsExistingFile(tokens[1])) SkipLabel = tokens[2];
  ReplyOk(tokens);
}

void CmdSetValue(const Tokens& tokens) {
  Variables.Set(tokens[1], tokens[2]);
  ReplyOk(tokens);
}

void CmdDefaultValue(const Tokens& tokens) {
  Variables.SetDefault(tokens[1], tokens[2]);
  ReplyOk(tokens);
}

void CmdGetValue(const Tokens& tokens) {
  auto value = Variables.Get(tokens[1]);
  if (!value) ThrowCommandError("invalid key");
  PrintReply("%s %s\n", tokens[1].c_str(), value->c_str());
}

void CmdGetAllValues(const Tokens&) {
  Variables.ForEach([](const std::string& key, const std::string& value) {
    PrintReply("%s %s\n", key.c_str(), value.c_str());
  });
  PrintReply("END\n");
}

void CmdVerifyValue(const Tokens& tokens) {
  if (tokens.size() != 3 && tokens.size() != 4) ThrowBadArguments(tokens);
  auto stored = Variables.Get(tokens[1]);
  if (!stored) ThrowCommandError("invalid key");
  double expected = ParseDouble(tokens[2]);
  double tolerance = tokens.size() == 4 ? ParseDouble(tokens[3]) : 0.0;
  double value = ParseDouble(*stored);
  if (expected - tolerance > value || value > expected + tolerance) ThrowCommandError("unexpected value");
  ReplyOk(tokens);
}

void CmdRepeat(const Tokens& tokens) {
  if (tokens.size() < 3) ThrowBadArguments(tokens);
  int count = ParseInt(tokens[1]);
  if (count < 1 || count > 99999) ThrowBadArguments(tokens);
  std::string text = JoinTokens(tokens, 2) + "\n";
  for (int i = 0; i < count; ++i) PrintReplyText(text);
  PrintReply("END\n");
}

void CmdEcho(const Tokens& tokens) {
  if (tokens.size() < 2) ThrowBadArguments(tokens);
  PrintReplyText(tokens[1]);
}

void CmdSleep(const Tokens& tokens) {
  int milliseconds = ParseInt(tokens[1]);
  if (milliseconds > 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void CmdTakeABreak(const Tokens& tokens) {
  int seconds = ParseInt(tokens[1]);
  RequestSolverStop();
  if (seconds > 0) std::this_thread::sleep_for(std::chrono::seconds(seconds));
  ReplyOk(tokens);
}

void CmdWaitForSolver(const Tokens&) { WaitForSolver(); }
