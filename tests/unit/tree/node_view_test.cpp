// show_node, show_children, show_all_lines and set_ev_boost on the trie of
// PathFixture, with the lock flags read from a stand-in store that records
// which row it was asked for.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "eval/rule_settings.h"
#include "setup/settings.h"
#include "shell/command_error.h"
#include "tree/node_path.h"
#include "../storage/store_test_util.h"
#include "tree_test_util.h"

namespace {

class Inspect : public PathFixture {
 protected:
  void SetUp() override {
    PathFixture::SetUp();
    context_.flags = NewTreeFlag;
  }
  static std::string Show(void (*handler)(const Tokens&), const std::string& path) {
    return RunHandler(handler, Tokens{handler == CmdShowNode ? "show_node" : "show_children", path});
  }
  ScopedValue<std::array<RelaxedSetting<double>, 3>> pot_{PotValues, {0.0, 0.0, 100.0}};
};

TEST_F(Inspect, TreeFlagsShowOnTheRoot) {
  struct Case {
    uint32_t flags;
    const char* line;
  };
  const Case cases[] = {
      {IncompleteTreeFlag | IsomorphismOnFlag | NewTreeFlag, "flags: INCOMPLETE_TREE ISOMORPHISM_ON NEW_TREE"},
      {IsomorphismOnFlag, "flags: ISOMORPHISM_ON"},
  };
  for (const Case& c : cases) {
    context_.flags = c.flags;
    EXPECT_EQ(Show(CmdShowNode, "r"), std::string("r\nROOT\n2h Jh Qs\n0 0 100\n1 children\n") + c.line + "\nEND\n");
  }
}

// The full deck's splits show in tree_paths_flop and tree_paths_turn; a
// short deck's nowhere else.
TEST_F(Inspect, SplitChildrenAreEveryRealCardOfTheDeckHighestFirst) {
  ScopedValue<int32_t> deck(lowCard, 4);  // the deck starts at the six
  // The cards worked out independently: rank down, suit down, leaving out
  // the flop's; nine ranks, two of them on the flop.
  const std::string ranks = "23456789TJQKA", suits = "cdhs";
  const CardMask used = ParseCards("Qs Jh 2h");
  std::string expected;
  int child = 0;
  for (int r = 12; r >= 4; --r)
    for (int s = 3; s >= 0; --s) {
      if (used & CardBit(r + 13 * s)) continue;
      const std::string card = std::string(1, ranks[size_t(r)]) + suits[size_t(s)];
      // Each child is the decision of the new street, OOP to act, one action.
      expected += "child " + std::to_string(child++) + ":\nr:0:c:c:" + card + "\nOOP_DEC\n2h Jh Qs " + card +
                  "\n0 0 100\n1 children\nflags: \n";
    }
  EXPECT_EQ(child, 34);
  EXPECT_EQ(Show(CmdShowChildren, "r:0:c:c"), expected + "END\n");
}

TEST_F(Inspect, FlagsComeFromTheRowOfTheClientsCards) {
  // The turn decision after check, check, and the river decision after the
  // turn is checked through.
  auto* turnStore = new StandInStore(1, 0, true, LockedFlag | ComboLockedFlag);
  auto* riverStore = new StandInStore(1, 0, true, LockedFlag);
  context_.nodes[size_t(Node({0, 0})->index)].store0.reset(turnStore);
  context_.nodes[size_t(Node({0, 0, 0, 0})->index)].store0.reset(riverStore);
  context_.boardTree = std::make_unique<BoardTree>();
  context_.clientFlop = TreeBoard.flop;  // as a build records it
  BoardTree& boards = *context_.boardTree;
  boards.cardToTurn.assign(52, -1);
  boards.turns.resize(12);
  for (BoardNode& turn : boards.turns) turn.cardToRiver.assign(52, -1);

  // Client suits: Kd is card 24, Ac card 12.
  boards.cardToTurn[24] = 7;
  boards.turns[7].cardToRiver[12] = 4;
  // Canonical suits for flop Qs Jh 2h, turn Kd, river Ac: hearts 0,
  // spades 1, then the turn's diamonds 2 and the river's clubs 3; so Kd is
  // card 37, Ac card 51.
  boards.cardToTurn[37] = 9;
  boards.turns[9].cardToRiver[51] = 3;

  EXPECT_EQ(Show(CmdShowNode, "r:0:c:c:Kd"),
            "r:0:c:c:Kd\nOOP_DEC\n2h Jh Qs Kd\n0 0 100\n1 children\nflags: LOCKED COMBO_LOCKED\nEND\n");
  EXPECT_EQ(turnStore->asked, std::make_pair(7, -1));
  EXPECT_EQ(Show(CmdShowNode, "r:0:c:c:Kd:c:c:Ac"),
            "r:0:c:c:Kd:c:c:Ac\nOOP_DEC\n2h Jh Qs Kd Ac\n0 0 100\n1 children\nflags: LOCKED\nEND\n");
  EXPECT_EQ(riverStore->asked, std::make_pair(7, 4));

  context_.flags |= IsomorphismOnFlag;
  Show(CmdShowNode, "r:0:c:c:Kd");
  EXPECT_EQ(turnStore->asked, std::make_pair(9, -1));
  Show(CmdShowNode, "r:0:c:c:Kd:c:c:Ac");
  EXPECT_EQ(riverStore->asked, std::make_pair(9, 3));

  // Without the card of its street a place addresses no row.
  riverStore->asked = {-2, -2};
  EXPECT_EQ(Show(CmdShowNode, "r:0:c:c:c:c:Ac"),
            "r:0:c:c:c:c:Ac\nOOP_DEC\n2h Jh Qs Ac\n0 0 100\n1 children\nflags: \nEND\n");
  EXPECT_EQ(Show(CmdShowNode, "r:0:c:c:Kd:c:c:c"),
            "r:0:c:c:Kd:c:c:c\nIP_DEC\n2h Jh Qs Kd\n0 0 100\n1 children\nflags: \nEND\n");
  EXPECT_EQ(riverStore->asked, std::make_pair(-2, -2));
}

TEST_F(Inspect, EvBoostNamesAnAction) {
  const size_t bet = size_t(Node({100})->index);
  EXPECT_EQ(RunHandler(CmdSetEvBoost, {"set_ev_boost", "r:0:b100", "0.25"}), "set_ev_boost ok!\n");
  EXPECT_EQ(context_.nodes[bet].evBoost, 0.25f);
  EXPECT_EQ(RunHandler(CmdSetEvBoost, {"set_ev_boost", "r:0:b100", "-0.99"}), "set_ev_boost ok!\n");
  EXPECT_EQ(context_.nodes[bet].evBoost, -0.99f);
  EXPECT_EQ(RunHandler(CmdSetEvBoost, {"set_ev_boost", "r:0:b100", "1"}), "set_ev_boost ok!\n");

  // The bounds are -0.99 and 1, both taken; a refused value keeps the old.
  for (const char* value : {"1.0001", "-0.991", "nan"}) {
    try {
      RunHandler(CmdSetEvBoost, {"set_ev_boost", "r:0:b100", value});
      ADD_FAILURE() << value;
    } catch (const CommandError& error) {
      EXPECT_STREQ(error.what(), "ERROR: set_ev_boost incorrect or missing argument\n") << value;
    }
  }
  EXPECT_EQ(context_.nodes[bet].evBoost, 1.0f);
}

}  // namespace
