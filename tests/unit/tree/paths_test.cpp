// Node paths: what each path text reaches, which texts are refused and
// how, and the parents and streets derived from a place.
//
// Trie of every test (flop Qs Jh 2h): checks through three streets, a bet
// of 100 behind a check (called), and a bet of 100 raised to 300.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "eval/rule_settings.h"
#include "shell/command_error.h"
#include "tree/node_path.h"
#include "tree_test_util.h"

namespace {

// "ok", the error line, or "invalid value" for the conversion failure.
std::string Outcome(const std::string& text) {
  try {
    ParsePath(text);
    return "ok";
  } catch (const CommandFailure& failure) {
    return CommandErrorLine(failure);
  } catch (const std::invalid_argument&) {
    return "invalid value";
  }
}

class Paths : public PathFixture {};

TEST_F(Paths, PathsReachTheirPlaces) {
  struct Case {
    const char* text;
    std::initializer_list<double> keys;
    bool above;  // the place above the root
    const char* turn;
    const char* river;
    bool pending;
  };
  const Case cases[] = {
      // show_node in tree_paths_flop prints the place of the plain paths;
      // these are the ones it doesn't reach.
      {"r", {}, true, nullptr, nullptr, false},
      {"r:0:c:c:qd:c:c", {0, 0, 0, 0}, false, "Qd", nullptr, true},
      {"r:0:c:c:c:c:Kc", {0, 0, 0, 0}, false, nullptr, "Kc", false},
      {"r:0:b100:b300:f", {100, 300, -1}, false, nullptr, nullptr, false},
      {"r:0:b100.0:c", {100, 100}, false, nullptr, nullptr, false},  // a call on the open street
      {"r:0:b1e2:f", {100, -1}, false, nullptr, nullptr, false},
      {"r:0:c:b100:c", {0, 100, 100}, false, nullptr, nullptr, true},
      {"r:0:c:b100:c:6s", {0, 100, 100}, false, "6s", nullptr, false},
  };
  for (const Case& c : cases) {
    const NodePath path = ParsePath(c.text);
    EXPECT_EQ(path.node, c.above ? nullptr : Node(c.keys)) << c.text;
    EXPECT_EQ(path.turn, c.turn ? CardOf(c.turn) : -1) << c.text;
    EXPECT_EQ(path.river, c.river ? CardOf(c.river) : -1) << c.text;
    EXPECT_EQ(path.pendingDeal, c.pending) << c.text;
  }
}

TEST_F(Paths, MalformedPathsAreRefused) {
  const std::string incorrect = "ERROR: show_node incorrect path\n";
  // tree_paths_flop refuses the plainer cases (r:1, x:0, a card at the
  // root or twice on a street, a flop card, the river repeating the turn).
  for (const char* text : {"", "R", "r:", "r:0:", "r:0::c", "r:00",
                           "r:0:c:c:Qd:Kd",        // the street has its card
                           "r:0:c:c:2H",           // on the flop, other case
                           "r:0:c:c:QdJs", "r:0:c:c:Xd", "r:0:c:c:Q ",
                           "r:0:c:c:Qd:c:Kd",      // not the first node of a street
                           "r:0:c:Kd",             // nor is this
                           "r:0:b50", "r:0:b100:b300:c:c", "r:0:b100:b300:f:f", "r:0:f",
                           "r:0:c:c:c:c:c:c:c"}) {
    EXPECT_EQ(Outcome(text), incorrect) << text;
  }
  // The number after b goes through the number conversion.
  EXPECT_EQ(Outcome("r:0:bx"), "invalid value");
}

// Paths on a turn tree show in tree_paths_turn; a short deck shows nowhere.
TEST_F(Paths, CardsFollowTheDeck) {
  ScopedValue<int32_t> shortDeck(lowCard, 4);  // the deck starts at the six
  EXPECT_EQ(Outcome("r:0:c:c:5d"), "ERROR: show_node incorrect path\n");
  EXPECT_EQ(Outcome("r:0:c:c:6d"), "ok");
}

TEST_F(Paths, KindsAndParents) {
  // A called bet before a deal is a split until its card is named.
  EXPECT_STREQ(NodeKindWord(ParsePath("r:0:c:b100:c")), "SPLIT_NODE");
  EXPECT_STREQ(NodeKindWord(ParsePath("r:0:c:b100:c:Kd")), "END_NODE");

  // The turn stays with a parent on the turn, not with one on the flop.
  NodePath parent = ParentPath(ParsePath("r:0:c:c:Qd:c"));
  EXPECT_EQ(parent.node, Node({0, 0}));
  EXPECT_EQ(parent.turn, CardOf("Qd"));
  parent = ParentPath(ParsePath("r:0:c:c:Qd"));
  EXPECT_EQ(parent.node, Node({0}));
  EXPECT_EQ(parent.turn, -1);
  parent = ParentPath(ParsePath("r:0:c:c"));
  EXPECT_EQ(parent.node, Node({0}));
  EXPECT_FALSE(parent.pendingDeal);
  EXPECT_EQ(ParentPath(ParsePath("r:0")).node, nullptr);
  EXPECT_EQ(ParentPath(ParsePath("r")).node, nullptr);

  EXPECT_EQ(StreetNumber(*Node({0, 0, 0, 0})), 3);
  context_.rootStreet = 2;
  EXPECT_EQ(StreetNumber(*Node({0, 0, 0, 0})), 4);
}

}  // namespace
