#include "tree/isomorphism.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <string>

#include "../setup/setup_test_util.h"
#include "setup/cards.h"
#include "shell/command_error.h"
#include "shell/shell_state.h"
#include "tree/tree_commands.h"

namespace {

class Isomorphism : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { BuildHandTables(); }
};

CardMask Cards(const char* text) { return *text ? ParseCards(text) : 0; }

int ComboOf(CardMask mask) {
  Card lo = std::countr_zero(mask);
  Card hi = 63 - std::countl_zero(mask);
  return ComboIndexOf(hi, lo);
}
int ComboOf(const char* text) { return ComboOf(ParseCards(text)); }

// The reference mapping, one card at a time, without lanes.
CardMask MapEachCard(CardMask mask, const SuitMap& map) {
  CardMask out = 0;
  for (Card card = 0; card < 52; ++card)
    if (mask & CardBit(card)) out |= CardBit(RankOf(card) + 13 * map[SuitOf(card)]);
  return out;
}
CardMask SwapSuits(CardMask mask, int a, int b) {
  SuitMap swap = {0, 1, 2, 3};
  swap[a] = uint8_t(b);
  swap[b] = uint8_t(a);
  return MapEachCard(mask, swap);
}

TEST_F(Isomorphism, CanonicalizeBoardExamples) {
  struct Case {
    const char *flop, *turn, *river;
    SuitMap map;  // c, d, h, s
    const char *canonicalFlop, *canonicalTurn, *canonicalRiver;
  };
  const Case cases[] = {
      {"QsJh2h", "", "", {2, 3, 0, 1}, "2c Jc Qd", "", ""},
      {"Kd7c2h", "", "", {0, 1, 2, 3}, "7c Kd 2h", "", ""},
      {"AhKhQh", "", "", {1, 2, 0, 3}, "Qc Kc Ac", "", ""},
      // Rainbow: suits by the cards' ascending order (2c, Kd, As).
      {"AsKd2c", "", "", {0, 1, 3, 2}, "2c Kd Ah", "", ""},
      // Two-tone with the paired suit above the single one.
      {"2cKsQs", "", "", {1, 2, 3, 0}, "Qc Kc 2d", "", ""},
      // A new suit of the turn or river takes the first free number.
      {"QsJh2h", "5d", "", {3, 2, 0, 1}, "2c Jc Qd", "5h", ""},
      // Either absent suit of a two-tone flop becomes the same one.
      {"QsJh2h", "5c", "", {2, 3, 0, 1}, "2c Jc Qd", "5h", ""},
      {"QsJh2h", "5c", "7d", {2, 3, 0, 1}, "2c Jc Qd", "5h", "7s"},
      {"QsJh2h", "5s", "7d", {3, 2, 0, 1}, "2c Jc Qd", "5d", "7h"},
      {"AhKhQh", "2s", "3c", {2, 3, 0, 1}, "Qc Kc Ac", "2d", "3h"},
      {"AsKd2c", "5h", "", {0, 1, 3, 2}, "2c Kd Ah", "5s", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.flop) + " " + c.turn + " " + c.river);
    CardMask flop = Cards(c.flop), turn = Cards(c.turn), river = Cards(c.river);
    SuitMap map = CanonicalizeBoard(flop, turn, river);
    EXPECT_EQ(map, c.map);
    EXPECT_EQ(FormatCards(flop), c.canonicalFlop);
    EXPECT_EQ(FormatCards(turn), c.canonicalTurn);
    EXPECT_EQ(FormatCards(river), c.canonicalRiver);
    for (Card card = 0; card < 52; ++card)
      ASSERT_EQ(CardBit(MapCard(card, map)), MapEachCard(CardBit(card), map)) << card;
  }
}

