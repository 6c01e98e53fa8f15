#include "tree/isomorphism.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

#include "setup/console.h"
#include "setup/failure.h"
#include "setup/ranges.h"

bool IsomorphismFlopRoots = true;
bool IsomorphismTurnRoots = false;

namespace {

constexpr int LaneBits = 13;
constexpr CardMask LaneMask = (CardMask(1) << LaneBits) - 1;

// Two ranges count as equal up to one unit of rounding at 1.0: weights that
// went through the client's export may differ in their last bit.
constexpr double SymmetryTolerance = 2.220446049250313e-16;

// The two cards of each ComboIndex, fixed at compile time so that the
// mapping needs no table built at start-up.
struct ComboCards {
  uint8_t hi;
  uint8_t lo;
};
constexpr std::array<ComboCards, HandCount> MakeComboCards() {
  std::array<ComboCards, HandCount> cards{};
  for (int hi = 1; hi < 52; ++hi)
    for (int lo = 0; lo < hi; ++lo) cards[ComboIndexOf(hi, lo)] = {uint8_t(hi), uint8_t(lo)};
  return cards;
}
constexpr std::array<ComboCards, HandCount> ComboCardTable = MakeComboCards();

int SuitCount(CardMask mask) {
  int count = 0;
  for (int s = 0; s < 4; ++s) count += ((mask >> (LaneBits * s)) & LaneMask) != 0;
  return count;
}

// Canonical index of every combo under the map of these client cards.
std::array<uint16_t, HandCount> CanonicalComboTable(CardMask flop, CardMask turn, CardMask river) {
  SuitMap map = CanonicalizeBoard(flop, turn, river);
  std::array<uint16_t, HandCount> table;
  for (int c = 0; c < HandCount; ++c) table[c] = uint16_t(CanonicalCombo(c, map));
  return table;
}

void AppendCards(std::string& text, CardMask mask) {
  for (; mask; mask &= mask - 1) {
    Card card = std::countr_zero(mask);
    text.push_back(RankLetters[RankOf(card)]);
    text.push_back(SuitLetters[SuitOf(card)]);
    text.push_back(' ');
  }
}

}  // namespace

CardMask MapCards(CardMask mask, const SuitMap& map) {
  CardMask out = 0;
  for (int s = 0; s < 4; ++s) out |= ((mask >> (LaneBits * s)) & LaneMask) << (LaneBits * map[s]);
  return out;
}

int MapCard(int card, const SuitMap& map) { return RankOf(card) + LaneBits * map[SuitOf(card)]; }

int CanonicalCombo(int combo, const SuitMap& map) {
  int a = MapCard(ComboCardTable[combo].hi, map);
  int b = MapCard(ComboCardTable[combo].lo, map);
  return a > b ? ComboIndexOf(a, b) : ComboIndexOf(b, a);
}

SuitMap CanonicalizeBoard(CardMask& flop, CardMask& turn, CardMask& river) {
  constexpr uint8_t Open = 0xFF;
  SuitMap map = {Open, Open, Open, Open};
  uint8_t next = 0;
  auto assign = [&](int suit) {
    if (map[suit] == Open) map[suit] = next++;
  };

  // The flop's suits first. Two suits: the one with two cards
  // leads. One or three suits: order of first appearance in ascending card
  // order, which for three single cards is their suit order.
  std::array<int, 4> counts{};
  for (int s = 0; s < 4; ++s) counts[s] = std::popcount((flop >> (LaneBits * s)) & LaneMask);
  if (SuitCount(flop) == 2) {
    int first = -1, second = -1;
    for (int s = 0; s < 4; ++s) {
      if (!counts[s]) continue;
      if (first < 0)
        first = s;
      else
        second = s;
    }
    if (counts[second] > counts[first]) std::swap(first, second);
    assign(first);
    assign(second);
  } else {
    for (CardMask m = flop; m; m &= m - 1) assign(SuitOf(std::countr_zero(m)));
  }
  // A new suit of the turn, then of the river, takes the first free
  // number: that is what makes each deal land on its representative.
  if (turn) assign(SuitOf(std::countr_zero(turn)));
  if (river) assign(SuitOf(std::countr_zero(river)));
  // The rest in client order.
  for (int s = 0; s < 4; ++s) assign(s);

  // 7.
  flop = MapCards(flop, map);
  turn = MapCards(turn, map);
  river = MapCards(river, map);
  return map;
}

