// The EV queries against calc_results, across suit isomorphism, and the
// line form against its deals one by one.
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
#include "solver/solver_driver.h"

namespace {

struct EvReply {
  std::vector<double> ev, matchups;
};

EvReply Query(void (*handler)(const Tokens&), const std::string& line) {
  const std::vector<std::string> lines = Lines(RunHandler(handler, Words(line)));
  EXPECT_EQ(lines.size(), 3u) << line;
  if (lines.size() != 3) return {std::vector<double>(HandCount), std::vector<double>(HandCount)};
  EXPECT_EQ(lines[2], "END");
  return {ByCombo(lines[0]), ByCombo(lines[1])};
}

EvReply CalcEv(const std::string& args) { return Query(CmdCalcEv, "calc_ev " + args); }
EvReply CalcEvLine(const std::string& args) { return Query(CmdCalcEvLine, "calc_ev_line " + args); }

// The range's mean EV by matchups, counted from the half-way split.
double RangeMean(const EvReply& r) {
  double weighted = 0.0, total = 0.0;
  for (int c = 0; c < HandCount; ++c) {
    if (std::isnan(r.ev[size_t(c)])) continue;
    weighted += r.matchups[size_t(c)] * (r.ev[size_t(c)] - TotalPot() * 0.5);
    total += r.matchups[size_t(c)];
  }
  return weighted / total;
}

}  // namespace

class EvQueries : public FlopQueries {};

// The mean of the root EVs by matchups is the game value that calc_results
// reports, for both players, on a flop tree (turn jobs, isomorphism) and
// on a turn tree (river jobs).
TEST_F(EvQueries, RootMeanIsTheGameValue) {
  for (int rootStreet = 1; rootStreet <= 2; ++rootStreet) {
    SCOPED_TRACE(rootStreet == 1 ? "flop tree" : "turn tree");
    if (rootStreet == 1) {
      BuildFlopSpot(true);
    } else {
      SetRanges(ClassRanges);
      SetBoard("Qs Jh 2h", "8d");
      AddLines({"0 0 0 0", "50 50 50 50", "0 50 50 50 50", "0 0 50 50"});
      RunHandler(CmdBuildTree, Tokens{"build_tree"});
      AllocateStores();
    }
    Iterate(4);
    const ResultsRecord results = CalcResults(Context());
    const double scale = std::max(1.0, std::fabs(results.evOop));
    EXPECT_NEAR(RangeMean(CalcEv("OOP r")), results.evOop, 2e-5 * scale);
    EXPECT_NEAR(RangeMean(CalcEv("IP r")), results.evIp, 2e-5 * scale);
    // The scale of the runouts: 45 * 44 below a flop root, 44 below a turn root.
    const EvReply r = CalcEv("OOP r");
    double matchups = 0.0, reference = 0.0;
    const std::vector<double>& own = Ranges[0];
    const std::vector<double>& opp = Ranges[1];
    const CardMask board = TreeBoard.All();
    for (int i = 0; i < HandCount; ++i) {
      if (std::isnan(r.ev[size_t(i)])) continue;
      matchups += r.matchups[size_t(i)];
      for (int j = 0; j < HandCount; ++j)
        if (!(ComboMask[size_t(j)] & (ComboMask[size_t(i)] | board))) reference += own[size_t(i)] * opp[size_t(j)];
    }
    EXPECT_NEAR(matchups, reference * (rootStreet == 1 ? 45 * 44 : 44), 1e-4 * matchups);
    FreeTree();
    ClearLines();
  }
}

// Uniform play is the same game with or without isomorphism, hand by hand.
// (That solved games agree across isomorphism is the deal tests' part.)
TEST_F(EvQueries, IsomorphismAnswersInClientSuits) {
  const char* places[] = {"OOP r", "IP r:0:c", "OOP r:0:c:c:9d:c", "IP r:0:c:c:9d:c:c:4s:b50"};
  std::vector<EvReply> with, without;
  for (int pass = 0; pass < 2; ++pass) {
    BuildFlopSpot(pass == 0);
    for (const char* place : places) (pass == 0 ? with : without).push_back(CalcEv(place));
    FreeTree();
    ClearLines();
  }
  for (size_t k = 0; k < with.size(); ++k) {
    for (int c = 0; c < HandCount; ++c) {
      SCOPED_TRACE(std::string(places[k]) + " " + FormatCards(ComboMask[size_t(c)]));
      const double a = with[k].ev[size_t(c)], b = without[k].ev[size_t(c)];
      ASSERT_EQ(std::isnan(a), std::isnan(b));
      if (std::isnan(a)) continue;
      EXPECT_NEAR(a, b, 1e-3);
      EXPECT_NEAR(with[k].matchups[size_t(c)], without[k].matchups[size_t(c)],
                  1e-5 * without[k].matchups[size_t(c)] + 1e-9);
    }
  }
}

