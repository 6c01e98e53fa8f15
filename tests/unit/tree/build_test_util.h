// Fixture of the tree-build tests: sets the spot's globals, builds through
// the real entry points and puts every global back afterwards.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <functional>
#include <string>
#include <vector>

#include "eval/hand_tables.h"
#include "setup/board.h"
#include "setup/cards.h"
#include "setup/ranges.h"
#include "setup/settings.h"
#include "shell/shell_state.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "tree/isomorphism.h"
#include "tree/schematic_tree.h"
#include "shell/tree_lifecycle.h"
#include "tree/tree_build.h"
#include "tree/tree_commands.h"
#include "tree_test_util.h"

class BuildFixture : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    InitHandTables();
    BuildHandTables();
  }
  void SetUp() override {
    FreeTree();
    ClearLines();
    CurrentCommand = "build_tree";
  }
  void TearDown() override {
    FreeTree();
    ClearLines();
  }

  // Both ranges from one rule over ComboIndex.
  static void SetRanges(const std::function<double(int player, int combo)>& weight) {
    for (int p = 0; p < 2; ++p) {
      Ranges[size_t(p)].assign(HandCount, 0.0);
      for (int c = 0; c < HandCount; ++c) Ranges[size_t(p)][size_t(c)] = weight(p, c);
    }
  }
  static void SetBoard(const char* flop, const char* turn = "", const char* river = "") {
    InputBoard.flop = ParseCards(flop);
    InputBoard.turn = *turn ? ParseCards(turn) : 0;
    InputBoard.river = *river ? ParseCards(river) : 0;
  }
  static void AddLines(std::initializer_list<const char*> lines) {
    for (const char* line : lines) RunHandler(CmdAddLine, Words(std::string("add_line ") + line));
    CurrentCommand = "build_tree";
  }
  static SolverContext& Context() { return *GlobalContext; }
  static int CardOf(const char* text) { return std::countr_zero(ParseCards(text)); }
  static int ComboOf(CardMask hand) { return ComboIndexOf(63 - std::countl_zero(hand), std::countr_zero(hand)); }

 private:
  // The spot's globals, put back after each test.
  ScopedValue<decltype(Ranges)> ranges_{Ranges};
  ScopedValue<BoardCards> input_{InputBoard}, tree_{TreeBoard};
  ScopedValue<decltype(PotValues)> pot_{PotValues, {0.0, 0.0, 100.0}};
  ScopedValue<int> level_{CompressionLevel, 5}, actual_{ActualCompression};
  ScopedValue<bool> isoFlop_{IsomorphismFlopRoots}, isoTurn_{IsomorphismTurnRoots};
};
