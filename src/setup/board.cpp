#include "setup/board.h"

BoardCards InputBoard;
BoardCards TreeBoard;

CardMask CardsBelowRank(int rank) {
  // Each suit holds its ranks in 13 consecutive bits, lowest rank first.
  CardMask lane = (CardMask(1) << rank) - 1;
  return lane | lane << 13 | lane << 26 | lane << 39;
}

std::string BoardLine(const BoardCards& board) {
  std::string line = "board: " + FormatCards(board.flop);
  if (board.turn) line += " " + FormatCards(board.turn);
  if (board.river) line += " " + FormatCards(board.river);
  return line;
}
