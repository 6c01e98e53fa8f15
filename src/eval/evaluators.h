// Eval3 .. Eval7: the plain HandValue of exactly three to seven cards.
//
// Each evaluator branches on the number of distinct ranks, and inside a
// branch the multiplicity pattern is read off bitwise combinations of the
// four suit lanes (the XOR of the lanes holds the ranks held an odd number
// of times, the AND the rank held four times) with one or two table
// lookups, never by counting cards one by one. That makes them a few dozen
// instructions without loops, which matters because trees value every combo
// on every board; Eval7, the one a river build runs, also avoids branches
// that random hands would mispredict. They speak the default rules only: the
// rule variants are applied on top of their result by EvaluateCards. A
// distinct-rank count that cannot occur for the card count gives 0. Three
// and four cards are never a straight or a flush.
#pragma once

#include "eval/hand_tables.h"
#include "eval/hand_value.h"

namespace eval_detail {

struct Lanes {
  uint32_t c, d, h, s;
  uint32_t ranks;  // ranks present
  uint32_t odd;  // ranks held once or three times
};

inline Lanes SplitLanes(SuitLaneMask mask) {
  Lanes l;
  l.c = uint32_t(mask) & 0x1FFF;
  l.d = uint32_t(mask >> 16) & 0x1FFF;
  l.h = uint32_t(mask >> 32) & 0x1FFF;
  l.s = uint32_t(mask >> 48) & 0x1FFF;
  l.ranks = l.c | l.d | l.h | l.s;
  l.odd = l.c ^ l.d ^ l.h ^ l.s;
  return l;
}

inline uint32_t Four(const Lanes& l) {
  return l.c & l.d & l.h & l.s;
}

// The rank held three times, where it is the only rank held more than once:
// it misses at most one lane, so it lies in c&d or else in h&s.
inline uint32_t LoneThree(const Lanes& l) {
  uint32_t cd = l.c & l.d;
  return cd ? cd : l.h & l.s;
}

// The rank held three times beside a pair: the pair may share c&d, so it is
// taken out first.
inline uint32_t ThreeBesidePair(const Lanes& l, uint32_t pair) {
  uint32_t cd = l.c & l.d & ~pair;
  return cd ? cd : l.h & l.s & ~pair;
}

// Ranks held at least twice, from the six pairwise intersections.
inline uint32_t HeldTwice(const Lanes& l) {
  return (l.c & l.d) | (l.h & l.s) | ((l.c | l.d) & (l.h | l.s));
}

inline HandValue FlushValue(uint32_t lane) {
  HandValue straight = StraightValueTable[lane];
  return straight ? straight + (HandValue(TypeStraightFlush - TypeStraight) << 24)
                  : MakeHandValue(TypeFlush, TopFiveRanksTable[lane]);
}

// The lane holding five or more cards, or 0 if none does. The card counts of
// all four lanes are taken at once, bitwise within the word, and one test
// asks whether any reaches five: that costs a dozen instructions but no
// branch that depends on the cards, and a flush is rare enough for the one
// branch that remains to be predicted. Only then is the lane picked out.
inline uint32_t FlushLane(SuitLaneMask mask) {
  uint64_t x = mask - (mask >> 1 & 0x5555555555555555);
  x = (x & 0x3333333333333333) + (x >> 2 & 0x3333333333333333);
  x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0F;
  x = x + (x >> 8);  // lane count in the low byte of each lane, at most 13
  uint64_t five = (x + 0x000B000B000B000B) & 0x0010001000100010;
  if (!five) return 0;
  return uint32_t(mask >> (__builtin_ctzll(five) & ~15)) & 0x1FFF;
}

// Flush, then straight, then the given value of the pair family: with five
// or more distinct ranks in seven cards no full house or quads is possible,
// so nothing between straight and flush can outrank them.
inline HandValue FlushStraightOr(SuitLaneMask mask, uint32_t ranks, HandValue otherwise) {
  if (uint32_t lane = FlushLane(mask)) return FlushValue(lane);
  if (HandValue straight = StraightValueTable[ranks]) return straight;
  return otherwise;
}

inline uint32_t Top(uint32_t mask) {
  return TopRankTable[mask];
}
inline uint32_t TopFive(uint32_t mask) {
  return TopFiveRanksTable[mask];
}

}  // namespace eval_detail

