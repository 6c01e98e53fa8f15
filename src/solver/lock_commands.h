// lock_node, unlock_node, set_strategy, combo_lock_node, solve_partial and
// explo_partial: the client's way to fix play at a node and to re-solve
// below it.
#pragma once

#include "shell/tokenize.h"

void CmdLockNode(const Tokens& tokens);
void CmdUnlockNode(const Tokens& tokens);
void CmdSetStrategy(const Tokens& tokens);
void CmdComboLockNode(const Tokens& tokens);
void CmdSolvePartial(const Tokens& tokens);
void CmdExploPartial(const Tokens& tokens);
