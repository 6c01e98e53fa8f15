// The short deck through whole solves: a flop tree and a turn tree on the
// 36-card deck, with the hand type order of short-deck hold'em (a flush
// above a full house) and a hole-card rule, valued at iteration 0, where
// both players mix evenly, against a brute force over the deck written
// here; and calc_eq on a short-deck flop. Only cards of the deck may be
// dealt, each deal weighs as much as the cards it stands for, and the
// chance factors count the short deck.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <string>
#include <vector>

#include "../analysis/reply_parsing.h"
#include "../eval/reference_hands.h"
#include "analysis/analysis_commands.h"
#include "eval/eval_commands.h"
#include "eval/rule_settings.h"
#include "solver/solver_commands.h"

namespace {

constexpr int LowRank = 4;  // the six: the deck runs 6 .. A

// The rules of the game under test: where each hand type stands, and how
// many hole cards a hand must use (0: any five of the seven).
struct Rules {
  std::array<int, 9> position = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  int holeCards = 0;
};

// The ace below the six, four lowest ranks of the deck present and the
// fifth absent.
bool HoldsLowStraight(uint32_t ranks) {
  const uint32_t v = ranks >> LowRank;
  return (v & 0xF) == 0xF && (ranks >> 12 & 1) && !(v & 0x10);
}

// The value of one set of cards under the rules: the plain best hand, a
// low straight of the short deck where the order puts straights above the
// hand, then the type's position in the order.
uint32_t RuleValue(CardMask cards, const Rules& rules) {
  uint32_t value = ReferenceBest(cards);
  int type = int(value >> 24);
  uint32_t ranks = 0;
  for (int suit = 0; suit < 4; ++suit) ranks |= uint32_t(cards >> (13 * suit)) & 0x1FFF;
  if (type == 5) {
    for (int suit = 0; suit < 4; ++suit) {
      const uint32_t lane = uint32_t(cards >> (13 * suit)) & 0x1FFF;
      if (std::popcount(lane) >= 5 && HoldsLowStraight(lane) && rules.position[8] > rules.position[5])
        value = 0x8030000, type = 8;
    }
  } else if (HoldsLowStraight(ranks) && rules.position[4] > rules.position[size_t(type)]) {
    value = 0x4030000, type = 4;
  }
  return (value & 0xFFFFFF) | uint32_t(rules.position[size_t(type)]) << 24;
}

// A hand's showdown value on five board cards.
uint32_t Showdown(CardMask hand, CardMask board, const Rules& rules) {
  if (rules.holeCards == 0) return RuleValue(hand | board, rules);
  std::vector<int> boardCards, holeCards;
  for (CardMask m = board; m; m &= m - 1) boardCards.push_back(std::countr_zero(m));
  for (CardMask m = hand; m; m &= m - 1) holeCards.push_back(std::countr_zero(m));
  uint32_t best = 0;
  const int fromBoard = 5 - rules.holeCards;
  for (unsigned pick = 0; pick < 32; ++pick) {
    if (std::popcount(pick) != fromBoard) continue;
    CardMask five = 0;
    for (int i = 0; i < 5; ++i)
      if (pick >> i & 1) five |= CardBit(boardCards[size_t(i)]);
    if (rules.holeCards == 2) best = std::max(best, RuleValue(five | hand, rules));
    else
      for (int card : holeCards) best = std::max(best, RuleValue(five | CardBit(card), rules));
  }
  return best;
}

// The first player's share of the pot over every runout of the short deck.
double Equity(CardMask first, CardMask second, CardMask board, const Rules& rules) {
  std::vector<int> deck;
  for (int card = 0; card < 52; ++card)
    if (RankOf(card) >= LowRank && !((first | second | board) & CardBit(card))) deck.push_back(card);
  const int toCome = 5 - std::popcount(board);
  double score = 0.0;
  int runouts = 0;
  // With one card to come, the second index is the end mark: no card.
  for (size_t a = 0; a < deck.size(); ++a)
    for (size_t b = toCome == 2 ? a + 1 : deck.size(); b < deck.size() + (toCome == 1); ++b) {
      const CardMask full = board | CardBit(deck[a]) | (b < deck.size() ? CardBit(deck[b]) : 0);
      const uint32_t x = Showdown(first, full, rules), y = Showdown(second, full, rules);
      score += x > y ? 1.0 : x == y ? 0.5 : 0.0;
      ++runouts;
    }
  return score / runouts;
}

// Whole hand classes of the short deck, so that suit isomorphism takes
// them: OOP AK and 99, IP QQ, T9 and 76 suited.
double ShortDeckRanges(int player, int combo) {
  const CardMask hand = ComboMask[size_t(combo)];
  const Card a = std::countr_zero(hand), b = 63 - std::countl_zero(hand);
  const int lo = std::min(RankOf(a), RankOf(b)), hi = std::max(RankOf(a), RankOf(b));
  const bool suited = SuitOf(a) == SuitOf(b);
  if (player == 0) return (hi == 12 && lo == 11) || (hi == 7 && lo == 7) ? 1.0 : 0.0;
  if (hi == 10 && lo == 10) return 1.0;
  return suited && ((hi == 8 && lo == 7) || (hi == 5 && lo == 4)) ? 0.5 : 0.0;
}

class ShortDeckSolves : public SolverFixture {
 protected:
  void SetUp() override {
    SolverFixture::SetUp();
    lowCard = LowRank;
  }
  void TearDown() override {
    SolverFixture::TearDown();
    ResetRuleSettings();
  }

