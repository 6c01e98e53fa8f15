// forget, rebuild_forgotten_streets (and its other name rebuild_all) and
// solve_all_splits: giving up the later streets of a solved tree, and
// getting them back, empty or solved again.
#pragma once

#include "shell/tokenize.h"

void CmdForget(const Tokens& tokens);
void CmdRebuildForgottenStreets(const Tokens& tokens);
void CmdSolveAllSplits(const Tokens& tokens);
