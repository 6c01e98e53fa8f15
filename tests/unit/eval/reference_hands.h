// A reference ranking for the tests that check hand values or results
// built on them: it knows nothing of lanes or tables, only counts ranks and
// suits of five cards and takes the best five of more.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <utility>

#include "setup/cards.h"

// Value of three to five cards by plain counting. Groups of equal rank,
// sorted by size and then rank, give the nibbles in order for every type;
// only straights need their own top card. `lowRank` is the deck's lowest
// rank: the ace also plays below it.
inline uint32_t ReferenceValue(const int* cards, int n, int lowRank = 0) {
  int count[13] = {};
  bool sameSuit = true;
  for (int i = 0; i < n; ++i) {
    ++count[cards[i] % 13];
    if (cards[i] / 13 != cards[0] / 13) sameSuit = false;
  }
  std::array<std::pair<int, int>, 5> groups;  // (count, rank)
  int distinct = 0;
  for (int rank = 12; rank >= 0; --rank)
    if (count[rank]) groups[distinct++] = {count[rank], rank};
  std::stable_sort(groups.begin(), groups.begin() + distinct,
                   [](auto& a, auto& b) { return a.first > b.first; });

  uint32_t nibbles = 0;
  for (int i = 0; i < distinct; ++i) nibbles |= uint32_t(groups[i].second) << (16 - 4 * i);

  if (n == 5 && distinct == 5) {
    int top = -1;
    if (groups[0].second - groups[4].second == 4) top = groups[0].second;
    bool lowRun =
        count[12] && count[lowRank] && count[lowRank + 1] && count[lowRank + 2] && count[lowRank + 3];
    if (lowRun) top = 3;
    if (top >= 0) return uint32_t(sameSuit ? 8 : 4) << 24 | uint32_t(top) << 16;
    if (sameSuit) return 5u << 24 | nibbles;
    return nibbles;
  }
  int type = 0;
  if (groups[0].first == 4)
    type = 7;
  else if (groups[0].first == 3)
    type = distinct > 1 && groups[1].first == 2 ? 6 : 3;
  else if (groups[0].first == 2)
    type = distinct > 1 && groups[1].first == 2 ? 2 : 1;
  return uint32_t(type) << 24 | nibbles;
}

// Best five of six or seven cards, fewer taken as they are.
inline uint32_t ReferenceBest(const int* cards, int n, int lowRank = 0) {
  if (n <= 5) return ReferenceValue(cards, n, lowRank);
  uint32_t best = 0;
  for (unsigned pick = 0; pick < 1u << n; ++pick) {
    if (__builtin_popcount(pick) != 5) continue;
    int five[5], k = 0;
    for (int i = 0; i < n; ++i)
      if (pick >> i & 1) five[k++] = cards[i];
    best = std::max(best, ReferenceValue(five, 5, lowRank));
  }
  return best;
}

inline uint32_t ReferenceBest(CardMask mask, int lowRank = 0) {
  int cards[7] = {}, n = 0;
  for (; mask && n < 7; mask &= mask - 1) cards[n++] = std::countr_zero(mask);
  return ReferenceBest(cards, n, lowRank);
}
