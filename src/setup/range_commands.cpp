// Handlers of the commands that describe the spot: hand order, ranges,
// board, and the parameters of the built tree.
#include <bit>
#include <vector>

#include "setup/board.h"
#include "setup/cards.h"
#include "setup/ranges.h"
#include "setup/settings.h"
#include "setup/setup_commands.h"
#include "shell/command_error.h"
#include "shell/output.h"
#include "shell/parse.h"
#include "shell/shell_state.h"

void CmdShowHandOrder(const Tokens& tokens) {
  PrintReply("%s\n", HandOrderText.c_str());
}

void CmdSetRange(const Tokens& tokens) {
  // Player and every weight are read before the range is touched.
  int player = ParsePlayer(tokens[1]);
  std::vector<double> weights(HandCount);
  for (int p = 0; p < HandCount; ++p) weights[p] = ParseDouble(tokens[2 + p]);

  RangeSummary summary = StoreRange(player, weights, lowCard);
  if (Verbosity > 0)
    PrintReply("[set_range %d min %.8g max %.8g nonzero %d rtz %d]\n", player, summary.smallest,
               summary.largest, summary.nonzero, summary.roundedToZero);
  ReplyOk(tokens);
}

void CmdSetBoard(const Tokens& tokens) {
  // Flop, or flop and turn, or flop, turn and river.
  if (tokens.size() < 4 || tokens.size() > 6) ThrowBadArguments(tokens);

  // Three flop tokens that make three cards. A token of two cards
  // or a card given twice fails here, not as a duplicate.
  CardMask flop = ParseCards(tokens[1]) | ParseCards(tokens[2]) | ParseCards(tokens[3]);
  if (std::popcount(flop) != 3) ThrowBadArguments(tokens);

  // Turn and river are one card each.
  CardMask turn = 0, river = 0;
  if (tokens.size() >= 5) {
    turn = ParseCards(tokens[4]);
    if (std::popcount(turn) != 1) ThrowBadArguments(tokens);
  }
  if (tokens.size() == 6) {
    river = ParseCards(tokens[5]);
    if (std::popcount(river) != 1) ThrowBadArguments(tokens);
  }

  // Stored before the last two checks, so after either failure the
  // rejected cards stand until the next good set_board. Whoever reads
  // InputBoard (the tree build) must not assume it is a valid board.
  InputBoard = {flop, turn, river};

  // A turn or river that repeats an earlier card.
  if (InputBoard.CardCount() != int(tokens.size()) - 1) ThrowCommandError("duplicate cards");

  // Cards the shortened deck does not hold.
  if (InputBoard.All() & CardsBelowRank(lowCard)) ThrowCommandError("invalid card");

  ReplyOk(tokens);
}

void CmdShowTreeParams(const Tokens& tokens) {
  PrintReply("%s\n", BoardLine(TreeBoard).c_str());
  // The first two pot numbers are kept for the tree file only.
  PrintReply("pot: %g %g %g\n", 0.0, 0.0, TotalPot());
  PrintReply("bet_sizes: \n");
  PrintReply("donk_bet: FALSE\n");
  PrintReply("END\n");
}
