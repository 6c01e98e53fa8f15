// One flop spot solved at every compression level: the same accuracy and
// consistent game values everywhere, bit-identical answers where the levels
// keep the same numbers in different blocks, written and locked river rows
// that survive the blocks, and turn trees that ignore the level.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "../analysis/reply_parsing.h"
#include "analysis/strategy_read.h"
#include "solver/river_chains.h"
#include "solver/solver_driver.h"
#include "storage/memory_arena.h"
#include "storage/river_compressed_store.h"
#include "storage/river_float_store.h"
#include "storage/river_u16_store.h"
#include "tree/node_path.h"

namespace {

class CompressionLevels : public FlopQueries {
 protected:
  void BuildAt(int level) {
    CompressionLevel = level;
    BuildFlopSpot(true);
    ASSERT_EQ(ActualCompression, level);
  }

  // A command's whole reply, or its error line.
  static std::string Reply(const Tokens& tokens) {
    testing::internal::CaptureStdout();
    ExecuteCommand(tokens);
    FlushReply();
    return testing::internal::GetCapturedStdout();
  }

  static int NodeAt(const std::string& path) { return ParsePath(path).node->index; }

  // What the queries say about the tree: its results, the strategy at
  // decisions of every street, river ones below two turns, and EVs.
  static std::string Answers() {
    std::string all = Reply({"calc_results"});
    for (const char* path : {"r:0", "r:0:c", "r:0:c:c:3h", "r:0:c:c:3h:c:c:As", "r:0:c:c:3h:c:c:As:c",
                             "r:0:c:c:8d:c:c:Ks", "r:0:b50:c:8d:b50:c:Tc", "r:0:c:c:8d:c:c:4d:b50"})
      all += Reply({"show_strategy", path});
    for (const char* path : {"r:0:c:c:3h:c:c:As", "r:0:b50:c:8d:b50:c:Tc"}) {
      all += Reply({"calc_ev", "OOP", path});
      all += Reply({"calc_ev", "IP", path});
    }
    return all;
  }

  // Every river node's regret rows, widened, and their entry scales, turn
  // by turn: decoded where the level keeps them in blocks.
  static std::vector<float> RiverRegrets() {
    SolverContext& c = Context();
    std::vector<float> all;
    for (TreeNode& top : c.nodes) {
      if (top.street != 3 || top.kind != DecisionNode || c.nodes[size_t(top.parent)].street == 3) continue;
      for (int turn = 0; turn < c.shapes[size_t(top.ActionCount())]->groupCount; ++turn) {
        // Turns that suit isomorphism folds into others are never dealt:
        // no rows at level 0, zeros in a block's place.
        if (auto* plain = dynamic_cast<RiverU16Store*>(top.store0.get()); plain && !plain->touched.IsTouched(size_t(turn)))
          continue;
        if (auto* packed = dynamic_cast<RiverCompressedStore*>(top.store0.get());
            packed && !(packed->Block(turn) && packed->Block(turn)->HasData()))
          continue;
        all.push_back(float(turn));
        OpenRiverChains(c, top, turn, {false, -1});
        std::vector<TreeNode*> below = {&top};
        for (size_t i = 0; i < below.size(); ++i)
          for (int32_t child : below[i]->children)
            if (c.nodes[size_t(child)].kind == DecisionNode) below.push_back(&c.nodes[size_t(child)]);
        for (TreeNode* node : below) AppendRegrets(*node, turn, all);
        const bool keep[2] = {false, false};
        CloseRiverChains(c, top, turn, {false, -1}, keep);
      }
    }
    return all;
  }

  static void AppendRegrets(TreeNode& node, int turn, std::vector<float>& all) {
    const RiverLayout& layout = *Context().shapes[size_t(node.ActionCount())];
    const RiverLayout::Group& group = layout.groups[size_t(turn)];
    const uint16_t* rows = nullptr;
    const std::vector<float>* scales = nullptr;
    if (auto* plain = dynamic_cast<RiverU16Store*>(node.store0.get())) {
      ASSERT_TRUE(plain->touched.IsTouched(size_t(turn)));
      rows = static_cast<const uint16_t*>(plain->buffer) + layout.groupSpans[size_t(turn)].offset;
      scales = &plain->entryScale;
    } else {
      auto* packed = dynamic_cast<RiverCompressedStore*>(node.store0.get());
      ASSERT_NE(packed, nullptr);
      rows = static_cast<const uint16_t*>(packed->workRows[size_t(turn)]);
      scales = &packed->EntryScale();
    }
    for (int32_t s = 0; s < group.entryCount; ++s) {
      const RiverLayout::Entry& e = layout.entries[size_t(group.firstEntry + s)];
      all.push_back((*scales)[size_t(group.firstEntry + s)]);
      for (int a = 0; a < layout.actions; ++a) {
        const uint16_t* row = rows + (e.offset - layout.groupSpans[size_t(turn)].offset) + a * RiverLayout::Stride(e.hands);
        all.insert(all.end(), row, row + e.hands);
      }
    }
  }

