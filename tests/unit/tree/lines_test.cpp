// The trie of lines against tries worked out by hand from the rules: what
// each amount means, which answers a new node gets, and what remove_line
// and force_line take away.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "shell/command_error.h"
#include "tree/schematic_tree.h"
#include "tree/tree_commands.h"
#include "tree_test_util.h"

namespace {

class Lines : public ::testing::Test {
 protected:
  void SetUp() override { ClearLines(); }
  void TearDown() override { ClearLines(); }

  // Runs each line's command; every one must answer its ok line.
  static void Run(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      Tokens tokens = Words(line);
      auto handler = tokens[0] == "add_line"      ? CmdAddLine
                     : tokens[0] == "force_line"  ? CmdForceLine
                     : tokens[0] == "remove_line" ? CmdRemoveLine
                                                  : CmdClearLines;
      ASSERT_EQ(RunHandler(handler, tokens), tokens[0] + " ok!\n") << line;
    }
  }
  static std::string Trie() { return TrieText(*SchematicRoot); }
};

TEST_F(Lines, MergedTriesMatchHandWorkedOnes) {
  struct Case {
    std::vector<std::string> lines;
    std::string trie;
  };
  const Case cases[] = {
      // Raise and re-raise: each bet node gets its call and fold; the fold
      // keeps the folder's total from the node the bet came from.
      {{"add_line 100 300"},
       "100 s0 p1 r1 a100 100/0\n"
       "  300 s0 p0 r2 a300 100/300\n"
       "    300 s0 p0 r0 a300 300/300\n"
       "    -1 s0 p0 r0 a100 100/300\n"
       "  100 s0 p0 r0 a100 100/100\n"
       "  -1 s0 p0 r0 a0 100/0\n"},
      // The call closes the street: written over the completion child.
      {{"add_line 0 100 100"},
       "0 s0 p1 r0 a0 0/0\n"
       "  100 s0 p0 r1 a100 0/100\n"
       "    100 s1 p0 r0 a100 100/100\n"
       "    -1 s0 p0 r0 a0 0/100\n"
       "  0 s0 p0 r0 a0 0/0\n"},
      // The second line adds no node: its check behind is the closing child
      // of the first check, now marked as closing the street.
      {{"add_line 0 100 100", "add_line 0 0"},
       "0 s0 p1 r0 a0 0/0\n"
       "  100 s0 p0 r1 a100 0/100\n"
       "    100 s1 p0 r0 a100 100/100\n"
       "    -1 s0 p0 r0 a0 0/100\n"
       "  0 s1 p0 r0 a0 0/0\n"},
      // After the call closed the flop, 100 opens the turn as a check, and
      // the next 100 is the check behind, not a call.
      {{"add_line 0 100 100 100 100"},
       "0 s0 p1 r0 a0 0/0\n"
       "  100 s0 p0 r1 a100 0/100\n"
       "    100 s1 p0 r0 a100 100/100\n"
       "      100 s1 p1 r0 a100 100/100\n"
       "        100 s2 p0 r0 a100 100/100\n"
       "    -1 s0 p0 r0 a0 0/100\n"
       "  0 s0 p0 r0 a0 0/0\n"},
      // A turn bet after the flop call: paid counts from the root.
      {{"add_line 50 50 150"},
       "50 s0 p1 r1 a50 50/0\n"
       "  50 s1 p0 r0 a50 50/50\n"
       "    150 s1 p1 r1 a150 150/50\n"
       "      150 s1 p0 r0 a150 150/150\n"
       "      -1 s1 p0 r0 a50 150/50\n"
       "  -1 s0 p0 r0 a0 50/0\n"},
      // The root is never completed: a lone bet is OOP's only action.
      // Fractions are floored.
      {{"add_line 100.9"},
       "100 s0 p1 r1 a100 100/0\n"
       "  100 s0 p0 r0 a100 100/100\n"
       "  -1 s0 p0 r0 a0 100/0\n"},
      // Children run largest key first.
      {{"add_line 50", "add_line 200", "add_line 0"},
       "200 s0 p1 r1 a200 200/0\n"
       "  200 s0 p0 r0 a200 200/200\n"
       "  -1 s0 p0 r0 a0 200/0\n"
       "50 s0 p1 r1 a50 50/0\n"
       "  50 s0 p0 r0 a50 50/50\n"
       "  -1 s0 p0 r0 a0 50/0\n"
       "0 s0 p1 r0 a0 0/0\n"
       "  0 s0 p0 r0 a0 0/0\n"},
  };
  for (const Case& c : cases) {
    ClearLines();
    Run(c.lines);
    EXPECT_EQ(Trie(), c.trie) << c.lines.back();
    // The same lines again change nothing.
    Run(c.lines);
    EXPECT_EQ(Trie(), c.trie) << c.lines.back() << ", twice";
  }
}

