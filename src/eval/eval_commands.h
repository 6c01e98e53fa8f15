// Handlers of the evaluation commands: eval_hand, the value and description
// of five to seven cards, and the rule variants that evaluation honours.
#pragma once

#include "shell/tokenize.h"

void CmdEvalHand(const Tokens& tokens);

// The rule variants: hand type order, short deck, hole cards to use.
void CmdSetHandTypeOrder(const Tokens& tokens);
void CmdSetLowCard(const Tokens& tokens);
void CmdSetMustUseHoleCards(const Tokens& tokens);