// The deals of a canonical board against brute force: every real card,
// canonicalized together with the board, lands on some representative; the
// number landing on each must be its weight.
TEST_F(Isomorphism, DealsMatchCanonicalizedRealCards) {
  struct Case {
    const char *flop, *turn;
    int lowCard;
    size_t entries;
    int weightSum;
  };
  const Case cases[] = {
      {"Kd7c2h", "", 0, 49, 49},  {"QsJh2h", "", 0, 36, 49}, {"AhKhQh", "", 0, 23, 49},
      {"Kd7c8h", "", 4, 33, 33},  {"QsJh9h", "", 4, 24, 33}, {"AhKhQh", "", 4, 15, 33},
      {"QsJh2h", "5d", 0, 48, 48}, {"QsJh2h", "5h", 0, 35, 48}, {"AhKhQh", "2s", 0, 35, 48},
      {"Kd7c2h", "5s", 0, 48, 48},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.flop) + " " + c.turn + " low " + std::to_string(c.lowCard));
    CardMask flop = Cards(c.flop), turn = Cards(c.turn), river = 0;
    CanonicalizeBoard(flop, turn, river);
    CardMask board = flop | turn;

    std::map<int, int> landed;
    for (Card card = 0; card < 52; ++card) {
      if ((board & CardBit(card)) || RankOf(card) < c.lowCard) continue;
      CardMask f = flop, t = turn ? turn : CardBit(card), r = turn ? CardBit(card) : 0;
      CanonicalizeBoard(f, t, r);
      ASSERT_EQ(f, flop);
      ASSERT_EQ(f | (turn ? t : 0), board) << "the canonical board must stay put";
      ++landed[std::countr_zero(turn ? r : t)];
    }

    std::vector<DealtCard> deals = IsomorphicDeals(board, c.lowCard);
    EXPECT_EQ(deals.size(), c.entries);
    int sum = 0;
    for (size_t i = 0; i < deals.size(); ++i) {
      sum += deals[i].weight;
      if (i > 0) {
        EXPECT_LT(deals[i - 1].card, deals[i].card) << "suit-major, rank ascending";
      }
      EXPECT_FALSE(board & CardBit(deals[i].card));
      EXPECT_GE(RankOf(deals[i].card), c.lowCard);
      EXPECT_EQ(landed[deals[i].card], deals[i].weight) << CardText(deals[i].card);
    }
    EXPECT_EQ(sum, c.weightSum);
    EXPECT_EQ(landed.size(), deals.size()) << "a real card landed off the list";
  }
}

TEST_F(Isomorphism, PermuteRangeAndBack) {
  struct Case {
    const char *flop, *turn, *river;
    SuitMap map;  // worked out by hand from the rules of canonicalization
  };
  const Case cases[] = {
      {"QsJh2h", "", "", {2, 3, 0, 1}},
      {"QsJh2h", "5d", "", {3, 2, 0, 1}},
      {"QsJh2h", "5c", "", {2, 3, 0, 1}},
      {"AhKhQh", "2s", "3c", {2, 3, 0, 1}},
      {"AsKd2c", "", "", {0, 1, 3, 2}},
  };
  std::vector<double> range(HandCount);
  // Distinct values that a float holds exactly, so the way back is exact.
  for (int c = 0; c < HandCount; ++c) range[size_t(c)] = double((c * 7) % HandCount) / 8.0;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.flop) + " " + c.turn + " " + c.river);
    std::vector<double> permuted(HandCount, NAN);
    PermuteRange(Cards(c.flop), Cards(c.turn), Cards(c.river), permuted.data(), range.data());
    for (int combo = 0; combo < HandCount; ++combo) {
      int image = ComboOf(MapEachCard(ComboMask[combo], c.map));
      ASSERT_EQ(permuted[size_t(image)], range[size_t(combo)]) << FormatCards(ComboMask[combo]);
      ASSERT_EQ(CanonicalCombo(combo, c.map), image);
    }
    std::vector<float> narrowed(permuted.begin(), permuted.end());
    std::vector<double> back(HandCount, NAN);
    UnpermuteValues(Cards(c.flop), Cards(c.turn), Cards(c.river), back.data(), narrowed.data());
    EXPECT_EQ(back, range);
  }
}

TEST_F(Isomorphism, RangeConsistency) {
  ScopedValue<std::string> command(CurrentCommand, "build_tree");
  const CardMask flop = Cards("QsJh2h");
  const std::string tail = ", use 'set_isomorphism 0 0' if intended\n";
  struct Case {
    const char* name;
    int player;
    std::vector<std::pair<const char*, double>> weights;
    std::string error;  // empty: accepted
  };
  const Case cases[] = {
      {"uniform", 0, {}, ""},
      {"only combos touching the flop differ", 0, {{"QsQh", 3}, {"2h2c", 0}, {"AsQs", 0.5}, {"JhTs", 2}}, ""},
      {"one unit of rounding at 1", 1, {{"AdKd", 1 + std::ldexp(1.0, -52)}}, ""},
      {"two units of rounding at 1", 1, {{"AdKd", 1 + std::ldexp(1.0, -51)}},
       "ERROR: build_tree inconsistent range: IP P(Kc Ac) == 1, P(Kd Ad) == 1" + tail},
      {"AcKc against AdKd", 0, {{"AdKd", 0.5}},
       "ERROR: build_tree inconsistent range: OOP P(Kc Ac) == 1, P(Kd Ad) == 0.5" + tail},
      {"the same for IP", 1, {{"AdKd", 0.5}},
       "ERROR: build_tree inconsistent range: IP P(Kc Ac) == 1, P(Kd Ad) == 0.5" + tail},
      // 2c2h is skipped as it touches the flop: 2c2d is the reference.
      {"pair reference skips the flop", 0, {{"2c2h", 7}, {"2c2s", 0.25}},
       "ERROR: build_tree inconsistent range: OOP P(2c 2d) == 1, P(2c 2s) == 0.25" + tail},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::array<std::vector<double>, 2> ranges = {std::vector<double>(HandCount, 1.0),
                                                 std::vector<double>(HandCount, 1.0)};
    for (auto [text, weight] : c.weights) ranges[size_t(c.player)][size_t(ComboOf(text))] = weight;
    if (c.error.empty()) {
      EXPECT_NO_THROW(CheckRangeConsistency(flop, ranges));
    } else {
      try {
        CheckRangeConsistency(flop, ranges);
        ADD_FAILURE() << "accepted";
      } catch (const CommandFailure& error) {
        EXPECT_EQ(CommandErrorLine(error), c.error);
      }
    }
  }
}

