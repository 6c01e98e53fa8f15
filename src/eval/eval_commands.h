// Handlers of the evaluation commands: eval_hand, the value and description
// of five to seven cards, the rule variants that evaluation honours, and the
// hand categories of a board.
#pragma once

#include "shell/tokenize.h"

void CmdEvalHand(const Tokens& tokens);

// The rule variants: hand type order, short deck, hole cards to use.
void CmdSetHandTypeOrder(const Tokens& tokens);
void CmdSetLowCard(const Tokens& tokens);
void CmdSetMustUseHoleCards(const Tokens& tokens);

// Hand categories and draws.
void CmdShowCategoryNames(const Tokens& tokens);
void CmdShowCategories(const Tokens& tokens);
