// Reading query replies back in the analysis tests: lines, and a line of
// 1326 numbers in public order turned into ComboIndex order; and the flop
// spot the EV and equity queries read.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "../solver/solver_test_util.h"
#include "setup/cards.h"

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

inline std::vector<double> ByCombo(const std::string& line) {
  std::vector<double> values(HandCount);
  std::istringstream in(line);
  for (int p = 0; p < HandCount; ++p) {
    std::string word;
    in >> word;
    EXPECT_FALSE(word.empty()) << "entry " << p;
    values[HandOrderToCombo[size_t(p)]] = std::strtod(word.c_str(), nullptr);
  }
  return values;
}

// Qs Jh 2h with checks and bets of 50 on every street. Pairs and broadway
// hands, whole hand classes so that suit isomorphism accepts them.
class FlopQueries : public SolverFixture {
 protected:
  static double ClassRanges(int player, int combo) {
    const CardMask hand = ComboMask[size_t(combo)];
    const int a = RankOf(std::countr_zero(hand)), b = RankOf(63 - std::countl_zero(hand));
    const int lo = std::min(a, b), hi = std::max(a, b);
    if (lo == hi) return player == 0 ? 1.0 : 0.5;
    if (hi == 12 && lo >= 9) return player == 0 ? 0.7 : 1.0;
    if (hi == 11 && lo == 10) return player == 1 ? 0.4 : 0.0;
    return 0.0;
  }
  void BuildFlopSpot(bool isomorphism) {
    IsomorphismFlopRoots = isomorphism;
    SetRanges(ClassRanges);
    SetBoard("Qs Jh 2h");
    AddLines({"0 0 0 0 0 0", "50 50 50 50 50 50", "0 50 50 50 50 50 50", "0 0 0 0 50 50", "0 0 0 0 0 50 50"});
    RunHandler(CmdBuildTree, Tokens{"build_tree"});
    ASSERT_EQ(bool(Context().flags & IsomorphismOnFlag), isomorphism);
    AllocateStores();
  }
};
