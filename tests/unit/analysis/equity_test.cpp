// calc_eq against a brute-force equity, and the node queries on a built
// tree: calc_eq_node at the root against calc_eq, and the line frequencies.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "../solver/solver_test_util.h"
#include "reply_parsing.h"
#include "analysis/analysis_commands.h"
#include "eval/evaluate_cards.h"

namespace {

int Value(CardMask cards) {
  int list[7], n = 0;
  for (CardMask m = cards; m; m &= m - 1) list[n++] = std::countr_zero(m);
  return int(EvaluateCards(list, n));
}

struct Reference {
  double equity = 0.0;
  double matchups = 0.0;
};

// Every opposing hand by its weight, every runout of the remaining cards
// that misses both hands, a tie as half.
Reference BruteForce(CardMask board, CardMask hand, double ownWeight, const std::vector<double>& opp) {
  const int toCome = 5 - std::popcount(board);
  double weighted = 0.0, total = 0.0;
  int runouts = 0;
  for (int j = 0; j < HandCount; ++j) {
    const CardMask other = ComboMask[size_t(j)];
    if (opp[size_t(j)] <= 0.0 || (other & (board | hand))) continue;
    const CardMask dead = board | hand | other;
    double score = 0.0;
    runouts = 0;
    for (int a = 0; a < 52; ++a) {
      if (dead & CardBit(a)) continue;
      for (int b = toCome == 2 ? a + 1 : 52; b < (toCome == 2 ? 52 : 53); ++b) {
        if (toCome == 2 && (dead & CardBit(b))) continue;
        CardMask runout = toCome == 0 ? 0 : CardBit(a) | (toCome == 2 ? CardBit(b) : 0);
        const int mine = Value(board | runout | hand), theirs = Value(board | runout | other);
        score += mine > theirs ? 1.0 : mine == theirs ? 0.5 : 0.0;
        ++runouts;
        if (toCome == 0) break;
      }
      if (toCome == 0) break;
    }
    weighted += opp[size_t(j)] * score / runouts;
    total += opp[size_t(j)];
  }
  // Ordered deals, as the count of runouts is defined.
  const int ordered = toCome == 0 ? 1 : toCome == 1 ? 44 : 45 * 44;
  return {total > 0.0 ? weighted / total : 0.5, ordered * total * ownWeight};
}

// Weights that vary by combo so that card removal shows: a few hand
// classes, some combos left out.
double SpotWeight(int player, int combo) {
  const CardMask hand = ComboMask[size_t(combo)];
  const int a = RankOf(std::countr_zero(hand)), b = RankOf(63 - std::countl_zero(hand));
  const int lo = std::min(a, b), hi = std::max(a, b);
  const bool pair = lo == hi;
  if (player == 0) {
    if (pair && lo >= 8) return 0.25 + 0.05 * (combo % 7);  // TT+
    if ((hi == 12 && lo >= 9) || (hi == 7 && lo == 6)) return combo % 3 == 0 ? 0.0 : 0.6;  // AJ+, 98
    return 0.0;
  }
  if (pair && (lo <= 3 || lo >= 10)) return 1.0;  // 22-55, QQ+
  if (hi == 12 && (lo == 11 || lo == 10 || lo == 3)) return 0.3 + 0.1 * (combo % 4);  // AK, AQ, A5
  if (hi == 10 && lo == 9) return 0.8;  // QJ
  return 0.0;
}

}  // namespace

class EquityQueries : public FlopQueries {};

TEST_F(EquityQueries, CalcEqMatchesBruteForce) {
  struct Case {
    const char* flop;
    const char* turn;
    const char* river;
  };
  const Case cases[] = {
      {"Qs Jh 2h", "8d", "3c"},  // river: plain showdowns
      {"Qs Jh 2h", "8d", ""},    // turn: one card to come
      {"Kh Th 5c", "", ""},      // flop: two cards to come
  };
  SetRanges(SpotWeight);
  for (const Case& c : cases) {
    SetBoard(c.flop, c.turn, c.river);
    const CardMask board = InputBoard.All();
    for (int player = 0; player < 2; ++player) {
      const std::vector<std::string> lines =
          Lines(RunHandler(CmdCalcEq, Tokens{"calc_eq", player == 0 ? "OOP" : "IP"}));
      ASSERT_EQ(lines.size(), 3u);
      EXPECT_EQ(lines[2], "END");
      const std::vector<double> equity = ByCombo(lines[0]), matchups = ByCombo(lines[1]);
      for (int combo = 0; combo < HandCount; ++combo) {
        const CardMask hand = ComboMask[size_t(combo)];
        const double weight = Ranges[size_t(player)][size_t(combo)];
        SCOPED_TRACE(std::string(c.flop) + " " + c.turn + " " + c.river + " player " + std::to_string(player) +
                     " hand " + FormatCards(hand));
        if (hand & board) {
          EXPECT_TRUE(std::isnan(equity[size_t(combo)]));
          EXPECT_EQ(matchups[size_t(combo)], 0.0);
        } else if (weight == 0.0) {
          EXPECT_TRUE(std::isinf(equity[size_t(combo)]));
          EXPECT_EQ(matchups[size_t(combo)], 0.0);
        } else {
          const Reference ref = BruteForce(board, hand, weight, Ranges[size_t(1 - player)]);
          EXPECT_NEAR(equity[size_t(combo)], ref.equity, 2e-6);
          EXPECT_NEAR(matchups[size_t(combo)], ref.matchups, 1e-6 * ref.matchups + 1e-9);
        }
      }
    }
  }
}

