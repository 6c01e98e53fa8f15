// CommandError and the ways a handler fails.
//
// A failing handler throws; ExecuteCommand is the one place that catches,
// prints the line and lets the shell go on. Code below the handlers throws
// CommandFailure (setup/failure.h) instead, which carries only the detail;
// CommandErrorLine makes the same line of it. Handlers check their arguments
// before they change state, so a throw never leaves half a change behind
// unless the command's own contract says so.
#pragma once

#include <stdexcept>
#include <string>

#include "setup/failure.h"
#include "shell/tokenize.h"

// Carries the complete error line, "ERROR: ..." and its newline.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// "ERROR: <command> incorrect or missing argument"
[[noreturn]] void ThrowBadArguments(const Tokens& tokens);

// "ERROR: <current command> <detail>"
[[noreturn]] void ThrowCommandError(const std::string& detail);

// The complete error line of a refusal from below: what ThrowCommandError,
// or for a failure that names no command "ERROR: <detail>\n", would carry.
std::string CommandErrorLine(const CommandFailure& failure);
