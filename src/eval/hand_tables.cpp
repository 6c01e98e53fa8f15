#include "eval/hand_tables.h"

#include "eval/hand_value.h"

uint32_t RankCountTable[HandTableSize];
uint32_t TopRankTable[HandTableSize];
uint32_t TopFiveRanksTable[HandTableSize];
uint32_t StraightValueTable[HandTableSize];

namespace {

bool tablesReady = false;

// Marks every mask that holds `run` plus up to two more ranks, unless a
// higher straight got there first. Two extra ranks are enough: seven cards
// hold at most seven distinct ranks, five of them in the run.
void MarkStraight(uint32_t run, HandValue value) {
  for (int a = 0; a < 13; ++a)
    for (int b = a; b < 13; ++b) {
      uint32_t mask = run | 1u << a | 1u << b;
      if (mask < HandTableSize && StraightValueTable[mask] == 0) StraightValueTable[mask] = value;
    }
}

}  // namespace

void InitHandTables() {
  if (tablesReady) return;

  // Counts, top rank and top five, walking each mask's bits from the
  // ace down.
  for (uint32_t mask = 1; mask < HandTableSize; ++mask) {
    uint32_t count = 0, topFive = 0;
    for (int rank = 12; rank >= 0; --rank) {
      if (!(mask >> rank & 1)) continue;
      if (count == 0) TopRankTable[mask] = uint32_t(rank);
      if (count < 5) topFive = topFive * 16 + uint32_t(rank);
      ++count;
    }
    RankCountTable[mask] = count;
    TopFiveRanksTable[mask] = topFive;
  }

  // Straights from the ace-high run down, so that a mask holding two
  // straights keeps the higher; the ace-low run comes last, as the lowest.
  for (int top = 12; top >= 4; --top) {
    uint32_t run = 0x1Fu << (top - 4);
    MarkStraight(run, MakeHandValue(TypeStraight, uint32_t(top) << 16));
  }
  MarkStraight(0x100F, WheelStraightValue);

  tablesReady = true;
}
