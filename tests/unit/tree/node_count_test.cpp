#include "tree/node_count.h"

#include <gtest/gtest.h>

#include <random>

#include "build_test_util.h"
#include "tree/root_weights.h"

namespace {

// Tries worked out by hand from the counting rules; see each comment.
TEST_F(BuildFixture, NodeCountsOfSmallTries) {
  struct Case {
    const char* name;
    std::vector<const char*> lines;
    int rootStreet;
    // IP by street 1..3, OOP, splits, ends, total (without the root's 1).
    std::array<int64_t, 3> ip, oop, splits, ends;
    int64_t total;
  };
  const Case cases[] = {
      // Check, check behind: OOP root, IP node whose child closes the flop
      // (a split) and ends the line (an end).
      {"flop check-check", {"0 0"}, 1, {1, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 0, 0}, 2},
      // Turn root, bet or check. After the bet IP has call (split, end) and
      // fold (end); after the check IP has the check behind (split, end).
      {"turn bet or check", {"100 100", "0 0"}, 2, {0, 98, 0}, {0, 49, 0}, {0, 98, 0}, {0, 147, 0}, 147},
      // Flop check-check, turn check-check: the turn's OOP node weighs 49.
      {"two streets", {"0 0 0 0"}, 1, {1, 49, 0}, {1, 49, 0}, {1, 49, 0}, {0, 49, 0}, 100},
      // River root, the same line: every node weighs 2352.
      {"river check-check", {"0 0"}, 3, {0, 0, 2352}, {0, 0, 2352}, {0, 0, 2352}, {0, 0, 2352}, 4704},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ClearLines();
    for (const char* line : c.lines) AddLines({line});
    const NodeCounts counts = CountNodes(*SchematicRoot, c.rootStreet);
    for (int s = 1; s <= 3; ++s) {
      EXPECT_EQ(counts.decisions[1][size_t(s)], c.ip[size_t(s - 1)]) << s;
      EXPECT_EQ(counts.decisions[0][size_t(s)], c.oop[size_t(s - 1)]) << s;
      EXPECT_EQ(counts.splits[size_t(s)], c.splits[size_t(s - 1)]) << s;
      EXPECT_EQ(counts.ends[size_t(s)], c.ends[size_t(s - 1)]) << s;
    }
    EXPECT_EQ(counts.total, c.total);
  }
}

// The per-card form of the joint total against the sum over all pairs.
TEST(JointTotal, MatchesThePairSum) {
  BuildHandTables();
  std::mt19937 random(7);
  std::uniform_real_distribution<float> weight(0.0f, 2.0f);
  std::vector<CardMask> hands;
  std::vector<float> w0, w1;
  const CardMask board = ParseCards("Qs Jh 2h");
  for (int c = 0; c < HandCount; c += 3) {
    if (ComboMask[size_t(c)] & board) continue;
    hands.push_back(ComboMask[size_t(c)]);
    w0.push_back(weight(random));
    w1.push_back(c % 5 == 0 ? 0.0f : weight(random));
  }
  double pairSum = 0.0;
  for (size_t i = 0; i < hands.size(); ++i)
    for (size_t j = 0; j < hands.size(); ++j)
      if (!(hands[i] & hands[j])) pairSum += double(w0[i]) * double(w1[j]);
  EXPECT_NEAR(JointTotal(hands, w0.data(), w1.data()), pairSum, pairSum * 1e-12);
  // The same total from the other side.
  EXPECT_NEAR(JointTotal(hands, w1.data(), w0.data()), pairSum, pairSum * 1e-12);
}

}  // namespace
