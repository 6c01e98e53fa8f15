#include "shell/command_error.h"

#include <cstdio>

#include "shell/shell_state.h"

namespace {

// Error lines are formatted into a 256-byte buffer, so a line built from a
// long argument is cut to 255 characters; clients can rely on that bound.
std::string FormatErrorLine(const char* format, const std::string& a, const std::string& b) {
  char buffer[256];
  std::snprintf(buffer, sizeof buffer, format, a.c_str(), b.c_str());
  return buffer;
}

}  // namespace

void ThrowBadArguments(const Tokens& tokens) {
  throw CommandError(FormatErrorLine("ERROR: %s incorrect or missing argument\n%s",
                                     tokens.empty() ? std::string() : tokens[0], ""));
}

void ThrowCommandError(const std::string& detail) {
  throw CommandError(FormatErrorLine("ERROR: %s %s\n", CurrentCommand, detail));
}

std::string CommandErrorLine(const CommandFailure& failure) {
  if (!failure.namesCommand) return FormatErrorLine("ERROR: %s\n%s", failure.what(), "");
  return FormatErrorLine("ERROR: %s %s\n", CurrentCommand, failure.what());
}