TEST_F(Lines, ForceLineLeavesOneActionPerStep) {
  Run({"add_line 50", "add_line 0 50", "force_line 0 100"});
  EXPECT_EQ(Trie(),
            "0 s0 p1 r0 a0 0/0\n"
            "  100 s0 p0 r1 a100 0/100\n"
            "    100 s0 p0 r0 a100 100/100\n"
            "    -1 s0 p0 r0 a0 0/100\n");

  // A forced raise loses its call and fold, and a later line through the
  // node does not bring them back: only new nodes are completed.
  ClearLines();
  Run({"add_line 100", "force_line 100 300", "add_line 100 500"});
  EXPECT_EQ(Trie(),
            "100 s0 p1 r1 a100 100/0\n"
            "  500 s0 p0 r2 a500 100/500\n"
            "    500 s0 p0 r0 a500 500/500\n"
            "    -1 s0 p0 r0 a100 100/500\n"
            "  300 s0 p0 r2 a300 100/300\n"
            "    300 s0 p0 r0 a300 300/300\n"
            "    -1 s0 p0 r0 a100 100/300\n");
  // Naming the call brings it back; the fold can't be named.
  Run({"add_line 100 100"});
  EXPECT_EQ(SchematicRoot->children.at(100.0)->children.size(), 3u);
}

TEST_F(Lines, RemoveLineErasesTheNodeTheLineEndsIn) {
  Run({"add_line 100 300", "add_line 0 0"});
  const std::string full = Trie();
  struct Case {
    const char* line;
    const char* gone;  // the subtree that disappears, "" for none
  };
  const Case cases[] = {
      {"remove_line 100 0", "  -1 s0 p0 r0 a0 100/0\n"},  // 0 after a bet is the fold
      {"remove_line 100 100", "  100 s0 p0 r0 a100 100/100\n"},
      {"remove_line 0 0", "  0 s1 p0 r0 a0 0/0\n"},
      {"remove_line 100 300 0", "    -1 s0 p0 r0 a100 100/300\n"},
      {"remove_line 7", ""},
      {"remove_line 100 7 0", ""},
      {"remove_line", ""},
  };
  for (const Case& c : cases) {
    ClearLines();
    Run({"add_line 100 300", "add_line 0 0", c.line});
    std::string expected = full;
    if (*c.gone) expected.erase(expected.find(c.gone), std::string(c.gone).size());
    EXPECT_EQ(Trie(), expected) << c.line;
  }
  ClearLines();
  Run({"add_line 100 300", "add_line 0 0", "remove_line 100"});
  EXPECT_EQ(Trie(), "0 s0 p1 r0 a0 0/0\n  0 s1 p0 r0 a0 0/0\n");
}

// The replies to bad amounts show in tree_lines_replies; here, what the
// trie keeps: the steps merged before the failing one.
TEST_F(Lines, FailuresKeepTheStepsBeforeThem) {
  const std::string checkAndBehind = "0 s0 p1 r0 a0 0/0\n  0 s0 p0 r0 a0 0/0\n";
  struct Case {
    const char* line;
    bool unreadable;  // the conversion error rather than the command's own
    std::string trie;
  };
  const Case cases[] = {
      {"add_line 100 50 300", false,
       "100 s0 p1 r1 a100 100/0\n  100 s0 p0 r0 a100 100/100\n  -1 s0 p0 r0 a0 100/0\n"},
      {"add_line 0 abc", true, checkAndBehind},
      // Negative amounts and not-a-number are below any line.
      {"force_line -5", false, ""},
      {"force_line nan", false, ""},
      {"force_line 0 -0.5", false, checkAndBehind},
  };
  for (const Case& c : cases) {
    ClearLines();
    const Tokens tokens = Words(c.line);
    CurrentCommand = tokens[0];
    auto handler = tokens[0] == "add_line" ? CmdAddLine : CmdForceLine;
    if (c.unreadable)
      EXPECT_THROW(handler(tokens), std::invalid_argument) << c.line;
    else
      EXPECT_THROW(handler(tokens), CommandError) << c.line;
    EXPECT_EQ(Trie(), c.trie) << c.line;
  }

  // remove_line reads its amounts as it walks: an unreadable one after an
  // absent step is never read, and a failure removes nothing.
  ClearLines();
  Run({"add_line 100", "remove_line 7 abc", "remove_line nan"});
  EXPECT_THROW(CmdRemoveLine(Words("remove_line 100 abc")), std::invalid_argument);
  EXPECT_EQ(SchematicRoot->children.size(), 1u);
}

}  // namespace
