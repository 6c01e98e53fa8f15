// The board: as the client last gave it, and as the built tree has it.
//
// InputBoard is an input like the ranges: set_board writes it and nothing
// else happens until build_tree copies it into TreeBoard, which node paths
// and show_tree_params read. So a tree goes on showing the board it was
// built with. set_board stores before its last two checks (a card repeated
// across flop, turn and river; a card below the low card), so after those
// failures InputBoard holds the rejected cards until the next good set_board.
#pragma once

#include <bit>

#include "setup/cards.h"

struct BoardCards {
  CardMask flop = 0;   // three cards once set
  CardMask turn = 0;   // one card or none
  CardMask river = 0;  // one card or none

  CardMask All() const { return flop | turn | river; }
  int CardCount() const { return std::popcount(All()); }
};

extern BoardCards InputBoard;
// Empty until the first build or load.
extern BoardCards TreeBoard;

// All cards of rank below `rank` (0 gives the empty mask): the cards a deck
// shortened to start at that rank lacks.
CardMask CardsBelowRank(int rank);

// "board: " and the flop, then turn and river if present, as
// show_tree_params prints it (without the line end).
std::string BoardLine(const BoardCards& board);