TEST_F(EquityQueries, CalcEqPpListsRangeHandsByEquity) {
  SetRanges(SpotWeight);
  SetBoard("Qs Jh 2h", "8d", "3c");
  const std::vector<std::string> lines = Lines(RunHandler(CmdCalcEqPp, Tokens{"calc_eq_pp", "OOP"}));
  int listed = 0;
  for (int c = 0; c < HandCount; ++c)
    if (Ranges[0][size_t(c)] > 0.0 && !(ComboMask[size_t(c)] & InputBoard.All())) ++listed;
  ASSERT_EQ(int(lines.size()), listed + 1);
  EXPECT_EQ(lines.back(), "END");
  double previous = 101.0;
  for (int i = 0; i < listed; ++i) {
    const double percent = std::strtod(lines[size_t(i)].c_str() + 6, nullptr);
    EXPECT_LE(percent, previous) << lines[size_t(i)];
    previous = percent;
  }
}

// A flop tree with isomorphism: the node queries against the spot query,
// and the frequencies of a strategy that isn't uniform any more.
TEST_F(EquityQueries, NodeQueriesOnAFlopTree) {
  BuildFlopSpot(true);
  Iterate(3);

  const std::vector<std::string> spot = Lines(RunHandler(CmdCalcEq, Tokens{"calc_eq", "OOP"}));
  const std::vector<std::string> node = Lines(RunHandler(CmdCalcEqNode, Tokens{"calc_eq_node", "OOP", "r"}));
  ASSERT_EQ(node.size(), 4u);
  const std::vector<double> spotEquity = ByCombo(spot[0]), nodeEquity = ByCombo(node[0]);
  const std::vector<double> spotMatchups = ByCombo(spot[1]), nodeMatchups = ByCombo(node[1]);
  for (int c = 0; c < HandCount; ++c) {
    if (std::isnan(spotEquity[size_t(c)]) || std::isinf(spotEquity[size_t(c)])) {
      EXPECT_TRUE(std::isnan(nodeEquity[size_t(c)])) << c;
      continue;
    }
    EXPECT_NEAR(nodeEquity[size_t(c)], spotEquity[size_t(c)], 1e-5) << c;
    EXPECT_NEAR(nodeMatchups[size_t(c)], spotMatchups[size_t(c)], 1e-5 * spotMatchups[size_t(c)]) << c;
  }

  auto frequency = [](void (*handler)(const Tokens&), const char* command, const std::string& path) {
    return std::strtod(RunHandler(handler, Tokens{command, path}).c_str(), nullptr);
  };

  // The children of a node share its frequency out: on the flop, across
  // the deal of the turn, and on the river over all turns and rivers.
  struct Family {
    const char* node;
    std::vector<const char*> children;
  };
  const Family families[] = {
      {"r:0", {"r:0:b50", "r:0:c"}},
      {"r:0:c", {"r:0:c:b50", "r:0:c:c"}},
      {"r:0:c:c:c:c", {"r:0:c:c:c:c:b50", "r:0:c:c:c:c:c"}},
  };
  for (const Family& family : families) {
    const double whole = frequency(CmdCalcLineFreq, "calc_line_freq", family.node);
    double sum = 0.0;
    for (const char* child : family.children) sum += frequency(CmdCalcLineFreq, "calc_line_freq", child);
    EXPECT_GT(whole, 0.0) << family.node;
    EXPECT_NEAR(sum, whole, 1e-6) << family.node;
  }
  // One deal's frequency is at most the line's, and the named cards of
  // a summed street don't change calc_line_freq.
  const double line = frequency(CmdCalcLineFreq, "calc_line_freq", "r:0:c:c:c:c:b50");
  EXPECT_NEAR(frequency(CmdCalcLineFreq, "calc_line_freq", "r:0:c:c:9d:c:c:4s:b50"), line, 1e-6);
  const double deal = frequency(CmdCalcGlobalFreq, "calc_global_freq", "r:0:c:c:9d:c:c:4s:b50");
  EXPECT_GT(deal, 0.0);
  EXPECT_LT(deal, line);
}