  // The rules as the commands set them, and as the brute force reads them.
  static Rules ShortDeckRules(int holeCards) {
    mustUseHoleCards = uint32_t(holeCards);
    RunHandler(CmdSetHandTypeOrder, Words("set_hand_type_order highcard pair twopair trips straight fullhouse flush "
                                          "quads straightflush"));
    Rules rules;
    std::swap(rules.position[5], rules.position[6]);
    rules.holeCards = holeCards;
    return rules;
  }

  // The root values under even play of one street's lines: OOP checks (IP
  // checks behind) or bets 50 into 100, which IP calls or folds; every
  // later street is checked down. OOP's EV by hand, both EVs, and each
  // player's best response to the other's even play, all in chips from the
  // start of the tree.
  struct RootValues {
    std::vector<double> oopByCombo = std::vector<double>(HandCount, NAN);
    // Opposing weight times the runouts of the short deck still to come.
    std::vector<double> oopMatchups = std::vector<double>(HandCount, 0.0);
    // OOP's EV by hand after both have checked, the next card still to come.
    std::vector<double> oopAfterChecks = std::vector<double>(HandCount, NAN);
    double evOop = 0.0, evIp = 0.0, mesOop = 0.0, mesIp = 0.0;
  };
  static RootValues Reference(const CardMask board, const Rules& rules) {
    RootValues r;
    double matchups = 0.0;
    // Per IP hand, over OOP's reach: what it wins when checked to, and what
    // calling a bet wins over folding it.
    std::vector<double> ipChecked(HandCount, 0.0), ipCalls(HandCount, 0.0);
    for (int o = 0; o < HandCount; ++o) {
      const double wo = Ranges[0][size_t(o)];
      if (wo <= 0.0 || (ComboMask[size_t(o)] & board)) continue;
      double check = 0.0, bet = 0.0, even = 0.0, weight = 0.0;
      for (int i = 0; i < HandCount; ++i) {
        const double wi = Ranges[1][size_t(i)];
        if (wi <= 0.0 || (ComboMask[size_t(i)] & (board | ComboMask[size_t(o)]))) continue;
        const double eq = Equity(ComboMask[size_t(o)], ComboMask[size_t(i)], board, rules);
        const double checked = eq * 100.0, called = eq * 200.0 - 50.0;
        check += wi * checked;
        bet += wi * 0.5 * (100.0 + called);
        even += wi * 0.5 * (checked + 0.5 * (100.0 + called));
        weight += wi;
        ipChecked[size_t(i)] += wo * 0.5 * (100.0 - checked);
        ipCalls[size_t(i)] += wo * 0.5 * (100.0 - called);
      }
      if (weight > 0.0) r.oopByCombo[size_t(o)] = even / weight;
      if (weight > 0.0) r.oopAfterChecks[size_t(o)] = check / weight;
      const int runouts = std::popcount(board) == 3 ? 29 * 28 : 28;  // 36 cards less board and hands
      r.oopMatchups[size_t(o)] = wo * weight * runouts;
      r.evOop += wo * even;
      r.mesOop += wo * std::max(check, bet);
      matchups += wo * weight;
    }
    for (int i = 0; i < HandCount; ++i)
      r.mesIp += Ranges[1][size_t(i)] * (ipChecked[size_t(i)] + std::max(0.0, ipCalls[size_t(i)]));
    r.evOop /= matchups;
    r.mesOop /= matchups;
    r.evIp = 100.0 - r.evOop;
    r.mesIp /= matchups;
    return r;
  }

