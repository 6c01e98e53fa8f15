// Handlers of the setting commands: each reads its arguments, checks them
// against the limits written in settings.h, and only then stores.
#include "setup/settings.h"
#include "setup/setup_commands.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/shell_state.h"

namespace {

void ReportAccuracy() {
  if (Verbosity > 0)
    PrintReply("[accuracy %.6g (%.6g fraction)]\n", double(SolverAccuracy), AccuracyFraction());
}

}  // namespace

void CmdSetPot(const Tokens& tokens) {
  // All three are read before any is stored: a bad third leaves the pot.
  int first = ParseInt(tokens[1]);
  int second = ParseInt(tokens[2]);
  int total = ParseInt(tokens[3]);
  SetPot(first, second, total);
  ReportAccuracy();
  ReplyOk(tokens);
}

void CmdSetEffStack(const Tokens& tokens) {
  // Kept for old clients: the stack follows from the lines of the tree.
  ReplyOk(tokens);
}

void CmdSetRake(const Tokens& tokens) {
  double fraction = ParseDouble(tokens[1]);
  double cap = ParseDouble(tokens[2]);
  // Written as negated ranges so that a NaN is refused too.
  if (!(fraction >= 0.0 && fraction <= 1.0) || !(cap >= 0.0)) ThrowBadArguments(tokens);
  RakeFraction = fraction;
  RakeCap = cap;
  ReplyOk(tokens);
}

void CmdSetAccuracy(const Tokens& tokens) {
  if (tokens.size() < 2) ThrowBadArguments(tokens);
  double value = ParseDouble(tokens[1]);
  if (!(value >= 0.0)) ThrowBadArguments(tokens);
  // Any other third word, and anything after it, leaves the target in chips.
  SetAccuracy(value, tokens.size() > 2 && tokens[2] == "fraction");
  ReportAccuracy();
  ReplyOk(tokens);
}

void CmdSetRecalcAccuracy(const Tokens& tokens) {
  std::array<double, 3> fractions;
  for (int street = 0; street < 3; ++street) fractions[street] = ParseDouble(tokens[street + 1]);
  // Converted to chips now: a later set_pot leaves these targets alone.
  for (int street = 0; street < 3; ++street) RecalcAccuracy[street] = fractions[street] * TotalPot();
  ReplyOk(tokens);
}

void CmdSetThreads(const Tokens& tokens) {
  int count = ParseInt(tokens[1]);
  ThreadCount = count >= 1 ? count : 0;
  ReplyOk(tokens);
}

void CmdSetInfoFreq(const Tokens& tokens) {
  int period = ParseInt(tokens[1]);
  if (period < 1) ThrowBadArguments(tokens);
  MeasurementPeriod = period;
  ReplyOk(tokens);
}

void CmdSetSimdLevel(const Tokens& tokens) {
  int level = ParseInt(tokens[1]);
  if (level < MinSimdLevel || level > MaxSimdLevel) ThrowBadArguments(tokens);
  SimdLevel = level;
  ReplyOk(tokens);
}

void CmdSetPrecision(const Tokens& tokens) {
  double exponent = ParseDouble(tokens[1]);
  if (!(exponent >= MinPrecisionExponent && exponent <= MaxPrecisionExponent)) ThrowBadArguments(tokens);
  PrecisionExponent = exponent;
  ReplyOk(tokens);
}

void CmdEnableAdaptivePrecision(const Tokens& tokens) {
  AdaptivePrecision = ParseOnOff(tokens, 1);
  ReplyOk(tokens);
}

void CmdEnableAvx512(const Tokens& tokens) {
  Avx512Allowed = ParseOnOff(tokens, 1);
  ReplyOk(tokens);
}

void CmdEnableRiverStrategy(const Tokens& tokens) {
  RiverStrategyOn = ParseOnOff(tokens, 1);
  ReplyOk(tokens);
}

void CmdSetScheduler(const Tokens& tokens) {
  int number = ParseInt(tokens[1]);
  if (number < 0 || number > MaxSchedulerNumber) ThrowBadArguments(tokens);
  SchedulerNumber = number;
  ReplyOk(tokens);
}

void CmdIgnoreMemCheck(const Tokens& tokens) {
  // Memory is always checked; the command stays so that old scripts run.
  if (tokens[1] != "on" && tokens[1] != "off") ThrowBadArguments(tokens);
  ReplyOk(tokens);
}

void CmdGetActualCompression(const Tokens& tokens) {
  PrintReply("compression %d\n", ActualCompression);
}
