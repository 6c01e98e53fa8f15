#include "tree/node_count.h"

#include <gtest/gtest.h>

#include "build_test_util.h"

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

}  // namespace
