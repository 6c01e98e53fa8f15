// Handlers of the set-up commands: hand order, ranges, board, pot and the
// process-wide solver settings, processor queries.
#pragma once

#include "shell/tokenize.h"

void CmdShowHandOrder(const Tokens& tokens);
void CmdSetRange(const Tokens& tokens);
void CmdSetBoard(const Tokens& tokens);
void CmdShowTreeParams(const Tokens& tokens);

void CmdSetPot(const Tokens& tokens);
void CmdSetEffStack(const Tokens& tokens);
void CmdSetRake(const Tokens& tokens);
void CmdSetAccuracy(const Tokens& tokens);
void CmdSetRecalcAccuracy(const Tokens& tokens);
void CmdSetThreads(const Tokens& tokens);
void CmdSetInfoFreq(const Tokens& tokens);
void CmdSetSimdLevel(const Tokens& tokens);
void CmdSetPrecision(const Tokens& tokens);
void CmdEnableAdaptivePrecision(const Tokens& tokens);
void CmdEnableAvx512(const Tokens& tokens);
void CmdEnableRiverStrategy(const Tokens& tokens);
void CmdSetScheduler(const Tokens& tokens);
void CmdIgnoreMemCheck(const Tokens& tokens);
void CmdGetActualCompression(const Tokens& tokens);
void CmdGetInstructionSet(const Tokens& tokens);
void CmdShowCpuInfo(const Tokens& tokens);
