// HandValue, HandType and SuitLaneMask: the words every showdown speaks.
//
// A HandValue is a plain unsigned integer that orders hands by strength, so
// the solver sorts and compares hands without knowing a single poker rule:
// type in bits 27..24, then up to five 4-bit ranks in bits 19..0 (first
// rank highest). Bits 31..28 and 23..20 stay zero; that leaves room for
// 0xFFFFFFFF, the mark of a combo that is out of play, to sort below every
// real value when read as signed. The type field holds the HandType number
// under the default rules and the type's position in a rearranged order
// otherwise, so one comparison serves every rule variant.
#pragma once

#include <cstdint>

using HandValue = uint32_t;
// Four 16-bit lanes, lane = suit (c, d, h, s), bit = rank (0 deuce .. 12 ace).
// Grouping by suit makes a flush one lane and the ranks present the OR of the
// four lanes.
using SuitLaneMask = uint64_t;

using HandType = int;
inline constexpr HandType TypeHighCard = 0;
inline constexpr HandType TypePair = 1;
inline constexpr HandType TypeTwoPair = 2;
inline constexpr HandType TypeTrips = 3;
inline constexpr HandType TypeStraight = 4;
inline constexpr HandType TypeFlush = 5;
inline constexpr HandType TypeFullHouse = 6;
inline constexpr HandType TypeQuads = 7;
inline constexpr HandType TypeStraightFlush = 8;
inline constexpr int HandTypeCount = 9;

// The protocol's word for each HandType, by number.
inline constexpr const char* HandTypeWords[HandTypeCount] = {
    "highcard", "pair", "twopair", "trips", "straight", "flush", "fullhouse", "quads", "straightflush"};

// The ace-low straight: its top card is the five (rank 3).
inline constexpr HandValue WheelStraightValue = 0x4030000;
inline constexpr HandValue WheelStraightFlushValue = 0x8030000;
// Value of a combo that is out of play.
inline constexpr HandValue NoHandValue = 0xFFFFFFFF;

constexpr HandValue MakeHandValue(HandType type, uint32_t rankNibbles) {
  return HandValue(type) << 24 | rankNibbles;
}
constexpr int TypeField(HandValue value) {
  return int(value >> 24 & 0xF);
}
// Nibble 1 (the first rank, bits 19..16) to 5 (bits 3..0).
constexpr int RankNibble(HandValue value, int i) {
  return int(value >> (20 - 4 * i) & 0xF);
}
