// Handlers of the shell's own commands: status, help, scripts and
// variables, output channels.
#pragma once

#include "shell/tokenize.h"

void CmdIsReady(const Tokens& tokens);
void CmdSolverTime(const Tokens& tokens);
void CmdShowSettings(const Tokens& tokens);
void CmdIsTreePresent(const Tokens& tokens);
void CmdHelp(const Tokens& tokens);

void CmdLoadScript(const Tokens& tokens);
void CmdSkipIfDone(const Tokens& tokens);
void CmdSetValue(const Tokens& tokens);
void CmdGetValue(const Tokens& tokens);
void CmdGetAllValues(const Tokens& tokens);
void CmdDefaultValue(const Tokens& tokens);
void CmdVerifyValue(const Tokens& tokens);
void CmdRepeat(const Tokens& tokens);
void CmdEcho(const Tokens& tokens);
void CmdSleep(const Tokens& tokens);
void CmdTakeABreak(const Tokens& tokens);
void CmdWaitForSolver(const Tokens& tokens);
void CmdLoadTree(const Tokens& tokens);
// load_tree's work after the file is open, for readers of other sources:
// the tree of the file, or a throw that leaves a half-loaded tree for the
// caller to free.
class TreeReader;
void LoadTreeFrom(TreeReader& in);
void CmdDumpTree(const Tokens& tokens);

void CmdStdoutRedi(const Tokens& tokens);
void CmdStdoutRediAppend(const Tokens& tokens);
void CmdStdoutBack(const Tokens& tokens);
void CmdEnableUiNotifications(const Tokens& tokens);
void CmdResetTreeInfo(const Tokens& tokens);
void CmdAddInfoLine(const Tokens& tokens);
void CmdShowTreeInfo(const Tokens& tokens);
