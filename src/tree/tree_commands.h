// Handlers of the tree commands: lines, building, inspection, isomorphism,
// compression and memory.
#pragma once

#include "shell/tokenize.h"

void CmdAddLine(const Tokens& tokens);
void CmdForceLine(const Tokens& tokens);
void CmdRemoveLine(const Tokens& tokens);
void CmdClearLines(const Tokens& tokens);
void CmdCutLine(const Tokens& tokens);

void CmdBuildTree(const Tokens& tokens);
void CmdFreeTree(const Tokens& tokens);
void CmdNodeCount(const Tokens& tokens);
void CmdEstimateSchematicTree(const Tokens& tokens);
void CmdShowEffectiveStack(const Tokens& tokens);
void CmdSetCompression(const Tokens& tokens);
void CmdShowMemory(const Tokens& tokens);

void CmdShowNode(const Tokens& tokens);
void CmdShowChildren(const Tokens& tokens);
void CmdShowAllLines(const Tokens& tokens);
void CmdSetEvBoost(const Tokens& tokens);

void CmdSetIsomorphism(const Tokens& tokens);
