// show_strategy, show_strategy_pp, show_locked_combos, show_range and
// show_probs: the replies on top of ReadStrategy and RangeAtPath.
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "analysis/analysis_commands.h"
#include "analysis/reply_lines.h"
#include "analysis/strategy_read.h"
#include "analysis/strategy_rows.h"
#include "setup/board.h"
#include "setup/cards.h"
#include "setup/ranges.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "tree/node_path.h"

namespace {

// The strategy and range replies print twelve digits, and a hand off the
// board as 0.
std::string PublicLine(const double* byCombo) {
  return PublicOrderLine(byCombo, [](int) { return "0"; }, 12);
}

// A line is built whole before it goes out, so one that can't be sent
// complete is refused rather than cut.
void PrintLine(const std::string& line) {
  if (line.size() >= ReplyLineLimit) ThrowCommandError("buffer too small");
  PrintReplyText(line);
}

}  // namespace

void CmdShowStrategy(const Tokens& tokens) {
  const NodePath path = ParseDecisionPath(tokens[1]);
  std::vector<std::vector<double>> rows;
  ReadAllStrategyRows(path.node->index, path.turn, path.river, rows);
  std::string reply;
  for (const auto& row : rows) reply += PublicLine(row.data());
  PrintReplyText(reply);
  PrintReplyText("END\n");
}

void CmdShowStrategyPp(const Tokens& tokens) {
  const NodePath path = ParseDecisionPath(tokens[1]);
  std::vector<std::vector<double>> rows;
  ReadAllStrategyRows(path.node->index, path.turn, path.river, rows);
  const std::vector<int> ranking = HandRanking(path);
  std::string reply;
  char number[40];
  for (int position : ranking) {
    std::string line = HandOrderText.substr(size_t(position) * 5, 4) + ": ";
    const size_t combo = HandOrderToCombo[size_t(position)];
    for (const auto& row : rows) {
      std::snprintf(number, sizeof number, "  %.6f", row[combo]);
      line += number;
    }
    line += '\n';
    if (line.size() >= ReplyLineLimit) ThrowCommandError("buffer too small");
    reply += line;
  }
  PrintReplyText(reply);
  PrintReplyText("END\n");
}

void CmdShowLockedCombos(const Tokens& tokens) {
  const NodePath path = ParseDecisionPath(tokens[1]);
  std::vector<double> locks(HandCount);
  ReadLockVector(path.node->index, path.turn, path.river, locks.data());
  PrintLine(PublicLine(locks.data()));
}

void CmdShowRange(const Tokens& tokens) {
  if (tokens.size() < 2 || tokens.size() > 3) ThrowBadArguments(tokens);
  const int player = ParsePlayer(tokens[1]);
  const std::string pathText = tokens.size() == 3 ? tokens[2] : std::string();
  std::vector<double> range(HandCount);
  RangeAtPath(player, pathText, range.data());
  CardMask dead = TreeBoard.All();
  if (!pathText.empty()) {
    const NodePath path = ParseBuiltPath(pathText);
    if (path.turn >= 0) dead |= CardBit(path.turn);
    if (path.river >= 0) dead |= CardBit(path.river);
  }
  for (int c = 0; c < HandCount; ++c)
    if (ComboMask[size_t(c)] & dead) range[size_t(c)] = 0.0;
  PrintLine(PublicLine(range.data()));
}

void CmdShowProbs(const Tokens& tokens) {
  const std::string& text = tokens[1];
  const NodePath path = ParseBuiltPath(text);
  if (!PathHasItsBoard(path)) ThrowCommandError("incorrect path");
  const double reach[2] = {ReachShare(0, text), ReachShare(1, text)};
  std::string list;
  char number[64];
  if (path.node && !path.pendingDeal && !path.node->IsEnd()) {
    const int acting = path.node->player;
    if (reach[acting] > 0.0) {
      for (int child = 0; child < int(path.node->children.size()); ++child) {
        const std::string token = ChildToken(*path.node, child);
        const double share = ReachShare(acting, text + ":" + token) / reach[acting];
        std::snprintf(number, sizeof number, "%.12g", share);
        if (!list.empty()) list += ' ';
        list += token + " " + number;
      }
    }
  }
  char head[128];
  std::snprintf(head, sizeof head, "OOP %.12g IP %.12g ", reach[0], reach[1]);
  PrintLine(head + list + "\n");
}