// calc_ev_line against the deals one at a time: every turn card named in
// turn, weighted by matchups; and a place before its card (the value
// with the card still to come) against the line form of the same node.
TEST_F(EvQueries, LineFormAveragesTheDeals) {
  BuildFlopSpot(true);
  Iterate(3);
  const EvReply line = CalcEvLine("OOP r:0:c:c:c");
  std::vector<double> weighted(HandCount, 0.0), total(HandCount, 0.0), plain(HandCount, 0.0);
  std::vector<int> seen(HandCount, 0);
  const CardMask board = TreeBoard.All();
  for (int card = 0; card < 52; ++card) {
    if (board & CardBit(card)) continue;
    const EvReply deal = CalcEv("OOP r:0:c:c:" + FormatCards(CardBit(card)) + ":c");
    for (int c = 0; c < HandCount; ++c) {
      if (std::isnan(deal.ev[size_t(c)])) continue;
      seen[size_t(c)] += 1;
      plain[size_t(c)] += deal.ev[size_t(c)];
      weighted[size_t(c)] += deal.matchups[size_t(c)] * deal.ev[size_t(c)];
      total[size_t(c)] += deal.matchups[size_t(c)];
    }
  }
  const EvReply before = CalcEv("OOP r:0:c:c");
  const EvReply splitLine = CalcEvLine("OOP r:0:c:c");
  for (int c = 0; c < HandCount; ++c) {
    SCOPED_TRACE(FormatCards(ComboMask[size_t(c)]));
    ASSERT_EQ(std::isnan(line.ev[size_t(c)]), seen[size_t(c)] == 0);
    if (!seen[size_t(c)]) continue;
    // A hand the player never brings here: each deal counts alike.
    const double expected =
        total[size_t(c)] > 0.0 ? weighted[size_t(c)] / total[size_t(c)] : plain[size_t(c)] / seen[size_t(c)];
    EXPECT_NEAR(line.ev[size_t(c)], expected, 1e-4);
    EXPECT_NEAR(line.matchups[size_t(c)], total[size_t(c)], 1e-5 * total[size_t(c)] + 1e-9);
    if (before.matchups[size_t(c)] > 0.0) {
      EXPECT_NEAR(splitLine.ev[size_t(c)], before.ev[size_t(c)], 1e-3);
    }
    EXPECT_NEAR(splitLine.matchups[size_t(c)], before.matchups[size_t(c)], 1e-4 * before.matchups[size_t(c)] + 1e-6);
  }
  // A named card stays fixed: the line form of one deal is that deal.
  const EvReply one = CalcEvLine("OOP r:0:c:c:9d:c");
  const EvReply place = CalcEv("OOP r:0:c:c:9d:c");
  for (int c = 0; c < HandCount; ++c) {
    ASSERT_EQ(std::isnan(one.ev[size_t(c)]), std::isnan(place.ev[size_t(c)]));
    if (std::isnan(place.ev[size_t(c)])) continue;
    EXPECT_NEAR(one.ev[size_t(c)], place.ev[size_t(c)], 1e-4);
    EXPECT_NEAR(one.matchups[size_t(c)], place.matchups[size_t(c)], 1e-6 * place.matchups[size_t(c)]);
  }

  // Two streets dealt: the river line against the turns one at a time,
  // each with its river still to come.
  const EvReply riverLine = CalcEvLine("IP r:0:c:c:c:c");
  std::fill(weighted.begin(), weighted.end(), 0.0);
  std::fill(total.begin(), total.end(), 0.0);
  for (int card = 0; card < 52; ++card) {
    if (board & CardBit(card)) continue;
    const EvReply turn = CalcEv("IP r:0:c:c:" + FormatCards(CardBit(card)) + ":c:c");
    for (int c = 0; c < HandCount; ++c) {
      if (std::isnan(turn.ev[size_t(c)])) continue;
      weighted[size_t(c)] += turn.matchups[size_t(c)] * turn.ev[size_t(c)];
      total[size_t(c)] += turn.matchups[size_t(c)];
    }
  }
  int compared = 0;
  for (int c = 0; c < HandCount; ++c) {
    if (!(total[size_t(c)] > 0.0)) continue;
    SCOPED_TRACE(FormatCards(ComboMask[size_t(c)]));
    EXPECT_NEAR(riverLine.ev[size_t(c)], weighted[size_t(c)] / total[size_t(c)], 1e-3);
    EXPECT_NEAR(riverLine.matchups[size_t(c)], total[size_t(c)], 1e-4 * total[size_t(c)]);
    ++compared;
  }
  EXPECT_GT(compared, 100);
}