TEST_F(Isomorphism, SwapIndexesPointAtTheSuitExchangedHand) {
  struct Case {
    const char* flop;  // client suits
    const char* card;  // the dealt card, canonical
    int weight;
    const char* missing;  // a hand left out of the parent list
    std::string output;
  };
  const Case cases[] = {
      {"QsJh2h", "5h", 2, "", ""},
      {"AhKhQh", "5d", 3, "", ""},
      {"Kd7c2h", "5s", 1, "", ""},
      {"QsJh2h", "5h", 2, "AcAs", "isomorph error: 2c Jc Qd 5h  | Ac Ah  | Ac As \n"},
      {"AhKhQh", "5d", 3, "9h9s",
       "isomorph error: Qc Kc Ac 5d  | 9d 9s  | 9h 9s \n"
       "isomorph error: Qc Kc Ac 5d  | 9d 9h  | 9h 9s \n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.flop) + " " + c.card + " " + c.missing);
    CardMask flop = Cards(c.flop), turn = 0, river = 0;
    CanonicalizeBoard(flop, turn, river);
    CardMask missing = Cards(c.missing);

    std::vector<CardMask> parentHands;
    for (int combo = 0; combo < HandCount; ++combo)
      if (!(ComboMask[combo] & flop) && ComboMask[combo] != missing) parentHands.push_back(ComboMask[combo]);
    std::vector<uint16_t> parentComboToHand(HandCount, NoHand);
    for (size_t i = 0; i < parentHands.size(); ++i) parentComboToHand[size_t(ComboOf(parentHands[i]))] = uint16_t(i);

    BoardNode entry;
    entry.card = std::countr_zero(Cards(c.card));
    entry.board = flop | CardBit(entry.card);
    entry.weight = c.weight;
    entry.parentIndex.resize(1);
    // Reverse order, so that positions differ from the parent's.
    for (size_t i = parentHands.size(); i-- > 0;) {
      if (parentHands[i] & entry.board) continue;
      entry.hands.push_back(parentHands[i]);
      entry.parentIndex[0].push_back(uint16_t(i));
    }

    testing::internal::CaptureStdout();
    BuildSwapIndexes(entry, parentComboToHand);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.output);

    ASSERT_EQ(entry.parentIndex.size(), size_t(c.weight));
    int suit = SuitOf(entry.card);
    int unmatched = 0;
    for (int k = 1; k < c.weight; ++k) {
      ASSERT_EQ(entry.parentIndex[size_t(k)].size(), entry.hands.size());
      for (size_t i = 0; i < entry.hands.size(); ++i) {
        CardMask image = SwapSuits(entry.hands[i], suit, suit + k);
        uint16_t position = entry.parentIndex[size_t(k)][i];
        if (position == NoHand) {
          EXPECT_EQ(image, missing) << FormatCards(entry.hands[i]);
          ++unmatched;
        } else {
          ASSERT_LT(position, parentHands.size());
          EXPECT_EQ(parentHands[position], image) << FormatCards(entry.hands[i]);
        }
      }
    }
    EXPECT_EQ(unmatched, int(std::count(c.output.begin(), c.output.end(), '\n')));
  }
}

TEST_F(Isomorphism, SetIsomorphismCommand) {
  ScopedValue<bool> flopRoots(IsomorphismFlopRoots, IsomorphismFlopRoots);
  ScopedValue<bool> turnRoots(IsomorphismTurnRoots, IsomorphismTurnRoots);
  struct Case {
    const char *flop, *turn;
    bool flopOn, turnOn;
  };
  // Only the text "0" turns a switch off.
  const Case cases[] = {
      {"0", "0", false, false}, {"1", "0", true, false}, {"0", "on", false, true},
      {"00", "0.0", true, true}, {"off", "false", true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.flop) + " " + c.turn);
    EXPECT_EQ(RunHandler(CmdSetIsomorphism, {"set_isomorphism", c.flop, c.turn}), "set_isomorphism ok!\n");
    EXPECT_EQ(IsomorphismFlopRoots, c.flopOn);
    EXPECT_EQ(IsomorphismTurnRoots, c.turnOn);
  }
}

}  // namespace
