// CommandError and the ways a handler fails.
//
// A failing handler throws; ExecuteCommand is the one place that catches,
// prints the line and lets the shell go on. Handlers check their arguments
// before they change state, so a throw never leaves half a change behind
// unless the command's own contract says so.
#pragma once

#include <stdexcept>
#include <string>

#include "shell/tokenize.h"

// Carries the complete error line, "ERROR: ..." and its newline.
struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// "ERROR: <command> incorrect or missing argument"
[[noreturn]] void ThrowBadArguments(const Tokens& tokens);

// "ERROR: <current command> <detail>"
[[noreturn]] void ThrowCommandError(const std::string& detail);

// For impossibilities no command can answer: prints "fail (text)" or "fail"
// and ends the process with status 1.
[[noreturn]] void FatalError(const char* text = nullptr);

// Ends the process at once with the given status after flushing the standard
// streams. Static destructors do not run: a solver thread may still be
// working on the globals they would destroy.
[[noreturn]] void ExitProcess(int status);
