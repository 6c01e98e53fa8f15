// BoardTree: the hand lists of the root board and of every dealt turn and
// river, independent of the betting.
//
// Each BoardNode lists only the hands that can still occur, sorted by
// strength on river boards, so that showdown values become prefix sums.
// parentIndex maps a hand to its place in the parent board's list; with
// suit isomorphism one entry stands for `weight` real cards, and vectors 1
// and up map the same hand with suits exchanged (0xFFFF where the swapped
// hand is not in the parent's list).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "setup/cards.h"
#include "tree/runout_table.h"

inline constexpr uint16_t NoHand = 0xFFFF;

// A tie group of at most 16 hands, for the scans that build live masks.
struct SmallTieGroup {
  uint16_t group = 0;
  uint16_t firstHand = 0;
  uint16_t size = 0;
  uint8_t lanes[8] = {};
};
struct LargeTieGroup {
  uint16_t group = 0;
  uint16_t firstHand = 0;
  uint16_t size = 0;
};

struct BoardNode {
  CardMask board = 0;
  int32_t card = -1;
  int32_t weight = 1;
  std::vector<CardMask> hands;
  std::vector<uint16_t> handCards;    // lo card + hi card * 256
  std::vector<uint16_t> comboToHand;  // 1326 entries, NoHand for none
  std::vector<uint32_t> strengths;    // HandValue of each hand, ascending on rivers
  std::vector<std::vector<uint16_t>> parentIndex;
  // Turn entries.
  std::vector<BoardNode> rivers;
  std::vector<int32_t> riverHandCounts;
  std::vector<int16_t> cardToRiver;  // 52 entries, -1 for none
  // River entries: showdown tables.
  std::vector<uint16_t> tieRuns;
  std::vector<SmallTieGroup> smallGroups;
  std::vector<LargeTieGroup> largeGroups;

  int32_t HandCount() const { return int32_t(hands.size()); }
};

struct BoardTree {
  CardMask board = 0;  // the flop, in the tree's suits
  std::vector<CardMask> hands;
  std::vector<uint16_t> handCards;
  std::vector<uint16_t> comboToHand;
  std::vector<BoardNode> turns;
  std::vector<int32_t> turnHandCounts;
  std::vector<std::vector<int32_t>> riverHandCounts;
  std::vector<int16_t> cardToTurn;  // 52 entries, -1 for none
  // The turns' runout tables, made on demand by the solver's threads.
  std::unique_ptr<RunoutTables> runouts;
};