void PermuteRange(CardMask flop, CardMask turn, CardMask river, double* out, const double* in) {
  std::array<uint16_t, HandCount> canonical = CanonicalComboTable(flop, turn, river);
  for (int c = 0; c < HandCount; ++c) out[canonical[c]] = in[c];
}

void UnpermuteValues(CardMask flop, CardMask turn, CardMask river, double* out, const float* in) {
  std::array<uint16_t, HandCount> canonical = CanonicalComboTable(flop, turn, river);
  for (int c = 0; c < HandCount; ++c) out[c] = in[canonical[c]];
}

void CheckRangeConsistency(CardMask flop, const std::array<std::vector<double>, 2>& ranges) {
  for (int player = 0; player < 2; ++player) {
    const std::vector<double>& range = ranges[player];
    if (range.size() != size_t(HandCount)) continue;
    for (const std::vector<uint16_t>& cell : HandClassCombos) {
      int reference = -1;
      for (uint16_t c : cell) {
        if (ComboMask[c] & flop) continue;
        if (reference < 0) {
          reference = c;
          continue;
        }
        if (std::fabs(range[c] - range[reference]) <= SymmetryTolerance) continue;
        char detail[256];
        std::snprintf(detail, sizeof detail,
                      "inconsistent range: %s P(%s) == %.2g, P(%s) == %.2g, use 'set_isomorphism 0 0' if intended",
                      PlayerNames[player], FormatCards(ComboMask[reference]).c_str(), range[reference],
                      FormatCards(ComboMask[c]).c_str(), range[c]);
        FailCommand(detail);
      }
    }
  }
}

std::vector<DealtCard> IsomorphicDeals(CardMask canonicalBoard, int lowCard) {
  // The board is canonical, so its suits are 0 .. present - 1; the first
  // absent suit stands for all absent ones.
  int present = SuitCount(canonicalBoard);
  std::vector<DealtCard> deals;
  deals.reserve(52);
  for (int suit = 0; suit < present; ++suit)
    for (int rank = lowCard; rank < 13; ++rank) {
      Card card = rank + LaneBits * suit;
      if (!(canonicalBoard & CardBit(card))) deals.push_back({card, 1});
    }
  if (present < 4)
    for (int rank = lowCard; rank < 13; ++rank) deals.push_back({rank + LaneBits * present, 4 - present});
  return deals;
}

void BuildSwapIndexes(BoardNode& entry, const std::vector<uint16_t>& parentComboToHand) {
  int suit = SuitOf(entry.card);
  int handCount = entry.HandCount();
  entry.parentIndex.resize(size_t(entry.weight));
  for (int k = 1; k < entry.weight; ++k) {
    SuitMap swap = {0, 1, 2, 3};
    std::swap(swap[suit], swap[suit + k]);
    std::vector<uint16_t>& index = entry.parentIndex[size_t(k)];
    index.resize(size_t(handCount));
    for (int i = 0; i < handCount; ++i) {
      CardMask image = MapCards(entry.hands[size_t(i)], swap);
      Card lo = std::countr_zero(image);
      Card hi = 63 - std::countl_zero(image);
      uint16_t position = parentComboToHand[size_t(ComboIndexOf(hi, lo))];
      index[size_t(i)] = position;
      if (position != NoHand) continue;
      // The ranges are not symmetric in the exchanged suits: the build goes
      // on, and whoever scatters through this vector skips the entry.
      std::string line = "isomorph error: ";
      AppendCards(line, entry.board);
      line += " | ";
      AppendCards(line, entry.hands[size_t(i)]);
      line += " | ";
      AppendCards(line, image);
      PrintNow("%s\n", line.c_str());
    }
  }
}
