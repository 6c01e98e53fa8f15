#include <gtest/gtest.h>

#include <bit>
#include <stdexcept>
#include <string>
#include <vector>

#include "eval/rule_settings.h"
#include "setup/board.h"
#include "setup/cards.h"
#include "setup/ranges.h"
#include "setup/setup_commands.h"
#include "setup_test_util.h"
#include "shell/command_error.h"

namespace {

class RangeAndBoard : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { BuildHandTables(); }
  void SetUp() override {
    Ranges = {};
    InputBoard = {};
  }
  void TearDown() override {
    Ranges = {};
    InputBoard = {};
  }

  static Tokens RangeTokens(const std::string& player, const std::vector<std::string>& weights) {
    Tokens tokens = {"set_range", player};
    tokens.insert(tokens.end(), weights.begin(), weights.end());
    return tokens;
  }
  static std::vector<std::string> Weights(const std::string& value) {
    return std::vector<std::string>(HandCount, value);
  }

  ScopedValue<int> verbose_{Verbosity, 1};
};

TEST_F(RangeAndBoard, RangeIsReorderedIntoComboIndex) {
  std::vector<std::string> weights;
  for (int p = 0; p < HandCount; ++p) weights.push_back(std::to_string(p + 1));
  EXPECT_EQ(RunHandler(CmdSetRange, RangeTokens("OOP", weights)),
            "[set_range 0 min 1 max 1326 nonzero 1326 rtz 0]\nset_range ok!\n");
  ASSERT_EQ(Ranges[0].size(), size_t(HandCount));
  EXPECT_TRUE(Ranges[1].empty());
  EXPECT_EQ(Ranges[0][78], 1.0);      // 2d2c, first in the public order
  EXPECT_EQ(Ranges[0][1313], 1326.0); // AsAh, last
  EXPECT_EQ(Ranges[0][0], 7.0);       // 3c2c, public index 6
  EXPECT_EQ(Ranges[0][1325], 1323.0); // AsKs, public index 1322
}

TEST_F(RangeAndBoard, ShortDeckZeroesCombosBelowTheLowCard) {
  ScopedValue<int32_t> sixUp(lowCard, 4);
  // 36 cards remain: C(36, 2) = 630 combos keep their weight.
  EXPECT_EQ(RunHandler(CmdSetRange, RangeTokens("hero", Weights("1"))),
            "[set_range 0 min 0 max 1 nonzero 630 rtz 0]\nset_range ok!\n");
  for (int c = 0; c < HandCount; ++c) {
    const CardMask hand = ComboMask[c];
    const bool removed = RankOf(std::countr_zero(hand)) < 4 || RankOf(63 - std::countl_zero(hand)) < 4;
    EXPECT_EQ(Ranges[0][c], removed ? 0.0 : 1.0) << FormatCards(ComboMask[c]);
  }
}

TEST_F(RangeAndBoard, FailedSetRangeLeavesTheRange) {
  RunHandler(CmdSetRange, RangeTokens("OOP", Weights("0.5")));
  const std::vector<double> before = Ranges[0];

  try {
    RunHandler(CmdSetRange, RangeTokens("oop", Weights("1")));
    ADD_FAILURE() << "lower-case player accepted";
  } catch (const CommandError& error) {
    EXPECT_STREQ(error.what(), "ERROR: set_range incorrect player name\n");
  }
  std::vector<std::string> weights = Weights("1");
  weights.back() = "abc";
  EXPECT_THROW(RunHandler(CmdSetRange, RangeTokens("OOP", weights)), std::invalid_argument);
  EXPECT_EQ(Ranges[0], before);
  EXPECT_TRUE(Ranges[1].empty());
}

TEST_F(RangeAndBoard, BoardsOfThreeFourAndFiveCards) {
  EXPECT_EQ(RunHandler(CmdSetBoard, {"set_board", "Qs", "Jh", "2h", "3c", "Ad"}), "set_board ok!\n");
  EXPECT_EQ(InputBoard.turn, CardBit(1));
  EXPECT_EQ(InputBoard.river, CardBit(25));
  EXPECT_EQ(BoardLine(InputBoard), "board: 2h Jh Qs 3c Ad");

  // A later flop-only board clears turn and river.
  RunHandler(CmdSetBoard, {"set_board", "Qs", "Jh", "2h"});
  EXPECT_EQ(InputBoard.turn | InputBoard.river, 0u);
  EXPECT_EQ(BoardLine(BoardCards{}), "board: ");
}

TEST_F(RangeAndBoard, EarlyBoardFailuresLeaveTheBoard) {
  RunHandler(CmdSetBoard, {"set_board", "Ac", "Kd", "Qh", "Js"});
  const BoardCards before = InputBoard;
  const Tokens badShape[] = {
      {"set_board", "Qs", "Jh"},
      {"set_board", "Qs", "Jh", "2h", "3c", "4c", "5c"},
      {"set_board", "Qs", "Qs", "Jh"},         // two flop cards alike
      {"set_board", "QsJh", "2h", "3c"},       // a token of two cards
      {"set_board", "Qs", "Jh", "2h", "3c4c"}, // a turn of two cards
  };
  for (const Tokens& tokens : badShape)
    EXPECT_THROW(RunHandler(CmdSetBoard, tokens), CommandError) << JoinTokens(tokens);
  EXPECT_THROW(RunHandler(CmdSetBoard, {"set_board", "Qs", "Jh", "2h", "Qx"}), CommandError);
  EXPECT_EQ(InputBoard.flop, before.flop);
  EXPECT_EQ(InputBoard.turn, before.turn);
  EXPECT_EQ(InputBoard.river, before.river);
}

TEST_F(RangeAndBoard, LateBoardFailuresKeepTheRejectedCards) {
  try {
    RunHandler(CmdSetBoard, {"set_board", "Qs", "Jh", "2h", "3c", "Qs"});
    ADD_FAILURE() << "river repeating the flop accepted";
  } catch (const CommandError& error) {
    EXPECT_STREQ(error.what(), "ERROR: set_board duplicate cards\n");
  }
  EXPECT_EQ(InputBoard.river, CardBit(49));
  EXPECT_EQ(InputBoard.CardCount(), 4);

  ScopedValue<int32_t> sixUp(lowCard, 4);
  EXPECT_EQ(RunHandler(CmdSetBoard, {"set_board", "Qs", "Jh", "6h"}), "set_board ok!\n");
  try {
    RunHandler(CmdSetBoard, {"set_board", "Qs", "Jh", "6h", "5d"});
    ADD_FAILURE() << "five on a six-up deck accepted";
  } catch (const CommandError& error) {
    EXPECT_STREQ(error.what(), "ERROR: set_board invalid card\n");
  }
  EXPECT_EQ(InputBoard.turn, CardBit(3 + 13));
}

}  // namespace
