// ExecuteCommand: one command line from tokens to reply.
//
// The one place where failures of handlers are caught: an error line goes
// into the reply and the shell goes on, unless --terminateonerror asks to
// end the process. Variables are substituted twice, so a variable whose
// value is itself "$name" resolves one level further, and no more.
#pragma once

#include <string>

#include "shell/tokenize.h"

void ExecuteCommand(Tokens tokens);

// Shows a command line before it runs, as --echo asks.
void EchoCommandLine(const Tokens& tokens);

// Reports an error that belongs to no command, such as an input line too
// long to be one: the text goes into the reply as a failed command's error
// line does, and --terminateonerror ends the process after it.
void ReportInputError(const std::string& text);