  // 1326 numbers in public order, for set_strategy.
  static Tokens HandCommand(Tokens head, const std::vector<double>& byCombo) {
    for (int p = 0; p < HandCount; ++p) {
      char text[32];
      std::snprintf(text, sizeof text, "%g", byCombo[size_t(HandOrderToCombo[size_t(p)])]);
      head.push_back(text);
    }
    return head;
  }

  static std::vector<double> Strategy(const std::string& path, int action) {
    const NodePath place = ParsePath(path);
    std::vector<double> out(HandCount);
    ReadStrategy(place.node->index, action, place.turn, place.river, out.data());
    return out;
  }

  ScopedValue<RelaxedSetting<int>> oneThread_{ThreadCount, 1};
  ScopedValue<bool> suppressOk_{SuppressOk, true};
};

// What calc_results reports bounds OOP's game value V. Its record counts
// each player's chips from half the pot (the reply adds that half back), so
// the EVs sum to 0: OOP's best response to IP's strategy (mesOop) earns at
// least V, IP's to OOP's (mesIp) at least -V, so V lies in [-mesIp, mesOop],
// a bracket twice the exploitability wide that holds EV OOP. Whatever its
// store, every level must reach the target in the same steps, and all
// brackets must share V.
TEST_F(CompressionLevels, EveryLevelReachesTheTargetAndBracketsTheSameGameValue) {
  const double target = 0.05;  // 0.05% of the pot of 100
  double low = -1e9, high = 1e9;
  for (int level = 0; level <= 5; ++level) {
    SCOPED_TRACE(level);
    BuildAt(level);
    Iterate(70);  // the answer is the river sums' from iteration 60 on
    const ResultsRecord r = CalcResults(Context());
    EXPECT_LE(r.exploitability, target);
    EXPECT_NEAR(r.evOop + r.evIp, 0.0, 1e-3);
    EXPECT_NEAR(r.exploitability, (r.mesOop + r.mesIp) / 2, 1e-3);
    EXPECT_LE(-r.mesIp, r.evOop + 1e-4);
    EXPECT_LE(r.evOop, r.mesOop + 1e-4);
    low = std::max(low, -r.mesIp);
    high = std::min(high, r.mesOop);
  }
  EXPECT_LE(low, high + 1e-4) << "brackets share no value";
}

// Levels 1 to 3 keep the regrets in 16 bits, in memory or in blocks that
// give back what went in, and the sums in the same 16-bit shifted form, so
// identical one-thread runs must answer every query identically; and the
// regrets, which the sums never feed, are those of level 0.
TEST_F(CompressionLevels, LosslessLevelsAnswerIdentically) {
  std::string answers[4];
  std::vector<float> regrets[4];
  for (int level = 0; level <= 3; ++level) {
    BuildAt(level);
    Iterate(70);  // past the start of the river sums
    answers[level] = Answers();
    regrets[level] = RiverRegrets();
    ASSERT_GT(regrets[level].size(), 1000u);
  }
  EXPECT_EQ(answers[0].find("ERROR"), std::string::npos) << answers[0];
  EXPECT_NE(answers[0], answers[1]);  // float sums: a different average
  for (int level = 2; level <= 3; ++level) EXPECT_TRUE(answers[level] == answers[1]) << level;
  for (int level = 1; level <= 3; ++level) EXPECT_TRUE(regrets[level] == regrets[0]) << level;
}

// set_strategy's rows at a river node are what a query reads back, also
// after passes opened and closed the turn without writing that player's
// rows; a locked river board keeps them through iterations, at level 4 as
// at level 0, while the board beside it moves.
TEST_F(CompressionLevels, WrittenAndLockedRiverRowsSurviveTheBlocks) {
  const std::string path = "r:0:c:c:3h:c:c:As", beside = "r:0:c:c:3h:c:c:Ks";
  std::vector<double> bet(HandCount), check(HandCount);
  for (int c = 0; c < HandCount; ++c) {
    bet[size_t(c)] = std::vector<double>{0.25, 0.6, 1.0, 0.0}[size_t(c % 4)];
    check[size_t(c)] = 1.0 - bet[size_t(c)];
  }
  std::vector<double> kept[2];
  for (int level : {4, 0}) {
    SCOPED_TRACE(level);
    BuildAt(level);
    const NodePath place = ParsePath(path);
    ASSERT_EQ(Context().nodes[size_t(place.node->index)].ActionCount(), 2);
    ASSERT_EQ(Context().nodes[size_t(place.node->index)].player, 0);
    const int betAction = ParsePath(path + ":b50").node->index == Context().nodes[size_t(place.node->index)].children[1];
    EXPECT_EQ(Reply(HandCommand({"set_strategy", path, std::to_string(betAction)}, bet)), "");
    EXPECT_EQ(Reply(HandCommand({"set_strategy", path, std::to_string(1 - betAction)}, check)), "");
    auto expectSet = [&](const char* when) {
      const std::vector<double> read = Strategy(path, betAction);
      int compared = 0;
      for (int c = 0; c < HandCount; ++c) {
        if (std::isnan(read[size_t(c)]) || Context().comboWeights[0][size_t(c)] == 0.0) continue;
        if (ComboMask[size_t(c)] & ParseCards("Qs Jh 2h 3h As")) continue;
        EXPECT_NEAR(read[size_t(c)], bet[size_t(c)], 1e-6) << when << " " << FormatCards(ComboMask[size_t(c)]);
        ++compared;
      }
      EXPECT_GT(compared, 50) << when;
    };
    expectSet("after set_strategy");
    RunPass(Context(), 1, TraversalMode::Update);  // IP's rows written, OOP's only read
    RunPass(Context(), 0, TraversalMode::Evaluate);
    expectSet("after two passes");

    const std::vector<double> besideBefore = Strategy(beside, betAction);
    EXPECT_EQ(Reply({"lock_node", path}), "");
    Iterate(8);
    expectSet("locked, after iterations");
    EXPECT_NE(Strategy(beside, betAction), besideBefore) << "the solver moved nothing";
    kept[level == 4 ? 0 : 1] = Strategy(path, betAction);
  }
  EXPECT_EQ(kept[0].size(), kept[1].size());
  for (size_t c = 0; c < kept[0].size(); ++c)
    if (!std::isnan(kept[0][c])) {
      EXPECT_EQ(kept[0][c], kept[1][c]) << c;
    }
}

// A tree rooted on the turn keeps float rivers whatever the level asked.
TEST_F(CompressionLevels, TurnTreesIgnoreTheLevel) {
  std::string answers[2];
  for (int i = 0; i < 2; ++i) {
    CompressionLevel = i == 0 ? 0 : 4;
    SetRanges(ClassRanges);
    SetBoard("Qs Jh 2h", "8d");
    AddLines({"0 0 0 0", "50 50 50 50", "0 50 50 50 50", "0 0 50 50"});
    RunHandler(CmdBuildTree, Tokens{"build_tree"});
    AllocateStores();
    EXPECT_EQ(ActualCompression, CompressionLevel);
    for (const TreeNode& node : Context().nodes)
      if (node.street == 3 && node.store0) {
        ASSERT_NE(dynamic_cast<RiverFloatStore*>(node.store0.get()), nullptr);
        ASSERT_NE(dynamic_cast<RiverFloatStore*>(node.store1.get()), nullptr);
      }
    Iterate(70);
    answers[i] = Reply({"calc_results"}) + Reply({"show_strategy", "r:0:c:c:Ks"}) +
                 Reply({"show_strategy", "r:0:b50:c:Ks:b50"}) + Reply({"calc_ev", "IP", "r:0:c:c:Ks"});
  }
  EXPECT_EQ(answers[0].find("ERROR"), std::string::npos) << answers[0];
  EXPECT_TRUE(answers[0] == answers[1]);
}

}  // namespace