inline HandValue Eval3(SuitLaneMask mask) {
  using namespace eval_detail;
  Lanes l = SplitLanes(mask);
  switch (RankCountTable[l.ranks]) {
    case 1:  // 3
      return MakeHandValue(TypeTrips, Top(l.ranks) << 16);
    case 2:  // 2+1
      return MakeHandValue(TypePair, Top(l.ranks ^ l.odd) << 16 | Top(l.odd) << 12);
    case 3: return MakeHandValue(TypeHighCard, TopFive(l.ranks) << 8);
    default: return 0;
  }
}

inline HandValue Eval4(SuitLaneMask mask) {
  using namespace eval_detail;
  Lanes l = SplitLanes(mask);
  switch (RankCountTable[l.ranks]) {
    case 1:  // 4
      return MakeHandValue(TypeQuads, Top(l.ranks) << 16);
    case 2:
      if (l.odd) {  // 3+1
        uint32_t three = LoneThree(l);
        return MakeHandValue(TypeTrips, Top(three) << 16 | Top(l.ranks ^ three) << 12);
      }
      return MakeHandValue(TypeTwoPair, TopFive(l.ranks) << 12);  // 2+2
    case 3:  // 2+1+1
      return MakeHandValue(TypePair, Top(l.ranks ^ l.odd) << 16 | TopFive(l.odd) << 8);
    case 4: return MakeHandValue(TypeHighCard, TopFive(l.ranks) << 4);
    default: return 0;
  }
}

inline HandValue Eval5(SuitLaneMask mask) {
  using namespace eval_detail;
  Lanes l = SplitLanes(mask);
  switch (RankCountTable[l.ranks]) {
    case 2: {
      uint32_t four = Four(l);
      if (four)  // 4+1
        return MakeHandValue(TypeQuads, Top(four) << 16 | Top(l.ranks ^ four) << 12);
      // 3+2: the three is the rank held an odd number of times
      return MakeHandValue(TypeFullHouse, Top(l.odd) << 16 | Top(l.ranks ^ l.odd) << 12);
    }
    case 3:
      if (RankCountTable[l.odd] == 3) {  // 3+1+1
        uint32_t three = LoneThree(l);
        return MakeHandValue(TypeTrips, Top(three) << 16 | TopFive(l.ranks ^ three) << 8);
      }
      // 2+2+1
      return MakeHandValue(TypeTwoPair, TopFive(l.ranks ^ l.odd) << 12 | Top(l.odd) << 8);
    case 4:  // 2+1+1+1
      return MakeHandValue(TypePair, Top(l.ranks ^ l.odd) << 16 | TopFive(l.odd) << 4);
    case 5: return FlushStraightOr(mask, l.ranks, MakeHandValue(TypeHighCard, TopFive(l.ranks)));
    default: return 0;
  }
}

inline HandValue Eval6(SuitLaneMask mask) {
  using namespace eval_detail;
  Lanes l = SplitLanes(mask);
  switch (RankCountTable[l.ranks]) {
    case 2: {
      uint32_t four = Four(l);
      if (four)  // 4+2
        return MakeHandValue(TypeQuads, Top(four) << 16 | Top(l.ranks ^ four) << 12);
      // 3+3: the higher three over the lower
      return MakeHandValue(TypeFullHouse, TopFive(l.ranks) << 12);
    }
    case 3: {
      if (l.odd == 0) {  // 2+2+2: the lowest pair is the kicker
        uint32_t topTwo = l.ranks & (l.ranks - 1);
        return MakeHandValue(TypeTwoPair, TopFive(topTwo) << 12 | Top(l.ranks ^ topTwo) << 8);
      }
      uint32_t four = Four(l);
      if (four)  // 4+1+1
        return MakeHandValue(TypeQuads, Top(four) << 16 | Top(l.ranks ^ four) << 12);
      // 3+2+1
      uint32_t pair = l.ranks ^ l.odd;
      return MakeHandValue(TypeFullHouse, Top(ThreeBesidePair(l, pair)) << 16 | Top(pair) << 12);
    }
    case 4:
      if (RankCountTable[l.odd] == 4) {  // 3+1+1+1
        uint32_t three = LoneThree(l);
        return MakeHandValue(TypeTrips, Top(three) << 16 | (TopFive(l.ranks ^ three) >> 4) << 8);
      }
      // 2+2+1+1
      return MakeHandValue(TypeTwoPair, TopFive(l.ranks ^ l.odd) << 12 | Top(l.odd) << 8);
    case 5:  // 2+1+1+1+1
      return FlushStraightOr(mask, l.ranks,
                             MakeHandValue(TypePair, Top(l.ranks ^ l.odd) << 16 | (TopFive(l.odd) & 0xFFF0)));
    case 6: return FlushStraightOr(mask, l.ranks, MakeHandValue(TypeHighCard, TopFive(l.ranks)));
    default: return 0;
  }
}

