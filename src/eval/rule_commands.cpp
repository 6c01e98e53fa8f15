// Commands of the rule variants. They change only the settings; hands
// already valued in a built tree keep the values of the old rules.
#include "eval/eval_commands.h"
#include "eval/hand_value.h"
#include "eval/rule_settings.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"

void CmdSetHandTypeOrder(const Tokens& tokens) {
  // Positions are written one by one, so a bad word leaves the ones before
  // it in force; a word given twice is not refused and leaves the missing
  // type at its old position.
  defaultHandTypeOrder = true;
  for (int i = 0; i < HandTypeCount; ++i) {
    int type = -1;
    for (int t = 0; t < HandTypeCount; ++t)
      if (tokens[size_t(i) + 1] == HandTypeWords[t]) type = t;
    if (type < 0) ThrowBadArguments(tokens);
    handTypeOrder[size_t(i)] = uint8_t(type);
    handTypePosition[size_t(type)] = uint8_t(i);
    if (type != i) defaultHandTypeOrder = false;
  }
  ReplyOk(tokens);
}

void CmdSetLowCard(const Tokens& tokens) {
  int rank = ParseInt(tokens[1]);
  if (rank < 2 || rank > 6) ThrowBadArguments(tokens);
  lowCard = rank - 2;
  ReplyOk(tokens);
}

void CmdSetMustUseHoleCards(const Tokens& tokens) {
  int setting = ParseInt(tokens[1]);
  if (setting < 0 || setting > 2) ThrowBadArguments(tokens);
  mustUseHoleCards = uint32_t(setting);
  ReplyOk(tokens);
}
