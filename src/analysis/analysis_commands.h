// Handlers of the queries on a solved tree: strategies, ranges, EVs,
// equities and frequencies.
#pragma once

#include "shell/tokenize.h"

void CmdShowStrategy(const Tokens& tokens);
void CmdShowStrategyPp(const Tokens& tokens);
void CmdShowLockedCombos(const Tokens& tokens);
void CmdShowRange(const Tokens& tokens);
void CmdShowProbs(const Tokens& tokens);

void CmdCalcEv(const Tokens& tokens);
void CmdCalcEvPp(const Tokens& tokens);
void CmdCalcEvLine(const Tokens& tokens);

void CmdCalcLineFreq(const Tokens& tokens);
void CmdCalcGlobalFreq(const Tokens& tokens);
void CmdCalcEq(const Tokens& tokens);
void CmdCalcEqPp(const Tokens& tokens);
void CmdCalcEqNode(const Tokens& tokens);