// Seven cards come with five or more distinct ranks in 96% of hands, and in
// random order the three patterns among those (5, 6, 7 ranks) would make an
// unpredictable branch. So that common path computes all three candidate
// values from a few table lookups and selects one without branching; only
// the rare flush, straight and full-house-or-better hands take a branch.
inline HandValue Eval7(SuitLaneMask mask) {
  using namespace eval_detail;
  Lanes l = SplitLanes(mask);
  const uint32_t n = RankCountTable[l.ranks];
  if (n >= 5) [[likely]] {
    if (uint32_t lane = FlushLane(mask)) [[unlikely]]
      return FlushValue(lane);
    if (HandValue straight = StraightValueTable[l.ranks]) [[unlikely]]
      return straight;
    // Ranks held twice; 0 in the trips pattern, where the three is odd.
    const uint32_t pairs = l.ranks ^ l.odd;
    // 7: all different
    const HandValue high = MakeHandValue(TypeHighCard, TopFive(l.ranks));
    // 6: 2+1+1+1+1+1, three kickers from the five singles
    const HandValue pair = MakeHandValue(TypePair, Top(pairs) << 16 | (TopFive(l.odd) >> 8) << 4);
    // 5: 2+2+1+1+1, or 3+1+1+1+1 when no rank is held twice
    const HandValue twoPair = MakeHandValue(TypeTwoPair, TopFive(pairs) << 12 | Top(l.odd) << 8);
    const uint32_t three = LoneThree(l);
    const HandValue trips = MakeHandValue(TypeTrips, Top(three) << 16 | (TopFive(l.ranks ^ three) & 0xFF00));
    const HandValue five = pairs ? twoPair : trips;
    return n == 7 ? high : n == 6 ? pair : five;
  }
  switch (n) {
    case 2: {  // 4+3: the three is the kicker
      uint32_t four = Four(l);
      return MakeHandValue(TypeQuads, Top(four) << 16 | Top(l.ranks ^ four) << 12);
    }
    case 3: {
      if (RankCountTable[l.odd] == 3) {  // 3+3+1: the two threes make the house
        uint32_t threes = HeldTwice(l);
        return MakeHandValue(TypeFullHouse, TopFive(threes) << 12);
      }
      uint32_t four = Four(l);
      if (four)  // 4+2+1: kicker is the higher of pair and single
        return MakeHandValue(TypeQuads, Top(four) << 16 | Top(l.ranks ^ four) << 12);
      // 3+2+2: the three over the higher pair
      return MakeHandValue(TypeFullHouse, Top(l.odd) << 16 | Top(l.ranks ^ l.odd) << 12);
    }
    case 4: {
      if (RankCountTable[l.odd] == 1) {  // 2+2+2+1: kicker is single or third pair
        uint32_t pairs = l.ranks ^ l.odd;
        uint32_t topTwo = pairs & (pairs - 1);
        return MakeHandValue(TypeTwoPair, TopFive(topTwo) << 12 | Top(l.ranks ^ topTwo) << 8);
      }
      uint32_t four = Four(l);
      if (four)  // 4+1+1+1
        return MakeHandValue(TypeQuads, Top(four) << 16 | Top(l.odd) << 12);
      // 3+2+1+1
      uint32_t pair = l.ranks ^ l.odd;
      return MakeHandValue(TypeFullHouse, Top(ThreeBesidePair(l, pair)) << 16 | Top(pair) << 12);
    }
    default: return 0;
  }
}
