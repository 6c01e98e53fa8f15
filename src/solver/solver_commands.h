// Handlers of the solver commands: go, stop and calc_results.
#pragma once

#include "shell/tokenize.h"

void CmdGo(const Tokens& tokens);
void CmdStop(const Tokens& tokens);
void CmdCalcResults(const Tokens& tokens);
