#include "setup/cards.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <string>

#include "shell/command_error.h"

namespace {

class HandTables : public ::testing::Test {
 protected:
  // Twice on purpose: the start-up builds the tables once, tests may again.
  static void SetUpTestSuite() {
    BuildHandTables();
    BuildHandTables();
  }
};

TEST_F(HandTables, OrdersAreInversePermutations) {
  std::array<bool, HandCount> seen{};
  for (int p = 0; p < HandCount; ++p) {
    int c = HandOrderToCombo[p];
    ASSERT_LT(c, HandCount);
    EXPECT_FALSE(seen[c]) << "combo " << c << " twice";
    seen[c] = true;
    EXPECT_EQ(ComboToHandOrder[c], p);
    EXPECT_EQ(HandOrderMask[p], ComboMask[c]);
    EXPECT_EQ(std::popcount(ComboMask[c]), 2);
  }
}

TEST_F(HandTables, HandClassCells) {
  size_t total = 0;
  for (int row = 0; row < 13; ++row)
    for (int col = 0; col < 13; ++col) {
      const auto& cell = HandClassCombos[row * 13 + col];
      size_t expected = row == col ? 6 : row < col ? 4 : 12;
      EXPECT_EQ(cell.size(), expected) << "cell " << row << "," << col;
      total += cell.size();
      for (size_t i = 1; i < cell.size(); ++i)
        EXPECT_LT(ComboToHandOrder[cell[i - 1]], ComboToHandOrder[cell[i]]);
      for (uint16_t c : cell) {
        Card lo = std::countr_zero(ComboMask[c]);
        Card hi = 63 - std::countl_zero(ComboMask[c]);
        bool suited = SuitOf(lo) == SuitOf(hi);
        int low = std::min(RankOf(lo), RankOf(hi)), high = std::max(RankOf(lo), RankOf(hi));
        EXPECT_EQ(row, suited ? low : high);
        EXPECT_EQ(col, suited ? high : low);
      }
    }
  EXPECT_EQ(total, size_t(HandCount));
  // The suited ace-king cell: row king (11), column ace (12).
  const auto& aks = HandClassCombos[11 * 13 + 12];
  EXPECT_NE(std::find(aks.begin(), aks.end(), 1325), aks.end());
}

// Card numbers from the rank and suit letters; FormatCards writes suit by
// suit, and ParseCards reads back whatever it writes.
TEST(Cards, CardTextBothWays) {
  const std::pair<const char*, Card> cards[] = {{"2c", 0},  {"Ac", 12}, {"2d", 13}, {"2h", 26},
                                                {"Jh", 35}, {"Qs", 49}, {"As", 51}};
  for (auto [text, card] : cards) {
    EXPECT_EQ(ParseCards(text), CardBit(card)) << text;
    EXPECT_EQ(CardText(card), text);
  }
  for (Card card = 0; card < 52; ++card) EXPECT_EQ(ParseCards(CardText(card)), CardBit(card));
  EXPECT_EQ(FormatCards(ParseCards("Qs Jh 2h")), "2h Jh Qs");
  EXPECT_EQ(FormatCards(ParseCards("As 2c Kd")), "2c Kd As");
  EXPECT_EQ(FormatCards(0), "");
  const CardMask all = (CardMask(1) << 52) - 1;
  EXPECT_EQ(ParseCards(FormatCards(all)), all);
}

// Either case, blanks after a card but not before the first, at most 255
// characters; anything else is the one "invalid card" line.
TEST(Cards, ParseCardsAcceptsAndRejects) {
  EXPECT_EQ(ParseCards("qS"), CardBit(49));
  EXPECT_EQ(ParseCards(""), 0u);
  const CardMask flop = CardBit(49) | CardBit(35) | CardBit(26);
  EXPECT_EQ(ParseCards("Qs Jh 2h"), flop);
  EXPECT_EQ(ParseCards("QsJh2h"), flop);
  EXPECT_EQ(ParseCards("Qs  Jh  "), CardBit(49) | CardBit(35));
  EXPECT_EQ(ParseCards("Qs" + std::string(253, ' ')), CardBit(49));

  const std::string rejected[] = {"QsQs", "Qs Qs", "Q", "1c", "Qx", " Qs", "Qs J", "s", "Qs,Jh",
                                  "Qs" + std::string(254, ' ')};
  for (const std::string& text : rejected) {
    try {
      ParseCards(text);
      ADD_FAILURE() << "accepted '" << text << "'";
    } catch (const CommandFailure& error) {
      EXPECT_EQ(CommandErrorLine(error), "ERROR: invalid card\n") << text;
    }
  }
}

}  // namespace
