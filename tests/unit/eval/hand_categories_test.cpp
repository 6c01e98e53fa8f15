// Hand categories and draws: single hands pinned to the categories a
// player would name, and all 1326 hands on boards of every shape against
// the rules applied here to a naive ranking of the best five cards.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "eval/hand_categories.h"
#include "eval/hand_tables.h"
#include "eval/rule_settings.h"
#include "reference_hands.h"
#include "setup/cards.h"

namespace {

std::vector<int> CardsOf(CardMask mask) {
  std::vector<int> cards;
  for (; mask; mask &= mask - 1) cards.push_back(std::countr_zero(mask));
  return cards;
}

int Type(uint32_t v) { return int(v >> 24); }
int Nibble(uint32_t v, int i) { return int(v >> (20 - 4 * i) & 0xF); }

// The category rules, written from their table.
int ReferenceMade(CardMask board, CardMask hand) {
  if (board & hand) return -1;
  const uint32_t B = ReferenceBest(board), V = ReferenceBest(board | hand);
  const int t = Type(V), b = Type(B);
  std::vector<int> boardRanks;
  for (int card : CardsOf(board))
    if (std::find(boardRanks.begin(), boardRanks.end(), card % 13) == boardRanks.end()) boardRanks.push_back(card % 13);
  auto place = [&](int rank) {
    int p = 0;
    for (int r : boardRanks) p += r > rank ? 2 : r == rank ? 1 : 0;
    return p;
  };
  const std::vector<int> hole = CardsOf(hand);
  const int hi = std::max(hole[0] % 13, hole[1] % 13), lo = std::min(hole[0] % 13, hole[1] % 13);
  const int handPlace = place(hi) % 2 == 1 ? place(hi) : place(lo);
  auto pairClass = [&] {
    static const int byPlace[] = {9, 7, 6, 5, 4, 4};
    return handPlace < 6 ? byPlace[handPlace] : 3;
  };
  auto kickerClass = [&] {
    for (int i = 1; i <= 5; ++i)
      if (Nibble(V, i) > Nibble(B, i)) return Nibble(V, i) == 12 ? 2 : Nibble(V, i) == 11 ? 1 : 0;
    return 0;
  };
  int category = -100;
  if (t == 0) category = kickerClass();
  if (t == 1) category = b == 0 ? pairClass() : kickerClass();
  if (t == 2) {
    bool better = Nibble(V, 1) > Nibble(B, 1) || Nibble(V, 2) > Nibble(B, 2);
    category = b == 0 ? 10 : b == 1 ? pairClass() : better ? pairClass() : kickerClass();
  }
  if (t == 3) category = b == 0 ? 12 : b == 1 ? 11 : kickerClass();
  if (t == 4) category = b < 4 || V > B ? 13 : kickerClass();
  if (t == 5) category = b < 5 ? 14 : 0;
  if (t == 6) {
    if (b < 6) category = 15;
    else if (Nibble(V, 1) > Nibble(B, 1)) category = 16;
    else category = Nibble(V, 2) > Nibble(B, 2) ? 15 : 0;
  }
  if (t == 7) category = b < 7 ? 17 : kickerClass();
  if (t == 8) category = b == 8 && V <= B ? 0 : 18;
  return 100 * category;
}

// Outs counted card by card over the naive ranking.
int ReferenceDraw(CardMask board, CardMask hand) {
  if (std::popcount(board) == 5) return 0;
  if (board & hand) return -1;
  const int old = Type(ReferenceBest(board | hand));
  int straight = 0, flush = 0;
  for (int k = 0; k < 52; ++k) {
    CardMask card = CardBit(k);
    if ((board | hand) & card) continue;
    uint32_t boardAlone = std::popcount(board | card) == 5 ? ReferenceBest(board | card) : 0;
    uint32_t now = ReferenceBest(board | hand | card);
    if (now <= boardAlone) continue;
    straight += Type(now) == 4 && old < 4;
    flush += (Type(now) == 5 || Type(now) == 8) && old < 5;
  }
  if (straight && flush) return 4;
  if (flush) return 3;
  return straight / 4;
}

int HandIndex(const char* text) {
  CardMask mask = ParseCards(text);
  for (int p = 0; p < HandCount; ++p)
    if (HandOrderMask[size_t(p)] == mask) return p;
  return -1;
}

class HandCategoriesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    InitHandTables();
    BuildHandTables();
  }
  void TearDown() override { ResetRuleSettings(); }
};

struct Expected {
  const char* board;
  const char* hand;
  int made;
  int draw;  // -2: not looked at
};

