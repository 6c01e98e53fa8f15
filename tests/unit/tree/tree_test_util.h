// Helpers of the tree tests: run a handler as the dispatcher would, and
// write a trie as text so that a whole hand-worked trie is one string.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "../setup/setup_test_util.h"
#include "shell/tokenize.h"
#include "tree/schematic_tree.h"

// Tokens of a command line, split at blanks.
inline Tokens Words(const std::string& line) {
  Tokens tokens;
  size_t start = 0;
  while (start < line.size()) {
    size_t end = line.find(' ', start);
    if (end == std::string::npos) end = line.size();
    if (end > start) tokens.push_back(line.substr(start, end - start));
    start = end + 1;
  }
  return tokens;
}

// One line per node below `node`, children in map order, indented two
// blanks per level: "key s<street> p<player> r<raises> a<amount> paid0/paid1".
inline std::string TrieText(const SchematicNode& node, int depth = 0) {
  std::string text;
  for (const auto& [key, child] : node.children) {
    char line[160];
    std::snprintf(line, sizeof line, "%*s%g s%d p%d r%d a%g %g/%g\n", depth * 2, "", key, child->street,
                  child->player, child->raises, child->amount, child->paid[0], child->paid[1]);
    text += line;
    text += TrieText(*child, depth + 1);
  }
  return text;
}

#include "setup/board.h"
#include "setup/cards.h"
#include "tree/solver_context.h"
#include "solver/solver_control.h"
#include "tree/flatten.h"
#include "tree/node_list.h"
#include "tree/tree_commands.h"

// A built tree as far as paths see one: a SolverContext behind
// GlobalContext with the node list of the trie, the built board, and the
// trie of lines. No boards or stores are built.
class PathFixture : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { BuildHandTables(); }
  void SetUp() override {
    ClearLines();
    TreeBoard = {ParseCards("Qs Jh 2h"), 0, 0};
    GlobalContext = &context_;
    for (const char* line : {"add_line 0 0 0 0 0 0", "add_line 0 100 100", "add_line 100 300"})
      RunHandler(CmdAddLine, Words(line));
    const std::vector<FlatLine> lines = FlattenTrie(*SchematicRoot, 1, 50.0);
    BuildNodeList(context_, lines);
    WriteTrieIndexes(lines);
    CurrentCommand = "show_node";
  }
  void TearDown() override {
    GlobalContext = nullptr;
    ClearLines();
  }

  // The node reached from the root by these keys.
  static SchematicNode* Node(std::initializer_list<double> keys) {
    SchematicNode* node = SchematicRoot.get();
    for (double key : keys) node = node->children.at(key).get();
    return node;
  }
  static int CardOf(const char* text) { return std::countr_zero(ParseCards(text)); }

  SolverContext context_;
  ScopedValue<BoardCards> board_{TreeBoard};
};
