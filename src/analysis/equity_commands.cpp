// calc_eq, calc_eq_pp and calc_eq_node: showdown equity by hand.
#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "analysis/analysis_commands.h"
#include "analysis/equity_pass.h"
#include "analysis/reply_lines.h"
#include "analysis/strategy_read.h"
#include "eval/rule_settings.h"
#include "setup/board.h"
#include "setup/ranges.h"
#include "setup/settings.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "tree/board_tree_build.h"
#include "tree/node_path.h"
#include "tree/schematic_tree.h"

namespace {

struct EquityResult {
  std::vector<double> equity = std::vector<double>(HandCount);
  std::vector<double> matchups = std::vector<double>(HandCount);
};

int SingleCard(CardMask mask) { return mask ? std::countr_zero(mask) : -1; }

// The checks of calc_eq and calc_eq_pp, in the order their errors are
// reported, then the pass on a BoardTree made for the board as set. The
// solved tree, if any, is not touched: the board and ranges as set may
// differ from the ones it was built with.
EquityResult SpotEquity(const Tokens& tokens) {
  const BoardCards& board = InputBoard;
  const int expectedCards = 3 + (board.turn ? 1 : 0) + (board.river ? 1 : 0);
  if (std::popcount(board.flop) != 3 || board.CardCount() != expectedCards) ThrowCommandError("board not set");
  if (Ranges[0].size() != HandCount || Ranges[1].size() != HandCount) ThrowCommandError("ranges not set");
  if (tokens.size() < 2) ThrowBadArguments(tokens);
  const int player = ParsePlayer(tokens[1]);

  SolverContext spot;
  spot.flags = 0;  // no suit isomorphism
  spot.clientFlop = board.flop;
  spot.comboWeights = Ranges;
  BoardTreeInput input;
  input.flop = board.flop;
  input.turn = SingleCard(board.turn);
  input.river = SingleCard(board.river);
  input.ranges = &Ranges;
  input.lowCard = lowCard;
  input.isomorphism = false;
  input.threads = SolverThreadCount();
  spot.boardTree = BuildBoardTree(input);

  EquityResult result;
  EquityPass(spot, player, input.turn, input.river, Ranges[size_t(player)].data(),
             Ranges[size_t(1 - player)].data(), result.equity.data(), result.matchups.data());
  return result;
}

const char* ZeroText(int) { return "0"; }

}  // namespace

void CmdCalcEq(const Tokens& tokens) {
  const EquityResult result = SpotEquity(tokens);
  // A hand on the board has no equity; one merely out of the range has
  // one, it just isn't played.
  const CardMask board = InputBoard.All();
  const std::string equities = PublicOrderLine(
      result.equity.data(), [board](int p) { return HandOrderMask[size_t(p)] & board ? "nan" : "inf"; });
  const std::string matchups = PublicOrderLine(result.matchups.data(), ZeroText);
  PrintReplyText(equities);
  PrintReplyText(matchups);
  PrintReply("END\n");
}

void CmdCalcEqPp(const Tokens& tokens) {
  EquityResult result = SpotEquity(tokens);
  constexpr double Lowest = -std::numeric_limits<double>::max();
  std::vector<double> byPosition(HandCount);
  for (int p = 0; p < HandCount; ++p) {
    const double equity = result.equity[HandOrderToCombo[size_t(p)]];
    byPosition[size_t(p)] = std::isnan(equity) ? Lowest : equity;
  }
  std::vector<int> order(HandCount);
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&byPosition](int a, int b) { return byPosition[size_t(a)] > byPosition[size_t(b)]; });
  for (int p : order) {
    if (byPosition[size_t(p)] == Lowest) break;
    PrintReply("%s: %.2f; %.2f\n", HandLetters(p).c_str(), 100.0 * byPosition[size_t(p)],
               result.matchups[HandOrderToCombo[size_t(p)]]);
  }
  PrintReply("END\n");
}

void CmdCalcEqNode(const Tokens& tokens) {
  if (tokens.size() < 3) ThrowBadArguments(tokens);
  const int player = ParsePlayer(tokens[1]);
  const std::string& text = tokens[2];
  const NodePath path = ParseNodePath(text);
  // One board is needed: a place before the card of its street has none.
  const int street = StreetNumber(*path.node);
  if ((street >= 2 && path.turn < 0) || (street >= 3 && path.river < 0)) ThrowCommandError("incorrect path");

  // Each player's own conditional range at the node.
  std::vector<double> own(HandCount), opp(HandCount);
  RangeAtPath(player, text, own.data());
  RangeAtPath(1 - player, text, opp.data());
  EquityResult result;
  EquityPass(*GlobalContext, player, path.turn, path.river, own.data(), opp.data(), result.equity.data(),
             result.matchups.data());

  double numerator = 0.0, denominator = 0.0;
  for (int p = 0; p < HandCount; ++p) {
    const size_t c = HandOrderToCombo[size_t(p)];
    const double equity = result.equity[c], matchups = result.matchups[c];
    if (!std::isnan(equity)) numerator += matchups * equity;
    if (!std::isnan(matchups)) denominator += matchups;
  }
  const std::string equities = PublicOrderLine(result.equity.data(), [](int) { return "nan"; });
  const std::string matchups = PublicOrderLine(result.matchups.data(), ZeroText);
  PrintReplyText(equities);
  PrintReplyText(matchups);
  PrintReply("%.9g\n", numerator / denominator);
  PrintReply("END\n");
}