TEST_F(HandCategoriesTest, HandsThatPlayersWouldNameAlike) {
  const Expected cases[] = {
      {"Ks7d2c", "AhAd", CategoryOverpair, -2},
      {"Ks7d2c", "QhQd", CategoryUnderpair, -2},
      {"Ks7d2c", "5h5d", CategoryThirdPair, -2},
      {"Ks7d2c", "KhQh", CategoryTopPair, -2},
      {"Ks7d2c", "AhKh", CategoryTopPair, -2},
      {"Ks7d2c", "7h6h", CategorySecondPair, -2},
      {"Ks7d2c", "3h2h", CategoryThirdPair, -2},  // the trey is between; the deuce pairs
      {"Ks7d2c", "AhQh", CategoryAceHigh, -2},
      {"Ks7d2c", "QhJh", CategoryNothing, -2},  // the queen is the first rank above the board's
      {"Ks7d2c", "KhKd", CategorySet, -2},
      {"Ks7d2c", "Kh7h", CategoryTwoPair, -2},
      {"Ks7d2c", "7d2d", ClashResult, ClashResult},
      {"Ks9d7c2h", "2d3d", CategoryLowPair, -2},
      {"Ks9d7c2h", "3h3d", CategoryLowPair, -2},
      {"KsKd7c", "9h9d", CategoryUnderpair, -2},
      {"KsKd7c", "Ah7h", CategorySecondPair, -2},  // the ace is above, so the seven decides
      {"KsKd7c", "Ah2h", CategoryAceHigh, -2},
      {"KsKd7c", "KhQh", CategoryTrips, -2},
      {"AsQd2c", "KhJd", CategoryKingHigh, -2},
      {"AsQd2c", "JhTd", CategoryNothing, -2},
      {"7s7d7hKsKd", "KhQc", CategoryTopFullHouse, 0},
      {"7s7d7hKsKd", "AsAh", CategoryFullHouse, 0},
      {"7s7d7hKsKd", "QhQd", CategoryNothing, 0},
      {"7s7d7hKsKd", "7c2d", CategoryQuads, 0},
      {"7s7d7hKsKd", "7c7d", ClashResult, 0},  // a river has no draws, clashing or not
      {"5s6d7h8c9s", "Ts2c", CategoryStraight, 0},
      {"5s6d7h8c9s", "AhKd", CategoryNothing, 0},  // plays the board
      {"2h5h9hJhKh", "AhQh", CategoryNothing, 0},  // a better flush than the board's is still nothing
      {"7s8d2c", "9h6h", -2, DrawEightOuts},
      {"7s8d2c", "Ts6s", -2, DrawFourOuts},
      {"7h8h2c", "9hTh", -2, DrawCombo},  // 6h and Jh are flush outs, six more straight outs
      {"9sTdJhQc", "2d3d", -2, DrawNone},  // a king or an eight makes the straight on the board alone
  };
  for (const Expected& c : cases) {
    SCOPED_TRACE(std::string(c.board) + " " + c.hand);
    HandResults made{}, draws{};
    ClassifyHands(ParseCards(c.board), made);
    ClassifyDraws(ParseCards(c.board), draws);
    const size_t p = size_t(HandIndex(c.hand));
    if (c.made != -2) {
      EXPECT_EQ(c.made == ClashResult ? made[p] : made[p] / 100, c.made);
    }
    if (c.draw != -2) {
      EXPECT_EQ(draws[p], c.draw);
    }
  }
}

TEST_F(HandCategoriesTest, WholeBoardsAgreeWithTheReference) {
  const char* boards[] = {"Qs Jh 4h", "8s 8d 3c", "9s Td 3h 2c", "2h 5h 9h", "7s 7d 7h Ks Kd", "As Kd 9h 5c 2s"};
  for (const char* text : boards) {
    SCOPED_TRACE(text);
    const CardMask board = ParseCards(text);
    HandResults made{}, draws{};
    ClassifyHands(board, made);
    ClassifyDraws(board, draws);
    int mismatches = 0;
    for (int p = 0; p < HandCount && mismatches < 5; ++p) {
      const CardMask hand = HandOrderMask[size_t(p)];
      const bool same = made[size_t(p)] == ReferenceMade(board, hand) && draws[size_t(p)] == ReferenceDraw(board, hand);
      EXPECT_TRUE(same) << FormatCards(hand) << ": " << made[size_t(p)] << " " << draws[size_t(p)] << " expected "
                        << ReferenceMade(board, hand) << " " << ReferenceDraw(board, hand);
      mismatches += !same;
    }
  }
}

// The categories speak the default rules whatever variants are in force,
// and a card below a short deck's low card is classified like any other.
TEST_F(HandCategoriesTest, RuleVariantsChangeNothing) {
  const CardMask board = ParseCards("6s 7d 8h 2c");
  HandResults made{}, draws{};
  ClassifyHands(board, made);
  ClassifyDraws(board, draws);
  ApplyHandTypeOrder({8, 7, 6, 5, 4, 3, 2, 1, 0});
  lowCard = 4;
  mustUseHoleCards = 2;
  HandResults madeVariant{}, drawsVariant{};
  ClassifyHands(board, madeVariant);
  ClassifyDraws(board, drawsVariant);
  EXPECT_EQ(made, madeVariant);
  EXPECT_EQ(draws, drawsVariant);
  EXPECT_EQ(madeVariant[size_t(HandIndex("9s5s"))] / 100, CategoryStraight);
}

}  // namespace
