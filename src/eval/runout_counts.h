// How many cards can still come, for one fixed pair of hands.
//
// A chance node divides its children's sum by the cards that can come and a
// query multiplies a matchup by the runouts still to come; both count the
// deck under the shortened-deck rule less the board and the four hole
// cards, so the counts live here once. They are whole numbers; callers
// convert them to their own float or double at the point of use, which
// keeps every product exactly what it was.
#pragma once

#include "eval/rule_settings.h"

// Turn cards that can come below a flop.
inline int TurnCardCount() { return 45 - 4 * lowCard; }
// River cards that can come below a turn.
inline int RiverCardCount() { return 44 - 4 * lowCard; }

// Runouts still to come on a board whose turn and river are dealt (an
// index of 0 or more) or not (-1).
inline int RunoutCount(int turn, int river) {
  if (river >= 0) return 1;
  if (turn >= 0) return RiverCardCount();
  return TurnCardCount() * RiverCardCount();
}