  static void ExpectRootValues(const RootValues& expected) {
    const std::vector<std::string> results = Lines(RunHandler(CmdCalcResults, Tokens{"calc_results"}));
    ASSERT_GE(results.size(), 4u);
    const double printed[4] = {expected.evOop, expected.evIp, expected.mesOop, expected.mesIp};
    for (size_t k = 0; k < 4; ++k)
      EXPECT_NEAR(std::stod(results[k].substr(results[k].find(": ") + 2)), printed[k], 2e-3) << results[k];
    const std::vector<std::string> ev = Lines(RunHandler(CmdCalcEv, Words("calc_ev OOP r")));
    ASSERT_EQ(ev.size(), 3u);
    const std::vector<double> byCombo = ByCombo(ev[0]), matchups = ByCombo(ev[1]);
    for (int c = 0; c < HandCount; ++c) {
      if (std::isnan(expected.oopByCombo[size_t(c)])) continue;
      EXPECT_NEAR(byCombo[size_t(c)], expected.oopByCombo[size_t(c)], 1e-3) << FormatCards(ComboMask[size_t(c)]);
      EXPECT_NEAR(matchups[size_t(c)], expected.oopMatchups[size_t(c)], 1e-6 * expected.oopMatchups[size_t(c)]);
    }
    const std::vector<std::string> split = Lines(RunHandler(CmdCalcEv, Words("calc_ev OOP r:0:c:c")));
    ASSERT_EQ(split.size(), 3u);
    const std::vector<double> afterChecks = ByCombo(split[0]);
    for (int c = 0; c < HandCount; ++c) {
      if (std::isnan(expected.oopAfterChecks[size_t(c)])) continue;
      EXPECT_NEAR(afterChecks[size_t(c)], expected.oopAfterChecks[size_t(c)], 1e-3) << FormatCards(ComboMask[size_t(c)]);
    }
  }

  // The solve itself runs on the short deck and gets closer to equilibrium.
  static void ExpectSolveConverges(const RootValues& evenPlay) {
    const double start = (evenPlay.mesOop + evenPlay.mesIp - 100.0) * 0.5;
    ASSERT_GT(start, 1.0);
    Iterate(12);
    const Measurement m = Measure();
    EXPECT_LT(m.Exploitability(), 0.2 * start);
    EXPECT_NEAR(m.evOop + m.evIp, 0.0, 1e-3);
  }
};

TEST_F(ShortDeckSolves, FlopTree) {
  const Rules rules = ShortDeckRules(0);
  IsomorphismFlopRoots = true;
  SetRanges(ShortDeckRanges);
  BuildSpot("Jh Th 6c", "", "", {"0 0 0 0 0 0", "50 50 50 50 50 50"});
  ASSERT_TRUE(Context().flags & IsomorphismOnFlag);
  AllocateStores();
  const RootValues evenPlay = Reference(TreeBoard.All(), rules);
  ExpectRootValues(evenPlay);
  ExpectSolveConverges(evenPlay);
}

TEST_F(ShortDeckSolves, TurnTree) {
  const Rules rules = ShortDeckRules(2);
  IsomorphismTurnRoots = true;
  SetRanges(ShortDeckRanges);
  BuildSpot("Jh Th 6c", "8s", "", {"0 0 0 0", "50 50 50 50"});
  AllocateStores();
  const RootValues evenPlay = Reference(TreeBoard.All(), rules);
  ExpectRootValues(evenPlay);
  ExpectSolveConverges(evenPlay);
}

TEST_F(ShortDeckSolves, CalcEqCountsOnlyTheShortDeck) {
  const Rules rules = ShortDeckRules(0);
  SetRanges(ShortDeckRanges);
  SetBoard("Jh Th 6c");
  const CardMask board = InputBoard.All();
  const std::vector<std::string> lines = Lines(RunHandler(CmdCalcEq, Tokens{"calc_eq", "IP"}));
  ASSERT_EQ(lines.size(), 3u);
  const std::vector<double> equity = ByCombo(lines[0]);
  int compared = 0;
  for (int i = 0; i < HandCount; ++i) {
    if (Ranges[1][size_t(i)] <= 0.0 || (ComboMask[size_t(i)] & board)) continue;
    double weighted = 0.0, total = 0.0;
    for (int o = 0; o < HandCount; ++o) {
      const double wo = Ranges[0][size_t(o)];
      if (wo <= 0.0 || (ComboMask[size_t(o)] & (board | ComboMask[size_t(i)]))) continue;
      weighted += wo * Equity(ComboMask[size_t(i)], ComboMask[size_t(o)], board, rules);
      total += wo;
    }
    EXPECT_NEAR(equity[size_t(i)], weighted / total, 2e-6) << FormatCards(ComboMask[size_t(i)]);
    ++compared;
  }
  EXPECT_GT(compared, 10);
}

}  // namespace
