// Fixture of the traversal tests: builds a spot through the real commands,
// gives the stores their memory, iterates and measures.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "../tree/build_test_util.h"
#include "setup/settings.h"
#include "shell/execute.h"
#include "shell/output.h"
#include "shell/tokenize.h"
#include "solver/traversal.h"

// Ranges of whole hand classes: "AQ" is every combo of an ace and a queen.
inline double ClassWeight(int combo, const std::vector<std::pair<std::string, double>>& classes) {
  const CardMask hand = ComboMask[size_t(combo)];
  const int a = RankOf(std::countr_zero(hand)), b = RankOf(63 - std::countl_zero(hand));
  const std::string ranks = "23456789TJQKA";
  for (const auto& [name, weight] : classes) {
    const int x = int(ranks.find(name[0])), y = int(ranks.find(name[1]));
    if ((a == x && b == y) || (a == y && b == x)) return weight;
  }
  return 0.0;
}

// A river game of a few dozen combos a side, with card removal between
// them, for the tests against the brute-force reference.
inline double ReferenceGameRanges(int player, int combo) {
  if (player == 0) return ClassWeight(combo, {{"AQ", 1.0}, {"JT", 1.0}, {"99", 1.0}, {"44", 0.5}, {"65", 1.0}});
  return ClassWeight(combo, {{"KQ", 1.0}, {"AJ", 0.75}, {"88", 1.0}, {"33", 1.0}, {"76", 1.0}, {"A5", 1.0}});
}

struct Measurement {
  double evOop = 0.0, evIp = 0.0, mesOop = 0.0, mesIp = 0.0;
  double Exploitability() const { return (mesOop - evOop - evIp + mesIp) * 0.5; }
};

class SolverFixture : public BuildFixture {
 protected:
  // Runs the lines of a script file through the dispatcher.
  static void RunScript(const std::string& path) {
    std::ifstream in(path);
    ASSERT_TRUE(in) << path;
    std::string line;
    while (std::getline(in, line)) {
      if (line.empty() || line[0] == '#') continue;
      ExecuteCommand(Tokenize(line));
    }
    FlushReply();
    ASSERT_NE(GlobalContext, nullptr) << path;
  }

  // Pot 100 on the given board, the lines (amounts as add_line takes
  // them), then build_tree through the dispatcher; the build must make a
  // new tree.
  static void BuildSpot(const char* flop, const char* turn, const char* river,
                        const std::vector<const char*>& lines) {
    SetBoard(flop, turn, river);
    ExecuteCommand({"set_pot", "0", "0", "100"});
    ExecuteCommand({"clear_lines"});
    for (const char* line : lines) {
      Tokens tokens = {"add_line"};
      for (const std::string& word : Words(line)) tokens.push_back(word);
      ExecuteCommand(tokens);
    }
    const SolverContext* previous = GlobalContext;
    ExecuteCommand({"build_tree"});
    FlushReply();
    ASSERT_NE(GlobalContext, nullptr);
    ASSERT_NE(GlobalContext, previous) << "build_tree failed";
  }

  static void AllocateStores() {
    for (TreeNode& node : Context().nodes) {
      if (node.store0) {
        ASSERT_TRUE(node.store0->Allocate());
      }
      if (node.store1) {
        ASSERT_TRUE(node.store1->Allocate());
      }
    }
    Context().storesReady = 1;
  }

  static void Iterate(int count) {
    for (int i = 0; i < count; ++i) RunIteration(Context());
  }

  static Measurement Measure() {
    Measurement m;
    const PassValues oop = RunPass(Context(), 0, TraversalMode::Evaluate);
    const PassValues ip = RunPass(Context(), 1, TraversalMode::Evaluate);
    m.evOop = oop.value;
    m.mesOop = oop.bestResponse;
    m.evIp = ip.value;
    m.mesIp = ip.bestResponse;
    return m;
  }

 private:
  ScopedValue<RelaxedSetting<int>> threads_{ThreadCount, 2}, simd_{SimdLevel};
  ScopedValue<RelaxedSetting<bool>> avx512_{Avx512Allowed};
};

// Path of a file of the source tree. The build names the root: __FILE__
// may be relative when the compiler runs under a cache.
inline std::string SourcePath(const std::string& relative) { return std::string(KESTRUNE_SOURCE_DIR) + "/" + relative; }
